// CRLs as text, straight from their octets.
#include <cstdio>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/clock.h"
#include "serialText.h"
#include "sxCRL_Encoder_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr size_t kMaxEntriesPrinted = 100;  // a CRL may hold a million; more are only counted

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

// The bits of ReasonFlags have the names of CRLReason, but no gap (RFC 5280, 5.3.1 and 4.2.1.13).
constexpr int ReasonOfFlag(int bit) { return bit <= sxASN_ReasonFlags::certificateHold ? bit : bit + 2; }

const char *ReasonText(int reason) {
  const char *const text = sxCrlReasonText(reason);
  return text == nullptr ? "unknown" : text;
}

void PrintTime(SxStream *out, int64_t seconds) {
  char text[32];
  const bool isReadable = seconds != kCrlTimeUnreadable && sxCtime_no_nl(seconds, text, sizeof text) == 0;
  out->Puts(isReadable ? text : "?");
  out->Puts(" Local Time");
}

void PrintTimeLine(SxStream *out, int indent, const char *label, int64_t seconds) {
  out->Indent(indent);
  out->Puts(label);
  PrintTime(out, seconds);
  out->Puts("\n");
}

void PrintName(SxStream *out, const char *label, const sxDN *name) {
  out->Printf("%s%s", label, name == nullptr || name->GetStr_ascii() == nullptr ? "" : name->GetStr_ascii());
}

void PrintEntry(SxStream *out, int indent, const sxRevokedEntry &entry, bool withExtensions) {
  const std::unique_ptr<sxAsnInt> serial(AsnIntFromBuf(entry.serial, entry.serialLen));
  out->Indent(indent);
  out->Printf("Serial Number: %s Revoked: ", serial == nullptr ? "?" : sxSerialText(*serial).c_str());
  PrintTime(out, entry.revokedSec);
  if (withExtensions && entry.reason != sxCrlReason_none) out->Printf(" Reason: %s", ReasonText(entry.reason));
  if (withExtensions && entry.certIssuer != nullptr) {
    const sxDN issuer(entry.certIssuer, entry.certIssuerLen);
    PrintName(out, " Issuer: ", &issuer);
  }
  out->Puts("\n");
}

void PrintEntries(SxStream *out, int indent, const sxRevokedEntries &entries, bool withExtensions) {
  const size_t count = entries.Count();
  out->Indent(indent);
  out->Printf("Revoked Certificates: %zu\n", count);
  sxRevokedEntry entry;
  for (size_t i = 0; i < kMaxEntriesPrinted && entries.Next(&entry); ++i) {
    PrintEntry(out, indent + 1, entry, withExtensions);
  }
  if (count <= kMaxEntriesPrinted) return;
  out->Indent(indent + 1);
  out->Printf("%zu more\n", count - kMaxEntriesPrinted);
}

void PrintNumber(SxStream *out, int indent, const char *label, const sxAsnInt *number) {
  if (number == nullptr) return;
  out->Indent(indent);
  out->Printf("%s: %s\n", label, sxSerialText(*number).c_str());
}

void PrintExtensions(SxStream *out, const sxCRL_imp &crl, int indent) {
  PrintNumber(out, indent, "CRL Number", crl.Number());
  PrintNumber(out, indent, "Delta CRL, base", crl.DeltaBase());
  crl.Extensions().Sprint(out, indent);
  const sxIssuingDP *const scope = crl.IssuingDP();
  if (scope == nullptr || scope->SomeReasons() == 0) return;
  out->Indent(indent);
  out->Puts("Revoked for these reasons only:");
  for (int bit = 1; bit <= sxASN_ReasonFlags::aACompromise; ++bit) {
    if ((scope->SomeReasons() >> bit & 1) != 0) out->Printf(" %s", ReasonText(ReasonOfFlag(bit)));
  }
  out->Puts("\n");
}

}  // namespace

void sxCRL_imp::Sprint(SxStream *out, int indent) const { Print(out, indent, true); }

void sxCRL_imp::Print(SxStream *out, int indent, bool withExtensions) const {
  if (OK() == 0) return sxSigned_imp::Sprint(out, indent);
  if (out == nullptr) return;
  out->Indent(indent);
  out->Printf("X509 CRL Version %u\n", static_cast<unsigned>(m_version));
  if (withExtensions && UnhandledCritExt() != nullptr) {
    out->Indent(indent);
    out->Printf("Unhandled critical extension %s\n", sxOidText(*UnhandledCritExt()).c_str());
  }
  out->Indent(indent);
  PrintName(out, "Issuer: ", Issuer());
  out->Puts("\n");
  PrintTimeLine(out, indent, "This update: ", m_thisUpdate);
  if (m_hasNextUpdate) PrintTimeLine(out, indent, "Next update: ", m_nextUpdate);
  out->Indent(indent);
  out->Printf("Signature Algorithm: %s%s\n", TextOf(kSignatures, AlgType_By_SignOID(m_signatureOid), ""),
              TextOf(kDigests, MdType_By_SignOID(m_signatureOid), "unknown digest"));
  if (withExtensions) PrintExtensions(out, *this, indent);
  PrintEntries(out, indent, Entries(), withExtensions);
}

void sxCRL_Encoder_imp::Sprint(SxStream *out, int indent) const {
  if (out != nullptr) PrintEntries(out, indent, Entries(), true);
}

void sxCert_Sprint_CRLbuf(SxStream *out, const unsigned char *buf, int len, int indent) {
  if (out == nullptr || buf == nullptr || len <= 0) return;
  sxCRL_imp crl(buf, static_cast<unsigned int>(len));
  crl.Decode();
  crl.Print(out, indent, false);
}

void sxCert_Fprint_CRLbuf(FILE *out, const unsigned char *buf, int len, int indent) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, buf, len, indent);
  if (text.Length() > 0) std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}
