// kxcert NOUN VERB: finds the verb, runs it, and says with the exit code how it ended.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include "kxcert/signedfile/fileSignVerify.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct NounRow {
  const char *name;
  const char *help;
};
constexpr NounRow kNouns[] = {
    {"cert", "Certificates and CRLs"},
    {"chain", "Chains of certificates"},
    {"name", "Distinguished names"},
};

struct VerbRow {
  const char *noun;
  const char *name;
  const char *help;
  Action (*add)(CLI::App &verb);
};
constexpr VerbRow kVerbs[] = {
    {"cert", "print", "Print certificates and CRLs", AddCertPrint},
    {"cert", "asn1", "Print any ASN.1 type as a tree, or check its encoding", AddCertAsn1},
    {"chain", "verify", "Decide whether a chain is valid, and say why", AddChainVerify},
    {"name", "parse", "Print names as text and DER", AddNameParse},
    {"name", "compare", "Tell whether two names are equal", AddNameCompare},
    {"name", "suffix", "Tell whether a name ends with another one", AddNameSuffix},
};

// What belongs to the verb that was given.
struct Choice {
  std::string command;
  Action action;
  bool json = false;
};

void AddVerbs(CLI::App &app, Choice *choice) {
  std::map<std::string, CLI::App *> nouns;
  for (const NounRow &row : kNouns) {
    nouns[row.name] = app.add_subcommand(row.name, row.help);
    nouns[row.name]->require_subcommand(1);
  }
  for (const VerbRow &row : kVerbs) {
    CLI::App *verb = nouns[row.noun]->add_subcommand(row.name, row.help);
    const Action action = row.add(*verb);
    verb->add_flag("--json", choice->json, "write one JSON document to standard output");
    const std::string command = std::string(row.noun) + " " + row.name;
    verb->callback([choice, action, command] {
      choice->command = command;
      choice->action = action;
    });
  }
}

int Run(int argc, char **argv) {
  CLI::App app("Looks into certificates and decides about chains of them.", "kxcert");
  app.set_version_flag("--version", "kxcert " KXCERT_VERSION);
  app.require_subcommand(1);
  app.footer("Exit codes: 0 yes, 1 no, 2 usage, 3 input or output, 4 internal.");
  Choice choice;
  AddVerbs(app, &choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help and version
    std::fprintf(stderr, "kxcert: %s\nRun with --help for more information.\n", VisibleText(error.what()).c_str());
    return kExitUsage;
  }
  Report report(choice.command, choice.json);
  choice.action(report);
  return report.Finish();
}

}  // namespace

int main(int argc, char **argv) {
  fsv_refuse_zero_time(true);  // no verb takes a signature whose time is not signed
  try {
    return Run(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kxcert: internal error: %s\n", VisibleLine(error.what()).c_str());
    return kExitInternal;
  }
}
