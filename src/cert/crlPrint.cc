// CRLs as text, straight from their octets.
#include <cstdio>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/clock.h"
#include "serialText.h"
#include "sxCRL_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr int kMaxEntriesPrinted = 100;  // a CRL may hold a million; more are only counted

struct Label {
  int number;
  const char *text;
};
constexpr Label kSignatures[] = {{sxPK_RSA, "RSA with "}, {sxPK_DSA, "DSA with "}, {sxPK_ECDSA, "ECDSA with "}};
constexpr Label kDigests[] = {
    {sx_md_md4, "MD4"},        {sx_md_md5, "MD5"},        {sx_md_sha1, "SHA-1"},
    {sx_md_sha256, "SHA-256"}, {sx_md_sha384, "SHA-384"}, {sx_md_sha512, "SHA-512"},
};

template <size_t kRows>
const char *TextOf(const Label (&labels)[kRows], int number, const char *otherwise) {
  for (const Label &label : labels) {
    if (label.number == number) return label.text;
  }
  return otherwise;
}

// CRLReason; the bits of ReasonFlags have the same names, but no gap (RFC 5280, 5.3.1 and 4.2.1.13).
constexpr Label kReasons[] = {
    {0, "unspecified"},        {1, "keyCompromise"},        {2, "cACompromise"},    {3, "affiliationChanged"},
    {4, "superseded"},         {5, "cessationOfOperation"}, {6, "certificateHold"}, {8, "removeFromCRL"},
    {9, "privilegeWithdrawn"}, {10, "aACompromise"},
};
constexpr int ReasonOfFlag(int bit) { return bit <= sxASN_ReasonFlags::certificateHold ? bit : bit + 2; }
constinit const sxAsnOid kReasonCode({2, 5, 29, 21});

void PrintTime(SxStream *out, int64_t seconds) {
  char text[32];
  out->Puts(sxCtime_no_nl(seconds, text, sizeof text) == 0 ? text : "?");
  out->Puts(" Local Time");
}

void PrintTimeLine(SxStream *out, int indent, const char *label, const sxASN_Time *time) {
  out->Indent(indent);
  out->Puts(label);
  PrintTime(out, sxASN_Time2time(time));
  out->Puts("\n");
}

void PrintEntry(SxStream *out, int indent, const sxAsnInt &serial, int64_t revokedSec) {
  out->Indent(indent);
  out->Printf("Serial Number: %s Revoked: ", sxSerialText(serial).c_str());
  PrintTime(out, revokedSec);
}

void PrintReason(SxStream *out, const sxASN_TBSCertListSeqOfSeq &entry) {
  if (entry.crlEntryExtensions == nullptr) return;
  for (const sxASN_Extension &ext : *entry.crlEntryExtensions) {
    sxASN_CRLReason reason;
    if (!ext.extnID->OidEquiv(kReasonCode) || sxParseExtension(reason, &ext) != 0) continue;
    out->Printf(" Reason: %s", TextOf(kReasons, reason.GetShortVal(), "unknown"));
  }
}

void PrintCount(SxStream *out, int indent, int count) {
  out->Indent(indent);
  out->Printf("Revoked Certificates: %d\n", count);
}

void PrintRest(SxStream *out, int indent, int count) {
  if (count <= kMaxEntriesPrinted) return;
  out->Indent(indent);
  out->Printf("%d more\n", count - kMaxEntriesPrinted);
}

void PrintEntries(SxStream *out, const sxASN_TBSCertListSeqOf *entries, int indent, bool withReasons) {
  const int count = entries == nullptr ? 0 : entries->Count();
  PrintCount(out, indent, count);
  if (count == 0) return;
  int numPrinted = 0;
  for (const sxASN_TBSCertListSeqOfSeq &entry : *entries) {
    if (numPrinted++ == kMaxEntriesPrinted) break;
    PrintEntry(out, indent + 1, *entry.userCertificate, sxASN_Time2time(entry.revocationDate));
    if (withReasons) PrintReason(out, entry);
    out->Puts("\n");
  }
  PrintRest(out, indent + 1, count);
}

