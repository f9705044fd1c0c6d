// CRLs as text, straight from their octets.
#include <cstdio>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certFormats.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/textStream.h"
#include "serialText.h"
#include "sxSigned_imp.h"

namespace {

constexpr int kMaxEntriesPrinted = 100;  // a CRL may hold a million; more are only counted

struct Label {
  int number;
  const char *text;
};
constexpr Label kSignatures[] = {
    {sxPK_RSA, "RSA with "}, {sxPK_DSA, "DSA with "}, {sxPK_ECDSA, "ECDSA with "}};
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

void PrintTime(SxStream *out, const sxASN_Time *time) {
  char text[32];
  out->Puts(sxCtime_no_nl(sxASN_Time2time(time), text, sizeof text) == 0 ? text : "?");
  out->Puts(" Local Time");
}

void PrintTimeLine(SxStream *out, int indent, const char *label, const sxASN_Time *time) {
  out->Indent(indent);
  out->Puts(label);
  PrintTime(out, time);
  out->Puts("\n");
}

void PrintEntries(SxStream *out, const sxASN_TBSCertListSeqOf *entries, int indent) {
  const int count = entries == nullptr ? 0 : entries->Count();
  out->Indent(indent);
  out->Printf("Revoked Certificates: %d\n", count);
  if (count == 0) return;
  int numPrinted = 0;
  for (const sxASN_TBSCertListSeqOfSeq &entry : *entries) {
    if (numPrinted++ == kMaxEntriesPrinted) break;
    out->Indent(indent + 1);
    out->Printf("Serial Number: %s Revoked: ", sxSerialText(*entry.userCertificate).c_str());
    PrintTime(out, entry.revocationDate);
    out->Puts("\n");
  }
  if (count <= kMaxEntriesPrinted) return;
  out->Indent(indent + 1);
  out->Printf("%d more\n", count - kMaxEntriesPrinted);
}

void PrintList(SxStream *out, const sxASN_CertificateList &list, int indent) {
  const sxASN_TBSCertList &body = *list.tbsCertList;
  const sxAsnOid &signature = *list.signatureAlgorithm->algorithm;
  const sxDN issuer(body.issuer);
  out->Indent(indent);
  out->Printf(
      "X509 CRL Version %u\n",
      body.version == nullptr ? 1U : static_cast<unsigned>(body.version->GetShortVal()) + 1);
  out->Indent(indent);
  out->Printf("Issuer: %s\n", issuer.GetStr_ascii() == nullptr ? "" : issuer.GetStr_ascii());
  PrintTimeLine(out, indent, "This update: ", body.thisUpdate);
  if (body.nextUpdate != nullptr) PrintTimeLine(out, indent, "Next update: ", body.nextUpdate);
  out->Indent(indent);
  out->Printf("Signature Algorithm: %s%s\n", TextOf(kSignatures, AlgType_By_SignOID(signature), ""),
              TextOf(kDigests, MdType_By_SignOID(signature), "unknown digest"));
  PrintEntries(out, body.revokedCertificates, indent);
}

}  // namespace

void sxCert_Sprint_CRLbuf(SxStream *out, const unsigned char *buf, int len, int indent) {
  if (out == nullptr || buf == nullptr || len <= 0) return;
  sxSigned crl(new sxSigned_imp(buf, static_cast<unsigned int>(len)));
  sxASN_CertificateList list;
  if (crl.DecodeBuf(list) == 0) return PrintList(out, list, indent);
  out->Indent(indent);
  out->Printf("Error: %s\n", crl.Error().getstr());
}

void sxCert_Fprint_CRLbuf(FILE *out, const unsigned char *buf, int len, int indent) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, buf, len, indent);
  if (text.Length() > 0) std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}
