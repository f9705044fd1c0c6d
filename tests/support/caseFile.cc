#include "support/caseFile.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace {

std::string Trimmed(const std::string &text) {
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

[[noreturn]] void Refuse(const std::string &where, const std::string &why) {
  throw std::runtime_error(where + ": " + why);
}

// Calls use(where, line) for each line that says something.
template <class Use>
void EachLine(const std::string &file, Use use) {
  std::istringstream in(CaseData(file));
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    line = Trimmed(line);
    if (!line.empty() && line[0] != '#') use(file + ":" + std::to_string(number), line);
  }
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
      Refuse("\"" + m_text + "\"", "no octet at position " + std::to_string(m_pos));
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

std::string LettersAndDigits(std::string text, size_t index) {
  std::erase_if(text, [](unsigned char c) { return std::isalnum(c) == 0; });
  return text.empty() ? "Case" + std::to_string(index) : text;
}

}  // namespace

std::string CaseData(const std::string &file) {
  std::ifstream in(std::string(KXCERT_TEST_DATA) + "/" + file, std::ios::binary);
  if (!in) Refuse(file, "cannot be read");
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<CaseRow> CaseRows(const std::string &file, size_t cells, size_t least) {
  std::vector<CaseRow> rows;
  EachLine(file, [&](const std::string &where, const std::string &line) {
    CaseRow row{where, {}};
    std::istringstream in(line);
    for (std::string cell; std::getline(in, cell, '|');) row.cells.push_back(Trimmed(cell));
    if (row.cells.size() > cells || row.cells.size() < (least == 0 ? cells : least)) Refuse(where, "number of cells");
    row.cells.resize(cells);
    rows.push_back(row);
  });
  if (rows.empty()) Refuse(file, "no cases");
  return rows;
}

std::vector<CaseBlock> CaseBlocks(const std::string &file, const std::vector<std::string> &keys) {
  std::vector<CaseBlock> blocks;
  EachLine(file, [&](const std::string &where, const std::string &line) {
    if (line.front() == '[' && line.back() == ']') {
      blocks.push_back({where, line.substr(1, line.size() - 2), {}});
      return;
    }
    const size_t colon = line.find(':');
    const std::string key = line.substr(0, colon);
    if (colon == std::string::npos || std::find(keys.begin(), keys.end(), key) == keys.end()) Refuse(where, "key");
    if (blocks.empty()) Refuse(where, "no block");
    blocks.back().lines[key].push_back(Trimmed(line.substr(colon + 1)));
  });
  if (blocks.empty()) Refuse(file, "no cases");
  return blocks;
}

const std::vector<std::string> &CaseBlock::All(const std::string &key) const {
  static const std::vector<std::string> kNone;
  const auto found = lines.find(key);
  return found == lines.end() ? kNone : found->second;
}

const std::string &CaseBlock::operator[](const std::string &key) const {
  static const std::string kNothing;
  const std::vector<std::string> &values = All(key);
  if (values.size() > 1) Refuse(where, key + " is there more than once");
  return values.empty() ? kNothing : values[0];
}

Octets CaseOctets(const std::string &notation) { return Notation(notation).Sequence('\0'); }

std::string CaseText(const std::string &notation) { return StringOf(CaseOctets(notation)); }

void PrintTo(const CaseRow &row, std::ostream *out) { *out << row.where << ": " << row.cells.at(0); }
void PrintTo(const CaseBlock &block, std::ostream *out) { *out << block.where << ": " << block.name; }

std::string CaseName(const testing::TestParamInfo<CaseRow> &info) {
  return LettersAndDigits(info.param.cells.at(0), info.index);
}
std::string CaseName(const testing::TestParamInfo<CaseBlock> &info) {
  return LettersAndDigits(info.param.name, info.index);
}
