// CRLs, DER or PEM. One is OK exactly when the codec decodes the same octets and both algorithms are the same, and then
// its fields and entries are those of the decoded tree: so the reader of plain DER, which makes no tree, and the codec agree. Every entry is found
// by its number, also in a copy under construction.
#include <cstdint>
#include <memory>
#include <string>

#include "check.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"

namespace {

constinit const sxAsnOid kReasonCode({2, 5, 29, 21});
constexpr int64_t kFirstClamped = 2145916800;  // 2038-01-01 00:00 UTC
constexpr int64_t kDay = 86400;

bool Decode(sxASN_CertificateList &tree, const unsigned char *octets, size_t len) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

bool AreAlgorithmsEqual(const sxASN_CertificateList &tree) {
  kxBinBuf outer, inner;
  sxASN_AlgorithmIdentifier a(*tree.signatureAlgorithm), b(*tree.tbsCertList->signature);
  KX_ASSERT(sxASN_EncodeBuf(a, outer, 0) == 0 && sxASN_EncodeBuf(b, inner, 0) == 0);
  return outer == inner;
}

// The fixed function has 32 bits, one value for the whole first day, and fields that carry over.
void CheckTime(int64_t own, const sxASN_Time *time) {
  const int64_t other = sxASN_Time2time(time);
  if (own == kCrlTimeUnreadable) return;
  if (own >= kFirstClamped) {
    KX_ASSERT(other == kFirstClamped + own % kDay);
  } else if (own >= 0 && own < kDay) {
    KX_ASSERT(other == 0);
  } else {
    KX_ASSERT(other == own || own < INT32_MIN);
  }
}

// Of the only one there is; -2 where the answer is a matter of taste.
int ReasonOf(const sxASN_TBSCertListSeqOfSeq &entry) {
  int reason = sxCrlReason_none;
  if (entry.crlEntryExtensions == nullptr) return reason;
  int numReasons = 0;
  for (const sxASN_Extension &ext : *entry.crlEntryExtensions) {
    sxASN_CRLReason value;
    if (!ext.extnID->OidEquiv(kReasonCode)) continue;
    if (++numReasons > 1 || sxParseExtension(value, &ext) != 0 || value.GetShortVal() < 0 || value.IsBig()) return -2;
    reason = value.GetShortVal();
  }
  return reason;
}

void CheckEntry(const sxCRL &crl, const sxRevokedEntry &own, const sxASN_TBSCertListSeqOfSeq &decoded) {
  const std::unique_ptr<sxAsnInt> number(AsnIntFromBuf(own.serial, own.serialLen));
  KX_ASSERT(number != nullptr && number->intEquiv(*decoded.userCertificate));
  CheckTime(own.revokedSec, decoded.revocationDate);
  const int reason = ReasonOf(decoded);
  KX_ASSERT(reason == -2 || own.reason == reason);
  if (own.isIssuerUnreadable) return;
  const sxDN issuer(own.certIssuer, own.certIssuerLen);
  const sxDN *const asked = own.certIssuer == nullptr ? nullptr : &issuer;
  const sxDN &name = asked == nullptr ? *crl.Issuer() : issuer;
  if (crl.IsIndirect() && !name.Equal(name)) return;  // a name that equals nothing
  sxRevokedEntry found;
  KX_ASSERT(crl.FindEntry(asked, *number, &found));
  const std::unique_ptr<sxAsnInt> foundNumber(AsnIntFromBuf(found.serial, found.serialLen));
  KX_ASSERT(foundNumber->intEquiv(*number));
}

void CheckCopy(const sxCRL &crl) {
  const sxCRL_Encoder copy(crl);
  KX_ASSERT(copy.GetSize() <= crl.GetSize());
  if (copy.Issuer() == nullptr) {  // whose an entry is cannot be read
    KX_ASSERT(crl.IsIndirect() && copy.GetSize() == 0);
    return;
  }
  for (sxRevokedEntry entry, inCopy; crl.NextEntry(&entry);) {
    const std::unique_ptr<sxAsnInt> number(AsnIntFromBuf(entry.serial, entry.serialLen));
    const sxDN issuer(entry.certIssuer, entry.certIssuerLen);
    const sxDN *const asked = entry.certIssuer == nullptr ? nullptr : &issuer;
    sxRevokedEntry counts;
    KX_ASSERT(!entry.isIssuerUnreadable && crl.FindEntry(asked, *number, &counts));
    KX_ASSERT(copy.FindEntry(asked, *number, &inCopy));
    KX_ASSERT(inCopy.reason == counts.reason && inCopy.revokedSec == counts.revokedSec);
  }
}

void CheckFields(const sxCRL &crl, const sxASN_CertificateList &tree) {
  const sxASN_TBSCertList &body = *tree.tbsCertList;
  const int version = body.version == nullptr ? 0 : body.version->GetShortVal();
  KX_ASSERT(static_cast<unsigned>(crl.Version()) == static_cast<unsigned>(version) + 1);
  const sxDN issuer(body.issuer);
  KX_ASSERT(crl.Issuer()->Equal(issuer) == issuer.Equal(issuer) && crl.Issuer()->Hash() == issuer.Hash());
  KX_ASSERT(crl.SignatureOid().OidEquiv(*tree.signatureAlgorithm->algorithm));
  CheckTime(crl.ThisUpdate(), body.thisUpdate);
  KX_ASSERT(crl.HasNextUpdate() == (body.nextUpdate != nullptr));
  if (crl.HasNextUpdate()) CheckTime(crl.NextUpdate(), body.nextUpdate);
  const int numEntries = body.revokedCertificates == nullptr ? 0 : body.revokedCertificates->Count();
  KX_ASSERT(crl.GetSize() == numEntries);
  sxRevokedEntry entry;
  if (numEntries > 0) {
    for (const sxASN_TBSCertListSeqOfSeq &decoded : *body.revokedCertificates) {
      KX_ASSERT(crl.NextEntry(&entry));
      CheckEntry(crl, entry, decoded);
    }
  }
  KX_ASSERT(!crl.NextEntry(&entry));
  CheckCopy(crl);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const sxCRL crl(data, static_cast<unsigned>(size));
  SxStream text;
  crl.Sprint(&text, 0);
  KX_ASSERT(text.Length() > 0);
  sxASN_CertificateList tree;
  if (size > 0 && Decode(tree, data, size)) {
    KX_ASSERT((crl.OK() == 1) == AreAlgorithmsEqual(tree));
    if (crl.OK() == 1) CheckFields(crl, tree);
  } else if (crl.OK() == 1) {  // it was PEM, and is DER now
    KX_ASSERT(Decode(tree, crl.GetBuf(), crl.BufLen()));
    CheckFields(crl, tree);
  }
  return 0;
}
