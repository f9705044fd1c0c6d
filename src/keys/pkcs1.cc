#include "kxcert/keys/pkcs1.h"

#include <cstring>

#include "digestInfo.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

namespace {

constexpr int kPaddingOverhead = 11;  // 00, type, eight octets of padding, 00
constexpr int kMaxBlockLen = 1 << 16;

int CompareOctets(const unsigned char *expected, int expectedLen, const unsigned char *decoded, int decodedLen) {
  if (expectedLen != decodedLen) return kKeyLenMismatch;
  return std::memcmp(expected, decoded, static_cast<size_t>(expectedLen)) == 0 ? 0 : kKeyUnequal;
}

int CompareDigestInfo(int mdType, const unsigned char *digest, int digestLen, const unsigned char *decoded,
                      int decodedLen) {
  // RFC 8017, 9.2, note 2: absent parameters are accepted too. Held by
  // Pkcs1.ComparesWithTwoEncodingsOnly.
  for (const bool withNull : {true, false}) {
    DigestInfoHeader header;
    if (MakeDigestInfoHeader(mdType, digestLen, withNull, &header) != 0) return kKeyLibraryFailed;
    if (decodedLen != header.len + digestLen) continue;
    const auto headerLen = static_cast<size_t>(header.len);
    return std::memcmp(decoded, header.Octets(), headerLen) == 0 &&
                   std::memcmp(decoded + headerLen, digest, static_cast<size_t>(digestLen)) == 0
               ? 0
               : kKeyUnequal;
  }
  return kKeyLenMismatch;
}

void LogMismatch(sxPKop_type op, int mdType, const unsigned char *expected, int expectedLen,
                 const unsigned char *decoded, int decodedLen) {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "%s: different message signed", "sxComparePKCS1");
  herror_func(0, 0, "Decoded version:");
  hex_herror(decoded, decodedLen);
  herror_func(0, 0, "Should be:");
  kxBinBuf info;
  const bool wrapped = op != sxPKop_raw && kxPKCS1DigestInfo(expected, expectedLen, mdType, info) == 0;
  hex_herror(wrapped ? info.Data() : expected, wrapped ? static_cast<int>(info.Len()) : expectedLen);
}

}  // namespace

int MakeDigestInfoHeader(int mdType, int digestLen, bool withNull, DigestInfoHeader *header) {
  if (digestLen < 1 || digestLen > kMaxDigestInfoDigest) return -1;
  const sxAsnOid *oid = HashOID_By_MD(mdType);
  if (oid == nullptr) {
    herror_func(0, 0, "nrvPKCS1DigestInfo: unrecognized algorithm (%d)", mdType);
    return -1;
  }
  static constexpr unsigned char kNull[] = {0x05, 0x00};
  sxAsnWriteBuf buf;  // writes towards the start; the longest header takes half of the area
  buf.Init(header->area, sizeof header->area);
  BEncDefLen(buf, digestLen);
  buf.PutByte(0x04);
  const int endOfAlgorithm = buf.Written();
  if (withNull) buf.PutSeg(kNull, sizeof kNull);
  buf.PutSeg(oid->Data(), oid->Len());
  BEncDefLen(buf, oid->Len());
  buf.PutByte(0x06);
  BEncDefLen(buf, buf.Written() - endOfAlgorithm);
  buf.PutByte(0x30);
  BEncDefLen(buf, buf.Written() + digestLen);
  buf.PutByte(0x30);
  header->len = buf.Written();
  return buf.Overflow() ? -1 : 0;
}

int kxPKCS1DigestInfo(const unsigned char *digest, int digestLen, int mdType, kxBinBuf &out) {
  DigestInfoHeader header;
  if (digest == nullptr || MakeDigestInfoHeader(mdType, digestLen, true, &header) != 0) return -1;
  kxBinBuf info(static_cast<unsigned int>(header.len + digestLen));
  std::memcpy(info.Data(), header.Octets(), static_cast<size_t>(header.len));
  std::memcpy(info.Data() + header.len, digest, static_cast<size_t>(digestLen));
  out = std::move(info);
  return 0;
}

