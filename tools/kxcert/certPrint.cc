// kxcert cert print: certificates and CRLs as text.
#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "certFacts.h"
#include "certInput.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/textStream.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kIndent = 1;   // TABs under the line that names the block

const std::map<std::string, sxCertHerrorDetails> kLevels = {
    {"brief", sxCert_brief}, {"full", sxCert_full}, {"key", sxCert_full_key}};

struct Options {
  std::vector<std::string> files;
  sxCertHerrorDetails level = sxCert_full;
};

// The library writes a key to its debug log only.
void PrintKey(const sxCert &cert, SxStream *out) {
  sxPubKey *key = cert.PubKey();
  const int len = key == nullptr ? -1 : key->Export(sxPK_public, nullptr, 0);
  if (len <= 0) return;
  kxBinBuf octets(static_cast<unsigned int>(len));
  const int written = key->Export(sxPK_public, octets.Data(), len);
  if (written <= 0) return;
  octets.Set(octets.Data(), static_cast<unsigned int>(written));
  octets.Sprint(out, "Public key octets", kIndent);
  out->Indent(kIndent);
  out->Printf("SHA-256 of the key: %s\n", HexOf(key->PublicKeyHash(), kPublicKeyHashLen).c_str());
}

std::string CertText(const sxCert &cert, sxCertHerrorDetails level) {
  SxStream text;
  cert.Sprint(&text, level == sxCert_full_key ? sxCert_full : level, kIndent);
  if (level == sxCert_full_key) PrintKey(cert, &text);
  return std::string(TrimEnd(text.Text()));
}

std::string CrlText(const Block &block) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, block.der.data(), static_cast<int>(block.der.size()), kIndent);
  return std::string(TrimEnd(text.Text()));
}

// Fills in what is told of a CRL. @return false when it is none
bool CrlFacts(const Block &block, nlohmann::ordered_json *facts) {
  sxASN_CertificateList crl;
  if (sxASN_DecodeBuf(crl, reinterpret_cast<const char *>(block.der.data()), static_cast<int>(block.der.size())) != 0) {
    return false;
  }
  const sxDN issuer(crl.tbsCertList->issuer);
  const auto *revoked = crl.tbsCertList->revokedCertificates;
  (*facts)["issuer"] = NameText(&issuer);
  (*facts)["revoked"] = revoked == nullptr ? 0 : revoked->Count();
  return true;
}

void PrintBlock(const Block &block, const Options &options, Report &report) {
  if (!block.error.empty()) return report.Problem(kExitInputError, block.where, block.error);
  nlohmann::ordered_json facts = {{"input", VisibleLine(block.where)}};
  std::string text;
  const BlockKind kind = KindOf(block);
  if (kind == BlockKind::kOther) return report.Note(block.where, "a PEM block \"" + block.label + "\"; passed over");
  if (kind == BlockKind::kCrl) {
    facts["kind"] = "crl";
    if (!CrlFacts(block, &facts)) return report.Problem(kExitInputError, block.where, "not a CRL");
    text = CrlText(block);
  } else {
    const CertRef cert = MakeCert(block);
    if (cert->OK() != 1) {
      return report.Problem(kExitInputError, block.where,
                            std::string("not a usable certificate: ") + cert->Error().getstr());
    }
    facts["kind"] = "certificate";
    facts.update(CertFacts(*cert));
    text = CertText(*cert, options.level);
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
  verb.add_option("--level", options->level, "brief: subjects; full; key: and the key's octets")
      ->transform(CLI::CheckedTransformer(kLevels).description("(brief, full, key)"))
      ->option_text("LEVEL");
  return [options](Report &report) { Run(*options, report); };
}
