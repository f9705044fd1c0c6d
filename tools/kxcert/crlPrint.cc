// kxcert crl print: CRLs and their entries as text.
#include <memory>

#include "certFacts.h"
#include "crlExtensions.h"
#include "crlFacts.h"
#include "crlInput.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/textStream.h"
#include "nameForm.h"
#include "report.h"
#include "unknownParts.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kMaxEntries = 100;  // without --all
enum Level : int { kBrief, kFull, kKey };

struct Options {
  std::vector<std::string> files;
  int level = kFull;
  bool all = false;
};

void PrintEntries(const sxCRL &crl, bool all, Report &report, Facts &facts) {
  auto entries = Facts::array();
  sxRevokedEntry entry;
  int numTold = 0;
  for (; (all || numTold < kMaxEntries) && crl.NextEntry(&entry); ++numTold) {
    report.Line("    " + EntryText(entry));
    if (report.IsJson()) entries.push_back(EntryFacts(entry));
  }
  if (numTold < crl.GetSize()) {
    report.Line("    " + std::to_string(crl.GetSize() - numTold) + " more; --all lists them");
  }
  facts["entries"] = std::move(entries);
}

void PrintFields(const sxCRL &crl, Report &report) {
  report.Line("  Version: " + std::to_string(crl.Version()));
  if (crl.Number() != nullptr) report.Line("  Number: " + NumberText(*crl.Number()));
  report.Line("  This update: " + CrlTimeText(crl.ThisUpdate()));
  report.Line("  Next update: " + (crl.HasNextUpdate() ? CrlTimeText(crl.NextUpdate()) : "(none)"));
  report.Line("  Signature: " + SignatureText(crl.SignatureOid()));
  if (crl.AuthorityKeyId() != nullptr) report.Line("  Authority key: " + KeyIdText(crl.AuthorityKeyId()));
  if (crl.FreshestCRL() != nullptr) {
    for (const std::string &name : NameTexts(crl.FreshestCRL()->Names())) report.Line("  Deltas at " + name);
  }
  for (const std::string &limit : LimitsOf(crl)) report.Line("  It " + limit);
  report.Line("  SHA-256: " + Sha256Of(crl.GetBuf(), crl.BufLen()));
}

void Print(const FoundCrl &found, const Options &options, Report &report) {
  const sxCRL &crl = *found.crl;
  Facts facts = {{"input", found.where}};
  if (report.IsJson()) facts.update(CrlFacts(crl));
  report.Line(found.where + ":");
  report.Line("  Issuer: " + NameText(crl.Issuer()));
  if (options.level != kBrief) PrintFields(crl, report);
  report.Line("  Revoked: " + std::to_string(crl.GetSize()));
  if (options.level != kBrief) PrintEntries(crl, options.all, report, facts);
  if (options.level != kBrief) {
    SxStream text;
    facts.update(TellCrlExtensions(crl, options.level == kKey ? CrlWords::kAll : CrlWords::kUnsaid, &text, 1));
    if (text.Length() > 0) report.Line(VisibleText(TrimEnd(text.Text())));
  }
  report.Document()["crls"].push_back(std::move(facts));
}

void Run(const Options &options, Report &report) {
  report.Document()["crls"] = Facts::array();
  for (const std::string &file : options.files) {
    for (const FoundCrl &found : ReadCrls(file, report)) Print(found, options, report);
  }
}

}  // namespace

Verb CrlPrint() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "DER, PEM or {ASN} files; - is standard input", &options->files, true},
           {"--level",
            "brief: issuers and counts; full; key: and every extension",
            &options->level,
            false,
            nullptr,
            {{"brief", kBrief}, {"full", kFull}, {"key", kKey}},
            "LEVEL"},
           {"--all", "all entries, not the first hundred", &options->all},
           NameFormRow()},
          [options](Report &report) { Run(*options, report); }};
}
