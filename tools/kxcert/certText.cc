#include "certText.h"

#include "algorithmFacts.h"
#include "certFacts.h"
#include "extensionFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/sxPubKey.h"
#include "oidInput.h"
#include "timeText.h"
#include "unknownParts.h"
#include "visibleText.h"
#include "writtenTime.h"

namespace {

constexpr int kIndent = 1;  // TABs under the line that names the block

using Octets = std::span<const unsigned char>;

void PutLine(SxStream *out, const char *label, const std::string &text) {
  if (text.empty()) return;
  out->Indent(kIndent);
  out->Printf("%s: %s\n", label, text.c_str());
}

bool IsUsedCurve(const sxASN_AlgorithmIdentifier &algorithm) {
  sxAsnOid curve;
  return ParameterOid(algorithm, &curve) &&
         (curve.OidEquiv(sxASN_prime256v1) || curve.OidEquiv(sxASN_secp384r1) || curve.OidEquiv(sxASN_secp521r1));
}

// What the library's own times do to it, too.
std::string DateText(const sxASN_Time *time) {
  const bool isClamped = sxASN_Time2seconds(time) >= kFirstClampedSec;
  return ExactTimeText(time) + (isClamped ? " (counts as " + PrintTime(kFirstClampedSec) + ")" : "");
}

std::string UsedKeyWords(const sxCert &cert) {
  const std::string text = KeyText(cert);  // "RSA, 2048 bits"
  const size_t comma = text.find(", ");
  return comma == std::string::npos ? text : text.substr(0, comma) + " (" + text.substr(comma + 2) + ")";
}

Facts VersionFacts(const sxASN_TBSCertificate &body) {
  if (body.version == nullptr) return 1;
  return body.version->IsBig() ? Facts(nullptr) : Facts(int64_t{body.version->GetShortVal()} + 1);
}

std::string VersionText(const sxASN_TBSCertificate &body) {
  const Facts version = VersionFacts(body);
  return version.IsNull() ? "of more than 32 bits" : version.Json();
}

void PutHead(const sxASN_Certificate &tree, const sxCert *cert, const std::string &keyWords, SxStream *out) {
  const sxASN_TBSCertificate &body = *tree.tbsCertificate;
  const sxDN issuer(body.issuer), subject(body.subject);
  out->Indent(kIndent);
  out->Printf("X509 Certificate Version %s\n", VersionText(body).c_str());
  if (cert != nullptr && cert->UnhandledCritExt() != nullptr) {
    out->Indent(kIndent);
    out->Printf("Unhandled critical extension %s\n", NamedOid(*cert->UnhandledCritExt()).c_str());
  }
  PutLine(out, "Serial Number", NumberText(*body.serialNumber));
  PutLine(out, "Issuer", NameText(&issuer));
  PutLine(out, "Subject", NameText(&subject));
  PutLine(out, "Not valid before", DateText(body.validity->notBefore));
  PutLine(out, "Not valid after", " " + DateText(body.validity->notAfter));
  PutLine(out, "Signature Algorithm", SignatureWords(*tree.signatureAlgorithm) + "  Public key: " + keyWords);
}

// What is told of every certificate, behind its head.
void AddRest(const sxASN_Certificate &tree, Octets octets, const std::string &spkiSha256, SxStream *out, Facts &facts) {
  facts["signatureOid"] = OidText(*tree.signatureAlgorithm->algorithm);
  facts["signatureAlgorithm"] = AlgorithmFacts(*tree.signatureAlgorithm);
  facts["keyAlgorithm"] = AlgorithmFacts(*tree.tbsCertificate->subjectPublicKeyInfo->algorithm);
  facts.update(ExtensionFacts(tree.tbsCertificate->extensions, out, kIndent));
  facts["sha256"] = Sha256Of(octets.data(), octets.size());
  facts["spkiSha256"] = spkiSha256;
  PutLine(out, "SHA-256 of the certificate", facts["sha256"].Text());
  PutLine(out, "SHA-256 of the SubjectPublicKeyInfo", spkiSha256);
}

std::string BriefText(const sxDN &subject) { return "\tSubject: " + NameText(&subject); }

bool Decode(sxASN_Certificate &tree, Octets octets) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size())) == 0;
}

}  // namespace

std::string UnusedKeyWords(const sxASN_SubjectPublicKeyInfo &info, bool *isUnsupported) {
  const sxASN_AlgorithmIdentifier &algorithm = *info.algorithm;
  const bool isEc = algorithm.algorithm->OidEquiv(sxASN_ECDSAPublicKey);
  *isUnsupported = isEc ? !IsUsedCurve(algorithm) : !algorithm.algorithm->OidEquiv(sxASN_rsaEncryption);
  std::string text = (*isUnsupported ? "not supported: " : "not usable: ") + AlgorithmText(algorithm);
  constexpr unsigned char kSequence = 0x30;
  const Octets parameters = ParametersOf(algorithm);
  if (isEc && !parameters.empty() && parameters[0] == kSequence) text += " with a curve that it describes itself";
  return text + ", " + Counted(static_cast<size_t>(info.subjectPublicKey->Len()), "octet");
}

std::string CertText(const sxCert &cert, int level, Facts &facts) {
  sxASN_Certificate tree;
  if (!Decode(tree, {cert.GetBuf(), cert.BufLen()})) return "";  // it did, when it was loaded
  facts.update(CertFacts(cert));
  facts["version"] = VersionFacts(*tree.tbsCertificate);
  SxStream text;
  PutHead(tree, &cert, UsedKeyWords(cert), &text);
  AddRest(tree, {cert.GetBuf(), cert.BufLen()}, SpkiSha256(cert), &text, facts);
  if (level == sxCert_full_key) cert.PubKey()->Sprint(&text, kIndent);
  return level == sxCert_brief ? BriefText(*cert.Subject()) : std::string(TrimEnd(text.Text()));
}

std::string UnusedCertText(Octets octets, int level, Facts &facts, bool *isUnsupported) {
  sxASN_Certificate tree;
  if (!Decode(tree, octets)) return "";
  const sxASN_TBSCertificate &body = *tree.tbsCertificate;
  const sxASN_SubjectPublicKeyInfo &key = *body.subjectPublicKeyInfo;
  const std::string keyWords = UnusedKeyWords(key, isUnsupported);
  const sxDN issuer(body.issuer), subject(body.subject);
  const sxASN_Time *const notBefore = body.validity->notBefore, *const notAfter = body.validity->notAfter;
  facts.update(BodyFacts(&issuer, &subject, notBefore, notAfter, body.extensions));
  facts.update(Facts{{"version", VersionFacts(body)},
                     {"serial", NumberText(*body.serialNumber)},
                     {"notBefore", DateFacts(notBefore, sxASN_Time2seconds(notBefore))},
                     {"notAfter", DateFacts(notAfter, sxASN_Time2seconds(notAfter))},
                     {"signature", SignatureWords(*tree.signatureAlgorithm)},
                     {"unusable", keyWords}});
  SxStream text;
  PutHead(tree, nullptr, keyWords, &text);
  AddRest(tree, octets, SpkiSha256(octets.data(), octets.size()), &text, facts);
  if (level == sxCert_full_key) {
    const kxBinBuf bits(key.subjectPublicKey->Data(), static_cast<unsigned>(key.subjectPublicKey->Len()));
    bits.Sprint(&text, "Public key", kIndent);
  }
  return level == sxCert_brief ? BriefText(subject) : std::string(TrimEnd(text.Text()));
}
