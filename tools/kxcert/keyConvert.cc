// kxcert key convert: a key in another form.
#include <algorithm>
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::string file;
  int form = kKeyForm_pem;
  bool publicOnly = false;
  std::string password;
  EncryptOptions encrypt;
  OutputOptions output;
};

void Run(const Options &options, Report &report) {
  const FoundKey found = ReadKey(options.file, KeyPart::kAny, report, options.password);
  if (found.key == nullptr) return;
  const bool privatePart = found.isPrivate && !options.publicOnly;
  const auto form = static_cast<KeyForm>(options.form);
  KeyProtection protection;
  if (!ReadProtection(options.encrypt, privatePart && form != kKeyForm_set, protection, report)) return;
  if (!WriteKey(*found.key, privatePart, form, options.output, report, &protection)) return;
  report.Document()["key"] = KeyFacts(*found.key, privatePart);
}

}  // namespace

Verb KeyConvert() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {{"FILE", "the key; - is standard input", &options->file, true},
                                 FormRow(options->form),
                                 {"--public", "write the public part of a private key", &options->publicOnly},
                                 PasswordRow(options->password)};
  std::ranges::move(EncryptRows(options->encrypt), std::back_inserter(rows));
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Run(*options, report); }};
}
