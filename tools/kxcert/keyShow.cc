// kxcert key show: what a key is.
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "report.h"
#include "verb.h"

namespace {

void Show(const std::string &file, Report &report) {
  const FoundKey found = ReadKey(file, KeyPart::kAny, report);
  if (found.key == nullptr) return;
  Facts facts = {{"input", found.where}};
  facts.update(KeyFacts(*found.key, found.isPrivate));
  report.Document()["keys"].push_back(std::move(facts));
  report.Line(found.where + ":");
  report.Line("  key:     " + KeyName(*found.key));
  report.Line(std::string("  part:    ") + (found.isPrivate ? "private" : "public"));
  report.Line("  sha-256: " + KeyFingerprint(*found.key) + " (SubjectPublicKeyInfo)");
}

}  // namespace

Verb KeyShow() {
  const auto files = std::make_shared<std::vector<std::string>>();
  return {{{"FILE", "keys as attribute sets, PEM or DER; - is standard input", files.get(), true}},
          [files](Report &report) {
            report.Document()["keys"] = Facts::array();
            for (const std::string &file : *files) Show(file, report);
          }};
}
