// Serial numbers as octets and as text.
#include <cstring>
#include <memory>

#include "asn1/der.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "platform/textForms.h"
#include "serialText.h"

namespace {

constexpr int kSmallLen = 4;

int DoesNotFit(int needed, int len) {
  return herror_func(0, 0, "AsnInt2Buf: %d octets do not fit %d", needed, len), -1;
}

}  // namespace

sxAsnInt *AsnIntFromBuf(const unsigned char *octets, int len) {
  if (octets == nullptr || len < 1) {
    herror_func(0, 0, "AsnIntFromBuf: at least one argument is invalid");
    return nullptr;
  }
  auto number = std::make_unique<sxAsnInt>();
  sxAsnReadBuf buf;
  buf.Init(octets, len);
  int bytesDecoded = 0;
  if (number->BDecContent(buf, 2, len, bytesDecoded) < 0) return nullptr;
  return number.release();
}

int AsnInt2Buf(const sxAsnInt *serial, unsigned char *buf, int len) {
  if (serial == nullptr) return -1;
  if (serial->BigOctets().Len() > kSmallLen) {
    const int needed = serial->BigOctets().Len();
    if (buf == nullptr) return needed;
    if (len < needed) return DoesNotFit(needed, len);
    std::memcpy(buf, serial->BigOctets().Data(), static_cast<size_t>(needed));
    return needed;
  }
  const auto value = static_cast<uint32_t>(serial->GetShortVal());
  int needed = 1;
  while (needed < kSmallLen && value >> (8 * needed) != 0) ++needed;
  if (buf == nullptr) return needed;
  if (len < needed) return DoesNotFit(needed, len);
  for (int i = 0; i < needed; ++i) buf[i] = static_cast<unsigned char>(value >> (8 * (needed - 1 - i)));
  return needed;
}

int AsnInt2BinBuf(const sxAsnInt *serial, kxBinBuf &out) {
  const int needed = AsnInt2Buf(serial, nullptr, 0);
  if (needed < 0) return -1;
  out.Set(static_cast<unsigned int>(needed));
  return AsnInt2Buf(serial, out.Data(), needed) < 0 ? -1 : 0;
}

std::string sxSerialText(const sxAsnInt &serial) {
  std::string text;
  if (serial.IsBig()) {
    const sxOctets &octets = serial.BigOctets();
    if (serial.IsMagnitude() && octets.Data()[0] >= 0x80) text = "00";
    kxAppendHex(&text, sxView(octets.Data(), octets.Len()));
    return text;
  }
  const int value = serial.GetShortVal();
  int len = 1;
  while (len < kSmallLen && value >> (8 * len - 1) != value >> 31) ++len;
  while (len-- > 0) kxAppendHex(&text, static_cast<unsigned char>(value >> 8 * len));
  return text;
}

int sxCert_IsSameSerialNumber(const sxAsnInt *a, const sxAsnInt *b) {
  return a != nullptr && b != nullptr && a->intEquiv(*b) ? 1 : 0;
}
