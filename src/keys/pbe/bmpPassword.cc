// Passwords as BMPStrings: UTF-8 in, UTF-16 out.
#include "foundation/utf8.h"
#include "keys/keyOctets.h"
#include "kxcert/keys/passwordBased.h"

namespace {

class UnitWriter {
 public:
  explicit UnitWriter(unsigned char *out) : m_out(out) {}
  void Put(uint32_t unit) {
    m_out[m_len++] = static_cast<unsigned char>(unit >> 8);
    m_out[m_len++] = static_cast<unsigned char>(unit);
  }
  void PutCharacter(uint32_t value) {  // RFC 2781, 2.1
    if (value < 0x10000) return Put(value);
    Put(0xD800 + ((value - 0x10000) >> 10));
    Put(0xDC00 + ((value - 0x10000) & 0x3FF));
  }
  unsigned int Len() const { return m_len; }

 private:
  unsigned char *const m_out;
  unsigned int m_len = 0;
};

}  // namespace

void sxPbe_BmpPassword(sxPbeOctets password, kxBinBuf &out) {
  kxBinBuf bmp = SensitiveBuf(0);
  if (password.data() != nullptr) {
    bmp.Set(static_cast<unsigned int>(2 * password.size() + 2));  // no character becomes more octets than twice its own
    UnitWriter writer(bmp.Data());
    std::string_view text(reinterpret_cast<const char *>(password.data()), password.size());
    const bool isUtf8 = kxCountUtf8(text) >= 0;
    while (!text.empty()) {
      const kxCodePoint first = isUtf8 ? kxFirstOfUtf8(text) : kxCodePoint{static_cast<unsigned char>(text[0]), 1};
      writer.PutCharacter(first.value);
      text.remove_prefix(first.len);
    }
    writer.Put(0);
    bmp.Set(writer.Len());
  }
  out = std::move(bmp);
}