int sxComparePKCS1(sxPKop_type op, int mdType, const unsigned char *expected, int expectedLen,
                   const unsigned char *decoded, int decodedLen) {
  if (expected == nullptr || expectedLen < 1 || decoded == nullptr || decodedLen < 0) return kKeyBadInput;
  int rc = 0;
  switch (op) {
    case sxPKop_raw: rc = CompareOctets(expected, expectedLen, decoded, decodedLen); break;
    case sxPKop_either:
      rc = CompareOctets(expected, expectedLen, decoded, decodedLen);
      if (rc != 0) rc = CompareDigestInfo(mdType, expected, expectedLen, decoded, decodedLen);
      break;
    case sxPKop_digest:
    case sxPKop_digest_alt: rc = CompareDigestInfo(mdType, expected, expectedLen, decoded, decodedLen); break;
    default: herror_func(0, 0, "%s: unsupported op %d", "sxComparePKCS1", op); return kKeyNotImplemented;
  }
  if (rc != 0) LogMismatch(op, mdType, expected, expectedLen, decoded, decodedLen);
  return rc;
}

int kxPKCS1Pad(int blockType, const unsigned char *data, int dataLen, unsigned char *block, int blockLen) {
  if (data == nullptr || block == nullptr || dataLen < 0 || blockLen > kMaxBlockLen ||
      dataLen > blockLen - kPaddingOverhead) {
    herror_func(0, 0, "kxPKCS1Pad: %d octets do not go into a block of %d", dataLen, blockLen);
    return -1;
  }
  const ErrorQueueMark mark;
  int rc = 0;
  if (blockType == 1) rc = RSA_padding_add_PKCS1_type_1(block, blockLen, data, dataLen);
  if (blockType == 2) rc = RSA_padding_add_PKCS1_type_2(block, blockLen, data, dataLen);
  if (rc == 1) return 0;
  herror_func(0, 0, "kxPKCS1Pad: no block of type %d", blockType);
  return -1;
}

int sxpkcs1pad(int blockType, const kxBinBuf &data, int blockLen, kxBinBuf &block) {
  if (blockLen < kPaddingOverhead || blockLen > kMaxBlockLen) return -1;
  kxBinBuf padded;
  padded.SetSensitive(data.IsSensitive());
  padded.Set(static_cast<unsigned int>(blockLen));
  if (kxPKCS1Pad(blockType, data.Data(), static_cast<int>(data.Len()), padded.Data(), blockLen) != 0) { return -1; }
  block = std::move(padded);
  return 0;
}

int sxpkcs1unpad(int blockType, const kxBinBuf &block, kxBinBuf &data) {
  const auto blockLen = static_cast<int>(block.Len());
  if (block.IsEmpty() || blockLen < kPaddingOverhead || blockLen > kMaxBlockLen) return -1;
  kxBinBuf found;
  found.SetSensitive(block.IsSensitive());
  found.Set(block.Len());
  const ErrorQueueMark mark;
  int len = -1;
  // libcrypto reads a block from its leading 00 on, and type 2 in constant time.
  if (blockType == 1) {
    len = RSA_padding_check_PKCS1_type_1(found.Data(), blockLen, block.Data(), blockLen, blockLen);
  } else if (blockType == 2) {
    len = RSA_padding_check_PKCS1_type_2(found.Data(), blockLen, block.Data(), blockLen, blockLen);
  }
  if (len < 0) {
    herror_func(0, 0, "sxpkcs1unpad: no block of type %d", blockType);
    return -1;
  }
  kxBinBuf exact;
  exact.SetSensitive(block.IsSensitive());
  exact.Set(found.Data(), static_cast<unsigned int>(len));
  data = std::move(exact);
  return 0;
}
