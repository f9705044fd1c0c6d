#include <cstring>

#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"

// Written and read here octet by octet: the values of the ASN.1 tree are not wiped.

namespace {

constexpr int kMaxKeyLen = 1 << 20;
constexpr unsigned char kVersion0[] = {0x02, 0x01, 0x00};
constexpr unsigned char kNull[] = {0x05, 0x00};

// A cursor on the contents of the next element, which must have that tag.
bool Enter(sxAsnReadBuf &buf, int tag, sxAsnReadBuf *contents) {
  int count = 0;
  if (buf.GetLen() == 0 || BDecTag(buf, count) != tag) return false;
  int len = BDecLen(buf, count);
  if (len < 0) return false;
  const unsigned char *start = buf.GetSeg(&len);
  contents->Init(start, len);
  return true;
}

bool NextIs(sxAsnReadBuf &buf, const unsigned char *octets, int len) {
  if (buf.GetLen() < len || std::memcmp(buf.Curr(), octets, static_cast<size_t>(len)) != 0) return false;
  buf.Skip(len);
  return true;
}

bool IsRsaAlgorithm(sxAsnReadBuf &algorithm) {
  sxAsnReadBuf oid;
  if (!Enter(algorithm, 0x06, &oid)) return false;
  if (!NextIs(oid, sxASN_rsaEncryption.Data(), sxASN_rsaEncryption.Len()) || oid.GetLen() != 0) return false;
  // RFC 8017, A.1 wants NULL; absent parameters are read too. Held by Pkcs8.TakesAbsentParameters.
  return algorithm.GetLen() == 0 || (NextIs(algorithm, kNull, sizeof kNull) && algorithm.GetLen() == 0);
}

const char *Unwrap(const kxBinBuf &pkcs8, sxAsnReadBuf *key) {
  sxAsnReadBuf all, info, algorithm, attributes;
  all.Init(pkcs8.Data(), static_cast<int>(pkcs8.Len()));
  if (!Enter(all, 0x30, &info) || all.GetLen() != 0) return "not one SEQUENCE";
  if (!NextIs(info, kVersion0, sizeof kVersion0)) return "version is not 0";
  if (!Enter(info, 0x30, &algorithm)) return "no algorithm";
  if (!IsRsaAlgorithm(algorithm)) return "algorithm is not rsaEncryption";
  if (!Enter(info, 0x04, key) || key->GetLen() == 0) return "no private key";
  if (info.GetLen() != 0 && (!Enter(info, 0xA0, &attributes) || info.GetLen() != 0)) {
    return "something else than attributes after the key";
  }
  return nullptr;
}

}  // namespace

int kxPKCS1_to_PKCS8(const kxBinBuf &pkcs1, kxBinBuf &pkcs8) {
  if (pkcs1.IsEmpty() || pkcs1.Len() > static_cast<unsigned int>(kMaxKeyLen)) return -1;
  const auto keyLen = static_cast<int>(pkcs1.Len());
  unsigned char area[48];
  sxAsnWriteBuf buf;  // everything before the key, towards the start
  buf.Init(area, sizeof area);
  BEncDefLen(buf, keyLen);
  buf.PutByte(0x04);
  const int endOfAlgorithm = buf.Written();
  buf.PutSeg(kNull, sizeof kNull);
  buf.PutSeg(sxASN_rsaEncryption.Data(), sxASN_rsaEncryption.Len());
  BEncDefLen(buf, sxASN_rsaEncryption.Len());
  buf.PutByte(0x06);
  BEncDefLen(buf, buf.Written() - endOfAlgorithm);
  buf.PutByte(0x30);
  buf.PutSeg(kVersion0, sizeof kVersion0);
  BEncDefLen(buf, buf.Written() + keyLen);
  buf.PutByte(0x30);
  if (buf.Overflow()) return -1;

  kxBinBuf info;
  info.SetSensitive(true);
  const auto headLen = static_cast<size_t>(buf.Written());
  info.Set(static_cast<unsigned int>(headLen) + pkcs1.Len());
  std::memcpy(info.Data(), buf.Curr(), headLen);
  std::memcpy(info.Data() + headLen, pkcs1.Data(), pkcs1.Len());
  pkcs8 = std::move(info);
  return 0;
}

int kxPKCS8_to_PKCS1(const kxBinBuf &pkcs8, kxBinBuf &pkcs1) {
  if (pkcs8.IsEmpty() || pkcs8.Len() > static_cast<unsigned int>(2 * kMaxKeyLen)) return -1;
  sxAsnReadBuf key;
  if (const char *reason = Unwrap(pkcs8, &key)) {
    herror_func(0, 0, "kxPKCS8_to_PKCS1: %s", reason);
    return -1;
  }
  kxBinBuf inner;
  inner.SetSensitive(true);
  inner.Set(key.Curr(), static_cast<unsigned int>(key.GetLen()));
  pkcs1 = std::move(inner);
  return 0;
}
