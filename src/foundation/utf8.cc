#include "foundation/utf8.h"

namespace {

struct Utf8Row {
  unsigned char mask, lead;
  uint32_t least;  // smaller values have shorter forms
};
constexpr Utf8Row kUtf8Rows[] = {{0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

}  // namespace

kxCodePoint kxFirstOfUtf8(std::string_view text) {
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

int64_t kxCountUtf8(std::string_view text) {
  int64_t count = 0;
  for (; !text.empty(); ++count) {
    const size_t len = kxFirstOfUtf8(text).len;
    if (len == 0) return -1;
    text.remove_prefix(len);
  }
  return count;
}
