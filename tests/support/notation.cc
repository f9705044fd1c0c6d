#include "support/notation.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace {

[[noreturn]] void Refuse(const std::string &notation, const std::string &why) {
  throw std::runtime_error("\"" + notation + "\": " + why);
}

class Notation {
 public:
  explicit Notation(const std::string &text) : m_text(text) {}

  Octets Sequence(char end) {
    Octets all;
    while (Peek() != end) {
      Octets item = Item();
      const int times = Peek() == '*' ? Times() : 1;
      for (int i = 0; i < times; ++i) all.insert(all.end(), item.begin(), item.end());
    }
    if (end != 0) ++m_pos;
    return all;
  }

 private:
  char Peek() {
    while (m_pos < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_pos])) != 0) ++m_pos;
    return m_pos < m_text.size() ? m_text[m_pos] : '\0';
  }

  Octets Item() {
    if (Peek() == '"') return Quoted();
    const unsigned char octet = Octet();
    const char open = Peek();
    if (open != '{' && open != '<') return {octet};
    ++m_pos;
    return open == '{' ? Der(octet, Sequence('}')) : Indefinite(octet, Sequence('>'));
  }

  unsigned char Octet() {
    const std::string digits = m_text.substr(std::min(m_pos, m_text.size()), 2);
    if (digits.size() != 2 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      Refuse(m_text, "no octet at position " + std::to_string(m_pos));
    }
    m_pos += 2;
    return static_cast<unsigned char>(std::stoi(digits, nullptr, 16));
  }

  Octets Quoted() {
    Octets text;
    for (++m_pos; m_pos < m_text.size() && m_text[m_pos] != '"';) {
      const char first = m_text[m_pos++];
      text.push_back(first == '\\' ? Escaped() : static_cast<unsigned char>(first));
    }
    if (m_pos++ >= m_text.size()) Refuse(m_text, "no closing quote");
    return text;
  }

  unsigned char Escaped() {
    switch (const char kind = m_pos < m_text.size() ? m_text[m_pos++] : '\0') {
      case 'n': return '\n';
      case 'r': return '\r';
      case 't': return '\t';
      case '0': return '\0';
      case 'x': return Octet();
      case '"':
      case '\\': return static_cast<unsigned char>(kind);
      default: Refuse(m_text, "unknown escape");
    }
  }

  int Times() {
    size_t used = 0;
    const int times = std::stoi(m_text.substr(++m_pos), &used);
    m_pos += used;
    return times;
  }

  const std::string m_text;
  size_t m_pos = 0;
};

}  // namespace

Octets CaseOctets(const std::string &notation) { return Notation(notation).Sequence('\0'); }

std::string CaseText(const std::string &notation) { return StringOf(CaseOctets(notation)); }
