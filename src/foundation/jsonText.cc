#include "foundation/jsonText.h"

namespace {

constexpr char kReplacement[] = "\\ufffd";
constexpr uint32_t kFirstC1 = 0x7F;  // DEL, and the control characters of ISO 6429 behind it
constexpr uint32_t kLastC1 = 0x9F;

struct CodePoint {
  uint32_t value;
  size_t len;  // 0: not UTF-8
};

struct Utf8Row {
  unsigned char mask, lead;
  uint32_t least;  // smaller values have shorter forms
};
constexpr Utf8Row kUtf8Rows[] = {{0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

// RFC 3629: the shortest form, no surrogates, nothing above 10FFFF.
CodePoint FirstOf(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  size_t len = 1;
  for (const Utf8Row &row : kUtf8Rows) {
    if ((lead & row.mask) != row.lead) {
      ++len;
      continue;
    }
    if (text.size() < len) return {0, 0};
    uint32_t value = lead & static_cast<unsigned char>(~row.mask);
    for (size_t i = 1; i < len; ++i) {
      const auto next = static_cast<unsigned char>(text[i]);
      if ((next & 0xC0) != 0x80) return {0, 0};
      value = value << 6 | (next & 0x3FU);
    }
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return {value, value < row.least || value > 0x10FFFF || isSurrogate ? 0 : len};
  }
  return {0, 0};
}

void PutEscape(uint32_t value, std::string &out) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\u00";
  out += kDigits[value >> 4];
  out += kDigits[value & 0xF];
}

}  // namespace

void JsonText::Text(const char *key, std::string_view text) {
  Key(key);
  Quote(text);
}

void JsonText::Number(const char *key, int64_t value) {
  Key(key);
  m_text += std::to_string(value);
}

void JsonText::Bool(const char *key, bool value) {
  Key(key);
  m_text += value ? "true" : "false";
}

void JsonText::Null(const char *key) {
  Key(key);
  m_text += "null";
}

void JsonText::Begin(const char *key, char bracket) {
  Key(key);
  m_text += bracket;
  m_isFirst = true;
}

void JsonText::End(char bracket) {
  m_text += bracket;
  m_isFirst = false;
}

void JsonText::Key(const char *key) {
  if (!m_isFirst) m_text += ',';
  m_isFirst = false;
  if (key == nullptr) return;
  Quote(key);
  m_text += ':';
}

void JsonText::Quote(std::string_view text) {
  m_text += '"';
  while (!text.empty()) {
    const CodePoint first = FirstOf(text);
    if (first.len == 0) {
      m_text += kReplacement;
    } else if (first.value < ' ' || (first.value >= kFirstC1 && first.value <= kLastC1)) {
      PutEscape(first.value, m_text);
    } else {
      if (first.value == '"' || first.value == '\\') m_text += '\\';
      m_text += text.substr(0, first.len);
    }
    text.remove_prefix(first.len == 0 ? 1 : first.len);
  }
  m_text += '"';
}
