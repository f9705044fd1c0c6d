// kxcert cert print: certificates and CRLs as text.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>

#include "certFacts.h"
#include "certInput.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/sxPubKey.h"
#include "report.h"
#include "unknownParts.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constinit const sxAsnOid kCrlNumber({2, 5, 29, 20});
constexpr int kIndent = 1;  // TABs under the line that names the block

const std::map<std::string, sxCertHerrorDetails> kLevels = {
    {"brief", sxCert_brief}, {"full", sxCert_full}, {"key", sxCert_full_key}};

struct Options {
  std::vector<std::string> files;
  sxCertHerrorDetails level = sxCert_full;
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
void AddToCert(const sxCert &cert, SxStream *out, nlohmann::ordered_json &facts) {
  sxASN_Certificate tree;
  if (!Decode(tree, cert.GetBuf(), cert.BufLen())) return;
  if (IsNegative(*cert.SerialNum())) PrintLine(out, "Serial Number, negative", SerialText(cert));
  PrintLine(out, "Signature Algorithm OID", UnknownSignature(*tree.signatureAlgorithm));
  facts["signatureOid"] = OidText(*tree.signatureAlgorithm->algorithm);
  facts["unknownExtensions"] = PrintUnknown(tree.tbsCertificate->extensions, cert.Extensions(), nullptr, out, kIndent);
  facts["sha256"] = Sha256Of(cert.GetBuf(), cert.BufLen());
  facts["spkiSha256"] = SpkiSha256(cert);
  PrintLine(out, "SHA-256 of the certificate", facts["sha256"]);
  PrintLine(out, "SHA-256 of the SubjectPublicKeyInfo", facts["spkiSha256"]);
}

std::string CertText(const sxCert &cert, sxCertHerrorDetails level, nlohmann::ordered_json &facts) {
  SxStream text;
  cert.Sprint(&text, std::min(level, sxCert_full), kIndent);
  SxStream more;  // of a subject alone the facts are told, too
  AddToCert(cert, &more, facts);
  if (level >= sxCert_full) text.Put(more.Text());
  if (level == sxCert_full_key) cert.PubKey()->Sprint(&text, kIndent);
  return std::string(TrimEnd(text.Text()));
}

nlohmann::ordered_json ScopeFacts(const sxIssuingDP &scope) {
  auto names = nlohmann::ordered_json::array();
  for (int i = 0; i < scope.FullName().Count(); ++i) {
    SxStream name;
    scope.FullName().Get(i)->Sprint(&name, 0);
    names.push_back(VisibleLine(TrimEnd(name.Text())));
  }
  return {{"names", names},
          {"onlyUserCerts", scope.OnlyUserCerts()},
          {"onlyCACerts", scope.OnlyCACerts()},
          {"onlyAttributeCerts", scope.OnlyAttributeCerts()},
          {"indirect", scope.IndirectCRL()},
          {"onlySomeReasons", scope.HasOnlySomeReasons()}};
}

struct FreeCrl {
  void operator()(sxCRL *crl) const { sxCRL_Free(crl); }
};

// Fills in what is told of a CRL. @return its text, or "" when it is none
std::string CrlText(const Block &block, sxCertHerrorDetails level, nlohmann::ordered_json &facts) {
  const std::unique_ptr<sxCRL, FreeCrl> crl(sxCRL_Decode(block.der.data(), static_cast<int>(block.der.size())));
  sxASN_CertificateList tree;
  if (crl == nullptr || !Decode(tree, crl->GetBuf(), crl->BufLen())) return "";
  const sxASN_TBSCertList &body = *tree.tbsCertList;
  const sxDN issuer(body.issuer);
  const int numRevoked = body.revokedCertificates == nullptr ? 0 : body.revokedCertificates->Count();
  facts["issuer"] = NameText(&issuer);
  facts["revoked"] = numRevoked;
  if (crl->Number() != nullptr) facts["number"] = NumberText(*crl->Number());
  if (crl->AuthorityKeyId() != nullptr) facts["authorityKeyId"] = KeyIdText(crl->AuthorityKeyId());
  if (crl->IssuingDP() != nullptr) facts["issuingDistributionPoint"] = ScopeFacts(*crl->IssuingDP());
  if (crl->UnhandledCritExt() != nullptr) facts["unhandledCritical"] = OidText(*crl->UnhandledCritExt());
  facts["signatureOid"] = OidText(*tree.signatureAlgorithm->algorithm);
  facts["sha256"] = Sha256Of(crl->GetBuf(), crl->BufLen());
  SxStream text, more;
  facts["unknownExtensions"] = PrintUnknown(body.crlExtensions, crl->Extensions(),
                                            crl->Number() != nullptr ? &kCrlNumber : nullptr, &more, kIndent);
  if (level == sxCert_brief) {
    PrintLine(&text, "Issuer", NameText(&issuer));
    PrintLine(&text, "Revoked Certificates", std::to_string(numRevoked));
  } else {
    crl->Sprint(&text, kIndent);
    PrintLine(&text, "Signature Algorithm OID", UnknownSignature(*tree.signatureAlgorithm));
    text.Put(more.Text());
    PrintLine(&text, "SHA-256 of the CRL", facts["sha256"]);
  }
  return std::string(TrimEnd(text.Text()));
}

void PrintBlock(const Block &block, const Options &options, Report &report) {
  if (!block.error.empty()) return report.Problem(kExitInputError, block.where, block.error);
  nlohmann::ordered_json facts = {{"input", VisibleLine(block.where)}};
  std::string text;
  const BlockKind kind = KindOf(block);
  if (kind == BlockKind::kOther) return report.Note(block.where, "a PEM block \"" + block.label + "\"; passed over");
  if (kind == BlockKind::kCrl) {
    facts["kind"] = "crl";
    text = CrlText(block, options.level, facts);
    if (text.empty()) return report.Problem(kExitInputError, block.where, "not a CRL");
  } else {
    const CertRef cert = MakeCert(block);
    if (cert->OK() != 1) {
      return report.Problem(kExitInputError, block.where, "not a usable certificate: " + WhyNotUsable(*cert));
    }
    facts["kind"] = "certificate";
    facts.update(CertFacts(*cert));
    text = CertText(*cert, options.level, facts);
  }
  report.Line(VisibleLine(block.where) + ":");
  report.Line(text);
  facts["text"] = VisibleText(text);
  report.Document()["objects"].push_back(std::move(facts));
}

void Run(const Options &options, Report &report) {
  report.Document()["objects"] = nlohmann::ordered_json::array();
  for (const std::string &file : options.files) {
    const Input input = ReadInput(file);
    if (!input.error.empty()) report.Problem(kExitInputError, input.name, input.error);
    const size_t before = report.Document()["objects"].size();
    bool allOther = !input.blocks.empty();
    for (const Block &block : input.blocks) {
      PrintBlock(block, options, report);
      allOther = allOther && block.error.empty() && KindOf(block) == BlockKind::kOther;
    }
    if (allOther && report.Document()["objects"].size() == before) {
      report.Problem(kExitInputError, input.name, "neither certificate nor CRL in it");
    }
  }
}

}  // namespace

Action AddCertPrint(CLI::App &verb) {
  const auto options = std::make_shared<Options>();
  verb.add_option("FILE", options->files, "DER, PEM or {ASN} files; - is standard input")->required();
  verb.add_option("--level", options->level,
                  "brief: subjects, of CRLs issuers and counts; full; key: and the key's octets")
      ->transform(CLI::CheckedTransformer(kLevels).description("(brief, full, key)"))
      ->option_text("LEVEL");
  return [options](Report &report) { Run(*options, report); };
}
