// kxcert cert print: certificates and CRLs as text, and what else a file is.
#include <algorithm>
#include <memory>

#include "algorithmFacts.h"
#include "certFacts.h"
#include "certText.h"
#include "crlFacts.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "nameForm.h"
#include "otherParts.h"
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
    text = CertText(*item.cert, level, facts);
  }
  report.Line(where + ":");
  report.Line(text);
  facts["text"] = VisibleText(text);
  report.Document()["objects"].push_back(std::move(facts));
}

void PrintFile(const std::string &file, int level, Report &report) {
  sxLoader loader(sxLoad_all);
  OtherParts others(loader);
  if (!LoadInput(file, loader, report)) return;
  SkippedParts skipped(report);
  bool hasWanted = false, hasOther = false;  // a certificate or CRL, or what may have been meant to be one
  for (size_t i = 0; i < loader.Items().size(); ++i) {
    const sxLoadItem &item = loader.Items()[i];
    hasOther |= others.TellContainers(i, report);
    if (item.cert != nullptr || item.crl != nullptr) {
      PrintObject(item, level, report);
      hasWanted = true;
      continue;
    }
    const Told told = others.Tell(i, item, level, report);
    hasOther |= told == Told::kOther;
    hasWanted |= told == Told::kCertificate || (told == Told::kNothing && skipped.Tell(item));
  }
  if (!hasWanted) {
    report.Problem(hasOther ? kExitNo : kExitInputError, InputName(file), "neither certificate nor CRL in it");
  }
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
            "LEVEL"},
           NameFormRow()},
          [options](Report &report) { Run(*options, report); }};
}
