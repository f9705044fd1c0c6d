#include "foundation/jsonText.h"

#include "foundation/utf8.h"

namespace {

constexpr char kReplacement[] = "\\ufffd";
constexpr uint32_t kFirstC1 = 0x7F;  // DEL, and the control characters of ISO 6429 behind it
constexpr uint32_t kLastC1 = 0x9F;

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
    const kxCodePoint first = kxFirstOfUtf8(text);
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
