// kxcert req show, req verify: what certification requests ask for, and whether their senders have the keys.
#include <memory>

#include "certFacts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "nameForm.h"
#include "report.h"
#include "requestFacts.h"
#include "requestInput.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kIndent = 1;  // TABs under the line that names the request

using Files = std::vector<std::string>;

std::string ProofText(const std::string &reason) { return reason.empty() ? "verified" : "not given: " + reason; }

void Show(const FoundRequest &found, Report &report) {
  std::string reason;
  const bool isProven = IsProven(*found.request, &reason);
  SxStream text;
  Facts facts = {{"input", found.where}};
  facts.update(RequestFacts(*found.request, &text, kIndent));
  facts["proven"] = isProven;
  facts["reason"] = reason;
  text.Indent(kIndent);
  text.Printf("Proof of possession: %s\n", ProofText(reason).c_str());
  facts["text"] = VisibleText(TrimEnd(text.Text()));
  report.Line(found.where + ":");
  report.Line(TrimEnd(text.Text()));
  report.Document()["requests"].push_back(std::move(facts));
}

void Verify(const FoundRequest &found, Report &report) {
  std::string reason;
  const bool isProven = IsProven(*found.request, &reason);
  const std::string subject = NameText(found.request->Subject());
  report.Verdict(isProven, found.where + ": " + (isProven ? "verified: " + subject : "not verified: " + reason));
  if (!isProven) report.Worsen(kExitNo);
  report.Document()["requests"].push_back(
      {{"input", found.where}, {"subject", subject}, {"verified", isProven}, {"reason", reason}});
}

Verb MakeVerb(void (*tell)(const FoundRequest &, Report &)) {
  const auto files = std::make_shared<Files>();
  return {{{"FILE", "requests, DER or PEM; - is standard input", files.get(), true}, NameFormRow()},
          [files, tell](Report &report) {
            report.Document()["requests"] = Facts::array();
            for (const std::string &file : *files) {
              for (const FoundRequest &found : ReadRequests(file, report)) tell(found, report);
            }
          }};
}

}  // namespace

Verb ReqShow() { return MakeVerb(Show); }
Verb ReqVerify() { return MakeVerb(Verify); }
