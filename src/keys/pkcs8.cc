#include "keyOctets.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"

// Written and read here octet by octet: the values of the ASN.1 tree are not wiped.

namespace {

constexpr int kMaxKeyLen = 1 << 20;
constexpr size_t kMaxLenOctets = 4;  // not in DER only: other software's lengths are of one size
constexpr unsigned char kVersion[] = {0};

bool IsRsaAlgorithm(sxDerReader algorithm) {
  sxOctetView oid;
  if (!algorithm.Take(kDerOid, &oid) || !sxEqual(oid, ViewOf(sxASN_rsaEncryption))) return false;
  // RFC 8017, A.1 wants NULL; absent parameters are read too. Held by data/keys/pkcs8.txt.
  static constexpr unsigned char kNull[] = {kDerNull, 0};
  return algorithm.AtEnd() || (algorithm.TakeOctets(kNull) && algorithm.AtEnd());
}

const char *Unwrap(const kxBinBuf &pkcs8, sxOctetView *key) {
  static constexpr unsigned char kVersionElement[] = {kDerInteger, sizeof kVersion, kVersion[0]};
  sxDerReader all(ViewOf(pkcs8), kMaxLenOctets), info, algorithm, attributes;
  if (!all.Enter(kDerSequence, &info) || !all.AtEnd()) return "not one SEQUENCE";
  if (!info.TakeOctets(kVersionElement)) return "version is not 0";
  if (!info.Enter(kDerSequence, &algorithm)) return "no algorithm";
  if (!IsRsaAlgorithm(algorithm)) return "algorithm is not rsaEncryption";
  if (!info.Take(kDerOctetString, key) || key->empty()) return "no private key";
  if (!info.AtEnd() && (!info.Enter(DerContextConstructed(0), &attributes) || !info.AtEnd())) {
    return "something else than attributes after the key";
  }
  return nullptr;
}

}  // namespace

int kxPKCS1_to_PKCS8(const kxBinBuf &pkcs1, kxBinBuf &pkcs8) {
  if (pkcs1.IsEmpty() || pkcs1.Len() > static_cast<unsigned int>(kMaxKeyLen)) return -1;
  const auto keyLen = static_cast<int>(pkcs1.Len());
  unsigned char area[48];
  sxDerWriter writer(area);  // everything before the key
  writer.Header(kDerOctetString, keyLen);
  const int algorithm = writer.Mark();
  writer.Header(kDerNull, 0);
  writer.Element(kDerOid, ViewOf(sxASN_rsaEncryption));
  writer.Wrap(kDerSequence, algorithm);
  writer.Element(kDerInteger, kVersion);
  writer.Header(kDerSequence, writer.Mark() + keyLen);
  if (writer.Written().empty()) return -1;
  pkcs8 = JoinOctets(writer.Written(), ViewOf(pkcs1), true);
  return 0;
}

int kxPKCS8_to_PKCS1(const kxBinBuf &pkcs8, kxBinBuf &pkcs1) {
  if (pkcs8.IsEmpty() || pkcs8.Len() > static_cast<unsigned int>(2 * kMaxKeyLen)) return -1;
  sxOctetView key;
  if (const char *reason = Unwrap(pkcs8, &key)) {
    herror_func(0, 0, "kxPKCS8_to_PKCS1: %s", reason);
    return -1;
  }
  pkcs1 = JoinOctets(key, {}, true);
  return 0;
}
