// The only file that knows the library that reads command lines: to compile it takes seconds.
#include "commandLine.h"

#include "kxcert/platform/version.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <map>
#include <type_traits>

#include "visibleText.h"

namespace {

// What is no number at all is told where it is converted.
std::string CheckNumber(const std::string &text) { return text.starts_with('-') ? "is negative" : ""; }

// Adds one row; a visitor of its target.
class OptionAdder {
 public:
  OptionAdder(CLI::App &app, const OptionRow &row) : m_app(app), m_row(row) {}

  void operator()(bool *flag) const { m_app.add_flag(m_row.name, *flag, m_row.help); }

  void operator()(int *number) const {
    CLI::Option *const option = Add(*number);
    if (m_row.choices.empty()) {
      option->check(CLI::Validator(CheckNumber, "NONNEGATIVE"));
      return;
    }
    std::map<std::string, int> values;
    std::string names;
    for (const OptionChoice &choice : m_row.choices) {
      values[choice.name] = choice.value;
      names += (names.empty() ? "" : ", ") + std::string(choice.name);
    }
    option->type_name("ENUM");  // as usage errors name it
    option->transform(CLI::CheckedTransformer(values).description("(" + names + ")"))->option_text(m_row.choiceName);
  }

  void operator()(std::string *text) const {
    if (std::strchr(m_row.name, '{') == nullptr) {
      Add(*text);
    } else {
      m_app.add_flag(m_row.name, *text, m_row.help)->check(CLI::Validator(m_row.check, "", ""));
    }
  }

  void operator()(std::vector<std::string> *texts) const {
    CLI::Option *const option = Add(*texts);
    if (m_row.name[0] == '-') option->allow_extra_args(false);
  }

 private:
  template <class Target>
  CLI::Option *Add(Target &target) const {
    CLI::Option *const option = m_app.add_option(m_row.name, target, m_row.help);
    if (m_row.required) option->required();
    // What a shell makes of a variable that is not set would else count as an option that was not given.
    if (m_row.name[0] == '-' && !std::is_same_v<Target, int>) {
      option->check([](const std::string &text) { return text.empty() ? std::string("is empty") : std::string(); });
    }
    if (m_row.check != nullptr) option->check(CLI::Validator(m_row.check, "", m_row.name));
    return option;
  }

  CLI::App &m_app;
  const OptionRow &m_row;
};

void AddVerb(CLI::App &app, const VerbRow &row, Choice &choice) {
  const Verb verb = row.make();
  for (const OptionRow &option : verb.options) std::visit(OptionAdder(app, option), option.target);
  app.add_flag("--json", choice.json, "write one JSON document to standard output");
  app.parse_complete_callback([verb] {
    const char *const missing = verb.missing == nullptr ? nullptr : verb.missing();
    if (missing != nullptr) throw CLI::RequiredError(missing);
  });
  app.callback([&choice, verb, row] {
    choice.command = std::string(row.noun) + " " + row.name;
    choice.run = verb.run;
  });
}

}  // namespace

std::optional<Choice> ReadCommandLine(int argc, char **argv, std::span<const NounRow> nouns,
                                      std::span<const VerbRow> verbs, int *exitCode) {
  CLI::App app("Looks into certificates and decides about chains of them.", "kxcert");
  app.set_version_flag("--version", std::string("kxcert ") + kxVersion());
  app.require_subcommand(1);
  app.footer("Exit codes: 0 yes, 1 no, 2 usage, 3 input or output, 4 internal.");
  Choice choice;
  std::map<std::string_view, CLI::App *> added;
  for (const NounRow &noun : nouns) {
    added[noun.name] = app.add_subcommand(noun.name, noun.help);
    added[noun.name]->require_subcommand(1);
  }
  for (const VerbRow &verb : verbs) AddVerb(*added[verb.noun]->add_subcommand(verb.name, verb.help), verb, choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    *exitCode = kExitUsage;
    if (error.get_exit_code() == 0) {  // help and version
      *exitCode = app.exit(error);
    } else {
      std::fprintf(stderr, "kxcert: %s\nRun with --help for more information.\n", VisibleText(error.what()).c_str());
    }
    return std::nullopt;
  }
  return choice;
}