void PrintExtensions(SxStream *out, const sxCRL_imp &crl, int indent) {
  if (crl.Number() != nullptr) {
    out->Indent(indent);
    out->Printf("CRL Number: %s\n", sxSerialText(*crl.Number()).c_str());
  }
  crl.Extensions().Sprint(out, indent);
  const auto *scope = static_cast<const sxIssuingDP *>(crl.Extensions().Find(&sxASN_id_ce_issuingDistributionPoint));
  if (scope == nullptr || scope->SomeReasons() == 0) return;
  out->Indent(indent);
  out->Puts("Revoked for these reasons only:");
  for (int bit = 1; bit <= sxASN_ReasonFlags::aACompromise; ++bit) {
    if ((scope->SomeReasons() >> bit & 1) != 0) out->Printf(" %s", TextOf(kReasons, ReasonOfFlag(bit), ""));
  }
  out->Puts("\n");
}

// @param crl  the object of the list, to print its extensions as well; or null
void PrintList(SxStream *out, const sxASN_CertificateList &list, const sxCRL_imp *crl, int indent) {
  const sxASN_TBSCertList &body = *list.tbsCertList;
  const sxAsnOid &signature = *list.signatureAlgorithm->algorithm;
  const sxDN issuer(body.issuer);
  out->Indent(indent);
  out->Printf("X509 CRL Version %u\n",
              body.version == nullptr ? 1U : static_cast<unsigned>(body.version->GetShortVal()) + 1);
  if (crl != nullptr && crl->UnhandledCritExt() != nullptr) {
    out->Indent(indent);
    out->Printf("Unhandled critical extension %s\n", sxOidText(*crl->UnhandledCritExt()).c_str());
  }
  out->Indent(indent);
  out->Printf("Issuer: %s\n", issuer.GetStr_ascii() == nullptr ? "" : issuer.GetStr_ascii());
  PrintTimeLine(out, indent, "This update: ", body.thisUpdate);
  if (body.nextUpdate != nullptr) PrintTimeLine(out, indent, "Next update: ", body.nextUpdate);
  out->Indent(indent);
  out->Printf("Signature Algorithm: %s%s\n", TextOf(kSignatures, AlgType_By_SignOID(signature), ""),
              TextOf(kDigests, MdType_By_SignOID(signature), "unknown digest"));
  if (crl != nullptr) PrintExtensions(out, *crl, indent);
  PrintEntries(out, body.revokedCertificates, indent, crl != nullptr);
}

}  // namespace

void sxCRL_imp::Sprint(SxStream *out, int indent) const {
  sxASN_CertificateList list;
  if (OK() == 0 || sxASN_DecodeBuf(list, reinterpret_cast<const char *>(GetBuf()), static_cast<int>(BufLen())) != 0) {
    return sxSigned_imp::Sprint(out, indent);
  }
  if (out != nullptr) PrintList(out, list, this, indent);
}

void sxCRL_Encoder_imp::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  PrintCount(out, indent, m_entries.Count());
  const sxRevokedEntry *entry = m_entries.Next(nullptr);
  for (int i = 0; i < kMaxEntriesPrinted && entry != nullptr; ++i, entry = m_entries.Next(entry)) {
    PrintEntry(out, indent + 1, entry->serial, entry->revokedSec);
    out->Puts("\n");
  }
  PrintRest(out, indent + 1, m_entries.Count());
}

void sxCert_Sprint_CRLbuf(SxStream *out, const unsigned char *buf, int len, int indent) {
  if (out == nullptr || buf == nullptr || len <= 0) return;
  sxSigned crl(new sxSigned_imp(buf, static_cast<unsigned int>(len)));
  sxASN_CertificateList list;
  if (crl.DecodeBuf(list) == 0) return PrintList(out, list, nullptr, indent);
  crl.Sprint(out, indent);
}

void sxCert_Fprint_CRLbuf(FILE *out, const unsigned char *buf, int len, int indent) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, buf, len, indent);
  if (text.Length() > 0) std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}
