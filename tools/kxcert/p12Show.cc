// kxcert p12 show: what is in a PKCS #12 container.
#include "containerFacts.h"
#include "containerInput.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::string file;
  std::string password;
  bool noPassword = false;
};

void Run(const Options &options, Report &report) {
  if (options.noPassword && !options.password.empty()) {
    return report.Problem(kExitUsage, "", "--password or --no-password, not both");
  }
  const std::unique_ptr<sxPkcs12> container = ReadContainer(options.file, report);
  if (container == nullptr) return;
  const Ask ask = options.noPassword ? Ask::kNobody : Ask::kTerminal;
  if (OpenContainer(*container, options.file, options.password, ask, report)) {
    TellLostKeys(*container, options.file, "", report);
  }
  report.Document()["container"] = ContainerFacts(*container);
  report.Line(ContainerLines(*container));
  if (!container->IsOpen()) report.Note("", "not opened: what is told is only what the file claims");
}

}  // namespace

Verb P12Show() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "the container, DER or PEM; - is standard input", &options->file, true},
           ContainerPasswordRow(options->password),
           {"--no-password", "tell what can be told without the password", &options->noPassword}},
          [options](Report &report) { Run(*options, report); }};
}
