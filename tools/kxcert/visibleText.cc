#include "visibleText.h"

namespace {

constexpr char kDigits[] = "0123456789abcdef";

std::string Visible(std::string_view text, bool keepLayout) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    if ((octet >= 0x20 && octet < 0x7F) || (keepLayout && (c == '\n' || c == '\t'))) {
      out += c;
    } else {
      out += "\\x";
      out += kDigits[octet >> 4];
      out += kDigits[octet & 15];
    }
  }
  return out;
}

}  // namespace

std::string VisibleLine(std::string_view text) { return Visible(text, false); }
std::string VisibleText(std::string_view text) { return Visible(text, true); }

std::string HexOf(const unsigned char *data, size_t dataLen) {
  std::string text;
  text.reserve(2 * dataLen);
  for (size_t i = 0; i < dataLen; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 15];
  }
  return text;
}

std::string_view TrimEnd(std::string_view text) { return text.substr(0, text.find_last_not_of(" \t\r\n") + 1); }

std::string Counted(size_t count, const char *noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
