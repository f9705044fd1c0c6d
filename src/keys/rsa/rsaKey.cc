// libcrypto's RSA keys: from octets and to octets, printed.
#include "rsaKey.h"
#include "keys/keyOctets.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/log.h"

namespace {

constexpr size_t kMaxNumberOctets = kMaxRsaBits / 8 + 1;  // and a leading 00
// Modulus, exponents, and the shorter numbers, none longer than the modulus.
constexpr int kMaxPrivateDerLen = 6 * static_cast<int>(kMaxNumberOctets + 8);

// Whether the length of an element has its fewest octets (X.690, 10.1).
bool HasShortestLength(const sxDerElement &element) {
  unsigned char area[8];
  sxDerWriter header(area);
  header.Header(element.tag, sxLen(element.content));
  return element.whole.size() == element.content.size() + header.Written().size();
}

// A non-negative INTEGER in its fewest octets (X.690, 8.3.2); null for anything else.
BigNum ReadNumber(sxDerReader *reader, bool *isDer) {
  sxDerElement number;
  if (!reader->Take(kDerInteger, &number)) return nullptr;
  const sxOctetView octets = number.content;
  if (octets.empty() || octets.size() > kMaxNumberOctets || octets[0] >= 0x80) return nullptr;
  if (octets.size() > 1 && octets[0] == 0 && octets[1] < 0x80) return nullptr;
  *isDer = *isDer && HasShortestLength(number);
  return BigNum(BN_bin2bn(octets.data(), sxLen(octets), nullptr));
}

// All octets, in DER but for the lengths' own octets. Read here rather than by libcrypto's templates: every
// certificate that is decoded comes by.
bool ReadPlain(sxOctetView octets, BigNum *n, BigNum *e, bool *isDer) {
  sxDerReader all(octets);
  sxDerElement key;
  if (!all.Take(kDerSequence, &key) || !all.AtEnd()) return false;
  sxDerReader numbers(key.content);
  *isDer = HasShortestLength(key);
  *n = ReadNumber(&numbers, isDer);
  if (*n != nullptr) *e = ReadNumber(&numbers, isDer);
  return *e != nullptr && numbers.AtEnd();
}

//   RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
// What is not plain is libcrypto's to read, so that both find the same keys in certificates: it takes BER,
// and every number for positive.
RsaKey ReadPublic(const unsigned char *data, int dataLen, bool *isDer, const char **reason) {
  BigNum n, e;
  if (ReadPlain(sxView(data, dataLen), &n, &e, isDer)) {
    *reason = WhyNoRsaPublic(n.get(), e.get());
    return *reason == nullptr ? NewRsaKey(std::move(n), std::move(e), nullptr) : nullptr;
  }
  *isDer = false;
  *reason = "not an RSAPublicKey";
  const ErrorQueueMark mark;
  const unsigned char *end = data;
  RsaKey rsa(d2i_RSAPublicKey(nullptr, &end, dataLen));
  if (rsa == nullptr || end != data + dataLen) return nullptr;
  *reason = WhyNoRsaPublic(RSA_get0_n(rsa.get()), RSA_get0_e(rsa.get()));
  if (*reason != nullptr) return nullptr;
  return rsa;
}

RsaKey ReadPrivate(const unsigned char *data, int dataLen, const char **reason) {
  *reason = "not an RSAPrivateKey";
  if (dataLen > kMaxPrivateDerLen) return nullptr;
  const ErrorQueueMark mark;
  const unsigned char *end = data;
  RsaKey rsa(d2i_RSAPrivateKey(nullptr, &end, dataLen));
  if (rsa == nullptr || end != data + dataLen || RSA_get0_d(rsa.get()) == nullptr) return nullptr;
  *reason = WhyNoRsaKey(rsa.get());
  if (*reason != nullptr) return nullptr;
  return rsa;
}

}  // namespace

RsaKey NewRsaKey(BigNum n, BigNum e, BigNum d) {
  RsaKey rsa(RSA_new());
  if (rsa == nullptr || RSA_set0_key(rsa.get(), n.get(), e.get(), d.get()) != 1) return nullptr;
  for (BigNum *number : {&n, &e, &d}) static_cast<void>(number->release());  // now the key's
  return rsa;
}

bool RsaHasCrtParts(const RSA *rsa) {
  return RSA_get0_p(rsa) != nullptr && RSA_get0_q(rsa) != nullptr && RSA_get0_dmp1(rsa) != nullptr &&
         RSA_get0_dmq1(rsa) != nullptr && RSA_get0_iqmp(rsa) != nullptr;
}

RsaKey ReadRsaKey(const unsigned char *data, int dataLen, bool privateForm, bool *isDer) {
  const char *reason = "no octets";
  RsaKey rsa;
  if (data != nullptr && dataLen > 0) {
    rsa = privateForm ? ReadPrivate(data, dataLen, &reason) : ReadPublic(data, dataLen, isDer, &reason);
  }
  if (rsa == nullptr) {
    herror_func(0, 0, "kxRSA_from_buf: %s (%d bytes)", reason == nullptr ? "no memory" : reason, dataLen);
  }
  return rsa;
}

RSA *kxRSA_from_buf(const unsigned char *data, int dataLen, int privateForm) {
  bool isDer = false;
  return ReadRsaKey(data, dataLen, privateForm != 0, &isDer).release();
}

int kxRSA_to_buf(const RSA *rsa, kxBinBuf &out, int privateForm) {
  // libcrypto would write a missing number as 0.
  if (rsa == nullptr || RSA_get0_n(rsa) == nullptr || RSA_get0_e(rsa) == nullptr) return -1;
  if (privateForm != 0 && (RSA_get0_d(rsa) == nullptr || !RsaHasCrtParts(rsa))) return -1;
  const ErrorQueueMark mark;
  const auto encode = privateForm != 0 ? i2d_RSAPrivateKey : i2d_RSAPublicKey;
  const int len = encode(rsa, nullptr);
  if (len <= 0) return -1;
  kxBinBuf octets;
  octets.SetSensitive(privateForm != 0);
  octets.Set(static_cast<unsigned int>(len));
  unsigned char *end = octets.Data();
  if (encode(rsa, &end) != len) return -1;
  out = std::move(octets);
  return 0;
}

int kxRSA_is_ok(const RSA *rsa) { return rsa != nullptr && WhyNoRsaKey(rsa) == nullptr ? 1 : 0; }

void kxRSA_herror(const RSA *rsa) {
  if (!kxLog_DebugOn()) return;
  if (rsa == nullptr) {
    herror_func(0, 0, "kxRSA_herror: no key");
    return;
  }
  LogKeyNumber("RSA key: modulus", RSA_get0_n(rsa));
  LogKeyNumber("RSA key: public exponent", RSA_get0_e(rsa));
  herror_func(0, 0, "RSA key: private part: %s", RSA_get0_d(rsa) != nullptr ? "yes" : "no");
}
