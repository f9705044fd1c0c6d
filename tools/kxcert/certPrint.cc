// kxcert cert print: certificates and CRLs as text.
#include <algorithm>
#include <memory>

#include "certFacts.h"
#include "crlFacts.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/sxPubKey.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constinit const sxAsnOid kCrlNumber({2, 5, 29, 20});
constexpr int kIndent = 1;  // TABs under the line that names the block

struct Options {
  std::vector<std::string> files;
  int level = sxCert_full;  // of sxCertHerrorDetails
};

void PrintLine(SxStream *out, const char *label, const std::string &text) {
  if (text.empty()) return;
  out->Indent(kIndent);
  out->Printf("%s: %s\n", label, text.c_str());
}

template <class Tree>
bool Decode(Tree &tree, const unsigned char *octets, size_t len) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

// What the library's text leaves out, behind it; the same goes into the facts.
void AddToCert(const sxCert &cert, SxStream *out, Facts &facts) {
  sxASN_Certificate tree;
  if (!Decode(tree, cert.GetBuf(), cert.BufLen())) return;
  if (IsNegative(*cert.SerialNum())) PrintLine(out, "Serial Number, negative", SerialText(cert));
  PrintLine(out, "Signature Algorithm OID", UnknownSignature(*tree.signatureAlgorithm));
  facts["signatureOid"] = OidText(*tree.signatureAlgorithm->algorithm);
  Facts extensions;
  facts["unknownExtensions"] =
      PrintUnknown(tree.tbsCertificate->extensions, cert.Extensions(), nullptr, out, kIndent, &extensions);
  facts["extensions"] = std::move(extensions);
  PrintLine(out, "SHA-256 of the certificate", facts["sha256"].Text());
  PrintLine(out, "SHA-256 of the SubjectPublicKeyInfo", facts["spkiSha256"].Text());
}

std::string CertText(const sxCert &cert, int level, Facts &facts) {
  SxStream text;
  cert.Sprint(&text, level == sxCert_brief ? sxCert_brief : sxCert_full, kIndent);
  SxStream more;  // of a subject alone the facts are told, too
  AddToCert(cert, &more, facts);
  if (level >= sxCert_full) text.Put(more.Text());
  if (level == sxCert_full_key) cert.PubKey()->Sprint(&text, kIndent);
  return InUtc(TrimEnd(text.Text()));
}

// Fills in what is told of a CRL. @return its text
std::string CrlText(const sxCRL &crl, int level, Facts &facts) {
  sxASN_CertificateList tree;
  if (!Decode(tree, crl.GetBuf(), crl.BufLen())) return "";  // it did, when it was loaded
  const sxASN_TBSCertList &body = *tree.tbsCertList;
  const sxDN issuer(body.issuer);
  const int numRevoked = body.revokedCertificates == nullptr ? 0 : body.revokedCertificates->Count();
  facts.update(CrlFacts(crl));
  if (crl.UnhandledCritExt() != nullptr) facts["unhandledCritical"] = OidText(*crl.UnhandledCritExt());
  SxStream text, more;
  Facts extensions;
  facts["unknownExtensions"] =
      PrintUnknown(body.crlExtensions, crl.Extensions(), crl.Number() != nullptr ? &kCrlNumber : nullptr, &more,
                   kIndent, &extensions);
  facts["extensions"] = std::move(extensions);
  if (level == sxCert_brief) {
    PrintLine(&text, "Issuer", NameText(&issuer));
    PrintLine(&text, "Revoked Certificates", std::to_string(numRevoked));
  } else {
    crl.Sprint(&text, kIndent);
    PrintLine(&text, "Signature Algorithm OID", UnknownSignature(*tree.signatureAlgorithm));
    text.Put(more.Text());
    PrintLine(&text, "SHA-256 of the CRL", facts["sha256"].Text());
  }
  return InUtc(TrimEnd(text.Text()));
}

void PrintObject(const sxLoadItem &item, int level, Report &report) {
  const std::string where = VisibleLine(item.place.Text());
  Facts facts = {{"input", where}, {"kind", item.crl != nullptr ? "crl" : "certificate"}};
  std::string text;
  if (item.crl != nullptr) {
    text = CrlText(*item.crl, level, facts);
  } else {
    facts.update(CertFacts(*item.cert));
    text = CertText(*item.cert, level, facts);
  }
  report.Line(where + ":");
  report.Line(text);
  facts["text"] = VisibleText(text);
  report.Document()["objects"].push_back(std::move(facts));
}

void PrintFile(const std::string &file, int level, Report &report) {
  sxLoader loader(sxLoad_certs | sxLoad_crls);
  if (!LoadInput(file, loader, report)) return;
  SkippedParts skipped(report);
  bool onlyOthers = true;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.skip == sxLoadSkip::kNot) {
      PrintObject(item, level, report);
      onlyOthers = false;
    } else if (skipped.Tell(item)) {
      onlyOthers = false;
    }
  }
  if (onlyOthers) report.Problem(kExitInputError, InputName(file), "neither certificate nor CRL in it");
}

void Run(const Options &options, Report &report) {
  report.Document()["objects"] = Facts::array();
  for (const std::string &file : options.files) PrintFile(file, options.level, report);
}

}  // namespace

Verb CertPrint() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "DER, PEM or {ASN} files; - is standard input", &options->files, true},
           {"--level",
            "brief: subjects, of CRLs issuers and counts; full; key: and the key's octets",
            &options->level,
            false,
            nullptr,
            {{"brief", sxCert_brief}, {"full", sxCert_full}, {"key", sxCert_full_key}},
            "LEVEL"}},
          [options](Report &report) { Run(*options, report); }};
}
