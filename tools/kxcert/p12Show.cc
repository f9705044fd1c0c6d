// kxcert p12 show: what is in a PKCS #12 container.
#include "containerFacts.h"
#include "containerInput.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct Options {
  std::string file;
  std::string password;
  bool noPassword = false;
};

void TellBag(const sxPkcs12Bag &bag, Report &report) {
  const std::string indent(static_cast<size_t>(4 + 2 * bag.nesting), ' '), title = BagTitle(bag);
  report.Line(indent + sxPkcs12_KindText(bag.kind) + (title.empty() ? "" : ": " + title));
  if (!bag.protection.text.empty()) report.Line(indent + "  protection: " + ProtectionText(bag.protection));
  if (!bag.name.empty()) report.Line(indent + "  name:       " + VisibleLine(bag.name));
  if (!bag.keyId.empty()) report.Line(indent + "  id:         " + HexOf(bag.keyId.data(), bag.keyId.size()));
  if (bag.result != sxPkcs12_ok) report.Line(indent + "  problem:    " + VisibleLine(bag.why));
}

void Tell(const sxPkcs12 &container, Report &report) {
  const char *const checked = !container.HasMac() ? "" : container.IsOpen() ? " (checked)" : " (not checked)";
  report.Line("mac: " + ProtectionText(container.Mac()) + checked);
  int number = 0;
  auto bag = container.Bags().begin();  // in the order of the safes
  for (const sxPkcs12Safe &safe : container.Safes()) {
    report.Line("safe " + std::to_string(number + 1) + ": " +
                (safe.isEncrypted ? ProtectionText(safe.protection) : "not encrypted"));
    for (; bag != container.Bags().end() && bag->safe == number; ++bag) TellBag(*bag, report);
    ++number;
  }
}

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
  Tell(*container, report);
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
