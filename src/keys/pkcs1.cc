#include "kxcert/keys/pkcs1.h"

#include <functional>

#include "digestInfo.h"
#include "keyOctets.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "libcryptoTypes.h"

namespace {

constexpr int kPaddingOverhead = 11;  // 00, type, eight octets of padding, 00
constexpr int kMaxBlockLen = 1 << 16;

int CompareOctets(sxOctetView expected, sxOctetView decoded) {
  if (expected.size() != decoded.size()) return kKeyLenMismatch;
  return sxEqual(expected, decoded) ? 0 : kKeyUnequal;
}

int CompareDigestInfo(int mdType, sxOctetView digest, sxOctetView decoded) {
  // RFC 8017, 9.2, note 2: absent parameters are accepted too. Held by
  // Pkcs1.ComparesWithTwoEncodingsOnly.
  for (const bool withNull : {true, false}) {
    DigestInfoHeader header;
    if (MakeDigestInfoHeader(mdType, sxLen(digest), withNull, &header) != 0) return kKeyLibraryFailed;
    const sxOctetView before = header.Octets();
    if (decoded.size() != before.size() + digest.size()) continue;
    return sxEqual(decoded.first(before.size()), before) && sxEqual(decoded.subspan(before.size()), digest)
               ? 0
               : kKeyUnequal;
  }
  return kKeyLenMismatch;
}

void LogMismatch(sxPKop_type op, int mdType, sxOctetView expected, sxOctetView decoded) {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "%s: different message signed", "sxComparePKCS1");
  herror_func(0, 0, "Decoded version:");
  hex_herror(decoded.data(), sxLen(decoded));
  herror_func(0, 0, "Should be:");
  kxBinBuf info;
  const bool isWrapped = op != sxPKop_raw && kxPKCS1DigestInfo(expected.data(), sxLen(expected), mdType, info) == 0;
  if (isWrapped) expected = ViewOf(info);
  hex_herror(expected.data(), sxLen(expected));
}

}  // namespace

int MakeDigestInfoHeader(int mdType, int digestLen, bool withNull, DigestInfoHeader *header) {
  if (digestLen < 1 || digestLen > kMaxDigestInfoDigest) return -1;
  const sxAsnOid *oid = HashOID_By_MD(mdType);
  if (oid == nullptr) {
    herror_func(0, 0, "nrvPKCS1DigestInfo: unrecognized algorithm (%d)", mdType);
    return -1;
  }
  sxDerWriter writer(header->area);
  writer.Header(kDerOctetString, digestLen);
  const int algorithm = writer.Mark();
  if (withNull) writer.Header(kDerNull, 0);
  writer.Element(kDerOid, ViewOf(*oid));
  writer.Wrap(kDerSequence, algorithm);
  writer.Header(kDerSequence, writer.Mark() + digestLen);
  header->len = writer.Mark();
  return writer.Written().empty() ? -1 : 0;
}

int kxPKCS1DigestInfo(const unsigned char *digest, int digestLen, int mdType, kxBinBuf &out) {
  DigestInfoHeader header;
  if (digest == nullptr || MakeDigestInfoHeader(mdType, digestLen, true, &header) != 0) return -1;
  out = JoinOctets(header.Octets(), sxView(digest, digestLen), false);
  return 0;
}

int sxComparePKCS1(sxPKop_type op, int mdType, const unsigned char *expected, int expectedLen,
                   const unsigned char *decoded, int decodedLen) {
  if (expected == nullptr || expectedLen < 1 || decoded == nullptr || decodedLen < 0) return kKeyBadInput;
  const sxOctetView wanted = sxView(expected, expectedLen), found = sxView(decoded, decodedLen);
  int rc = 0;
  switch (op) {
    case sxPKop_raw: rc = CompareOctets(wanted, found); break;
    case sxPKop_either:
      rc = CompareOctets(wanted, found);
      if (rc != 0) rc = CompareDigestInfo(mdType, wanted, found);
      break;
    case sxPKop_digest:
    case sxPKop_digest_alt: rc = CompareDigestInfo(mdType, wanted, found); break;
    default: herror_func(0, 0, "%s: unsupported op %d", "sxComparePKCS1", op); return kKeyNotImplemented;
  }
  if (rc != 0) LogMismatch(op, mdType, wanted, found);
  return rc;
}

int kxPKCS1Pad(int blockType, const unsigned char *data, int dataLen, unsigned char *block, int blockLen) {
  if (data == nullptr || block == nullptr || dataLen < 0 || blockLen < kPaddingOverhead || blockLen > kMaxBlockLen ||
      dataLen > blockLen - kPaddingOverhead) {
    herror_func(0, 0, "kxPKCS1Pad: %d octets do not go into a block of %d", dataLen, blockLen);
    return -1;
  }
  kxBinBuf copy;  // the padding is written before data is read, which may stand in the block
  if (std::less<>()(data, block + blockLen) && std::less<>()(block, data + dataLen)) {
    copy.SetSensitive(true);
    copy.Set(data, static_cast<unsigned int>(dataLen));
    data = copy.Data();
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
