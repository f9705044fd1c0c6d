// Certificates as text.
#include "certPrint.h"

#include <cstdio>

#include "foundation/textOutput.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "serialText.h"
#include "sxCert_imp.h"

namespace {

// The label of each digest and how many spaces follow it are part of the format.
struct DigestLabel {
  int mdType;
  const char *label;
};
constexpr DigestLabel kDigestLabels[] = {
    {sx_md_md4, "MD4   Public key: "},       {sx_md_md5, "MD5   Public key: "},
    {sx_md_sha1, "SHA-1  Public key: "},     {sx_md_sha256, "SHA-256  Public key: "},
    {sx_md_sha384, "SHA-384  Public key: "}, {sx_md_sha512, "SHA-512  Public key: "},
};

struct AlgorithmLabel {
  int algorithm;
  const char *signature;
  const char *key;
};
constexpr AlgorithmLabel kAlgorithmLabels[] = {
    {sxPK_RSA, "RSA with ", "RSA (%u bits)\n"},
    {sxPK_DSA, "DSA with ", "DSA (%u bits)\n"},
    {sxPK_ECDSA, "ECDSA with ", "ECDSA (%u bits)\n"},
};

const char *TextOr(const char *text, const char *otherwise) { return text != nullptr ? text : otherwise; }

void PrintTime(SxStream *out, int indent, const char *label, int seconds) {
  char text[32];
  out->Indent(indent);
  out->Puts(label);
  out->Puts(sxCtime_no_nl(seconds, text, sizeof text) == 0 ? text : "?");
  out->Puts(" Local Time\n");
}

}  // namespace

void sxCert_imp::Sprint(SxStream *out, sxCertHerrorDetails details, int indent) const {
  if (out == nullptr) return;
  if (OK() == 0) return sxSigned_imp::Sprint(out, indent);
  if (details >= sxCert_full) {
    out->Indent(indent);
    out->Printf("X509 Certificate Version %d\n", m_version);
    if (UnhandledCritExt() != nullptr) {
      char dotted[256];
      out->Indent(indent);
      out->Printf("Unhandled critical extension %s\n",
                  UnhandledCritExt()->GetStr(dotted, sizeof dotted) == 0 ? dotted : "?");
    }
    out->Indent(indent);
    out->Printf("Serial Number: %s\n", sxSerialText(m_serial).c_str());
    out->Indent(indent);
    out->Printf("Issuer: %s\n", TextOr(m_issuer->GetStr_ascii(), ""));
  }
  out->Indent(indent);
  out->Printf("Subject: %s\n", TextOr(m_subject->GetStr_ascii(), ""));
  if (details >= sxCert_full) PrintFull(out, indent);
  if (details >= sxCert_full_key) {
    herror_func(0, 0, "PubKey:");
    m_pubKey->Herror();
  }
  if (details >= sxCert_full) m_extensions.Sprint(out, indent);
}

void sxCert_imp::PrintFull(SxStream *out, int indent) const {
  PrintTime(out, indent, "Not valid before: ", m_notBefore);
  PrintTime(out, indent, "Not valid after:  ", m_notAfter);
  out->Indent(indent);
  out->Puts("Signature Algorithm: ");
  sxPrintAlgorithms(out, m_signAlgorithm, m_hashAlgorithm, *m_pubKey);
}

void sxPrintAlgorithms(SxStream *out, int signAlgorithm, int hashAlgorithm, sxPubKey &key) {
  for (const AlgorithmLabel &row : kAlgorithmLabels) {
    if (row.algorithm == signAlgorithm) out->Puts(row.signature);
  }
  const char *digest = "unknown digest  Public key: ";
  for (const DigestLabel &row : kDigestLabels) {
    if (row.mdType == hashAlgorithm) digest = row.label;
  }
  out->Puts(digest);
  for (const AlgorithmLabel &row : kAlgorithmLabels) {
    if (row.algorithm == key.algorithm()) out->Printf(row.key, static_cast<unsigned>(sxPubKey_NumBits(&key)));
  }
}

void sxCert::Sprint(SxStream *out, sxCertHerrorDetails details, int indent) const {
  Imp()->Sprint(out, details, indent);
}

void sxCert::Fprint(FILE *out, sxCertHerrorDetails details, int indent) const {
  sxFprintOf(*this, out, details, indent);
}

void sxCert::Herror(sxCertHerrorDetails details, int indent) const { sxHerrorOf(*this, details, indent); }

void sxCert_Herror_buf(const unsigned char *buf, int len) {
  constexpr int kIndent = 3;
  if (dodebugprt == 0) return;
  if (len == 0) {
    herror_func(0, 0, "sxCert_Herror_buf: empty buf");
    return;
  }
  const sxCert cert(buf, len < 0 ? 0 : static_cast<unsigned int>(len));
  cert.Herror(sxCert_full, kIndent);
}

void sxCert_Sprint_certbuf(SxStream *out, const unsigned char *buf, int len, int indent) {
  if (out == nullptr || buf == nullptr || len <= 0) return;
  const sxCert cert(buf, static_cast<unsigned int>(len));
  cert.Sprint(out, sxCert_full, indent);
}

void sxCert_Fprint_certbuf(FILE *out, const unsigned char *buf, int len, int indent) {
  SxStream text;
  sxCert_Sprint_certbuf(&text, buf, len, indent);
  if (text.Length() > 0) std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}
