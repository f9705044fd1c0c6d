// kxcert key convert: a key in another form.
#include <algorithm>
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::string file;
  int form = kKeyForm_pem;
  bool publicOnly = false;
  OutputOptions output;
};

void Run(const Options &options, Report &report) {
  const FoundKey found = ReadKey(options.file, KeyPart::kAny, report);
  if (found.key == nullptr) return;
  const bool privatePart = found.isPrivate && !options.publicOnly;
  if (!WriteKey(*found.key, privatePart, static_cast<KeyForm>(options.form), options.output, report)) return;
  report.Document()["key"] = KeyFacts(*found.key, privatePart);
}

}  // namespace

Verb KeyConvert() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {{"FILE", "the key; - is standard input", &options->file, true},
                                 FormRow(options->form),
                                 {"--public", "write the public part of a private key", &options->publicOnly}};
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Run(*options, report); }};
}
