#include "keyOctets.h"

#include <openssl/bn.h>

#include <algorithm>
#include <cstring>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/log.h"

kxBinBuf SensitiveBuf(int len) {
  kxBinBuf octets;
  octets.SetSensitive(true);
  octets.Set(static_cast<unsigned int>(len));
  return octets;
}

kxBinBuf JoinOctets(sxOctetView head, sxOctetView tail, bool isSecret) {
  kxBinBuf joined;
  joined.SetSensitive(isSecret);
  joined.Set(static_cast<unsigned int>(head.size() + tail.size()));
  std::ranges::copy(tail, std::ranges::copy(head, joined.Data()).out);
  return joined;
}

int ReadSecretAttribute(const sxset &set, const char *name, int maxLen, kxBinBuf &out) {
  const char *text = set.FindText(name);
  if (text == nullptr) return -1;
  const size_t textLen = std::strlen(text);
  if (textLen == 0 || textLen % 2 != 0 || textLen / 2 > static_cast<size_t>(maxLen)) {
    herror_func(0, 0, "ReadSecretAttribute: %zu digits in %s, at most %d octets are read", textLen, name, maxLen);
    return -1;
  }
  const auto len = static_cast<int>(textLen / 2);
  out = SensitiveBuf(len);
  return string_to_bytes(text, static_cast<int>(textLen), out.Data(), len);
}

void SetHexText(sxOctetView octets, sxString &text) {
  const int digits = 2 * sxLen(octets);
  kxBinBuf area = SensitiveBuf(digits + 1);
  char *const hex = reinterpret_cast<char *>(area.Data());
  bytes_to_string(octets.data(), sxLen(octets), hex, digits + 1);
  text.Set(hex, digits);
}

void LogKeyNumber(const char *title, const BIGNUM *number) {
  if (number == nullptr) return;
  kxBinBuf octets(static_cast<unsigned int>(BN_num_bytes(number)));
  BN_bn2bin(number, octets.Data());
  herror_func(0, 0, "%s (%d bits):", title, BN_num_bits(number));
  hex_herror(octets.Data(), static_cast<int>(octets.Len()));
}
