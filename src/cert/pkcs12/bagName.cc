#include "bagName.h"

#include "keys/keyOctets.h"
#include "kxcert/cert/pkcs12.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

bool IsHigh(uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

uint32_t UnitAt(sxOctetView bmp, size_t pos) {
  return pos + 2 <= bmp.size() ? static_cast<uint32_t>(bmp[pos]) << 8 | bmp[pos + 1] : 0;
}

// RFC 3629, 3
void AppendUtf8(uint32_t value, std::string *text) {
  const auto put = [text](uint32_t octet) { *text += static_cast<char>(octet); };
  const auto putRest = [&](int shift) { put(0x80 | (value >> shift & 0x3F)); };
  if (value < 0x80) return put(value);
  if (value < 0x800) return put(0xC0 | value >> 6), putRest(0);
  if (value < 0x10000) return put(0xE0 | value >> 12), putRest(6), putRest(0);
  put(0xF0 | value >> 18), putRest(12), putRest(6), putRest(0);
}

}  // namespace

bool NameOfBmp(sxOctetView bmp, std::string *name) {
  std::string text;
  for (size_t pos = 0; pos < bmp.size() && text.size() <= kMaxPkcs12NameLen; pos += 2) {
    uint32_t value = UnitAt(bmp, pos);
    const uint32_t next = UnitAt(bmp, pos + 2);
    if (IsHigh(value) && IsLow(next)) {
      value = 0x10000 + ((value - 0xD800) << 10 | (next - 0xDC00));
      pos += 2;
    } else if (IsHigh(value) || IsLow(value) || pos + 1 == bmp.size()) {
      value = kReplacement;
    }
    AppendUtf8(value, &text);
  }
  if (text.size() > kMaxPkcs12NameLen) return false;
  while (text.ends_with('\0')) text.pop_back();
  *name = std::move(text);
  return true;
}

void BmpOfName(std::string_view name, kxBinBuf *bmp) {
  constexpr unsigned int kEndLen = 2;
  sxPbe_BmpPassword({reinterpret_cast<const unsigned char *>(name.data()), name.size()}, *bmp);
  bmp->Set(bmp->Len() - kEndLen);
  bmp->SetSensitive(false);
}

bool CanBeName(std::string_view name) {
  kxBinBuf bmp;
  std::string again;
  BmpOfName(name, &bmp);
  return NameOfBmp(ViewOf(bmp), &again) && again == name;
}
