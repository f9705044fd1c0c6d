// kxcert key show: what a key is.
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyPassword.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::vector<std::string> files;
  std::string password;
};

void Show(const std::string &file, const std::string &password, Report &report) {
  const FoundKey found = ReadKey(file, KeyPart::kAny, report, password);
  if (found.key == nullptr) return;
  Facts facts = {{"input", found.where}};
  facts.update(KeyFacts(*found.key, found.isPrivate));
  report.Document()["keys"].push_back(std::move(facts));
  report.Line(found.where + ":");
  report.Line(KeyLines(*found.key, found.isPrivate));
}

}  // namespace

Verb KeyShow() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "keys as attribute sets, PEM or DER; - is standard input", &options->files, true},
           PasswordRow(options->password)},
          [options](Report &report) {
            report.Document()["keys"] = Facts::array();
            for (const std::string &file : options->files) Show(file, options->password, report);
          }};
}
