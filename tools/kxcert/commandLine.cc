// The only file that knows the library that reads command lines: to compile it takes seconds.
#include "commandLine.h"

#include "kxcert/platform/version.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <type_traits>

#include "completion.h"
#include "examples.h"
#include "report.h"
#include "visibleText.h"

namespace {

constexpr char kExitCodes[] = "Exit codes: 0 yes, 1 no, 2 usage, 3 input or output, 4 internal.";
constexpr size_t kMaxShownWords = 80;  // characters; what is longer is left to completion

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
    const auto read = [row = m_row](std::string &text) {
      for (const OptionChoice &choice : row.choices) {
        if (text == choice.name) return text = std::to_string(choice.value), std::string();
      }
      return UnknownWord("value", text, ValueWords(row));
    };
    option->type_name("ENUM");  // as usage errors name it
    option->transform(CLI::Validator("").operation(read));
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
    ShowWords(*option);
    // What a shell makes of a variable that is not set would else count as an option that was not given.
    if (m_row.name[0] == '-' && !std::is_same_v<Target, int>) {
      option->check([](const std::string &text) { return text.empty() ? std::string("is empty") : std::string(); });
    }
    if (m_row.check != nullptr) option->check(CLI::Validator(m_row.check, "", m_row.name));
    return option;
  }

  void ShowWords(CLI::Option &option) const {
    const std::string words = JoinedBy("|", ValueWords(m_row));
    if (words.empty() || words.size() > kMaxShownWords) return;
    const std::string name = *m_row.choiceName == '\0' ? "" : std::string(m_row.choiceName) + ": ";
    option.option_text(name + words + (m_row.required ? " REQUIRED" : ""));
  }

  CLI::App &m_app;
  const OptionRow &m_row;
};

void AddVersion(CLI::App &app) { app.set_version_flag(kVersion, std::string("kxcert ") + kxVersion()); }

std::string NameOf(const VerbRow &row) { return std::string(row.noun) + " " + row.name; }

void AddVerb(CLI::App &app, const VerbRow &row, Choice &choice) {
  const Verb verb = row.make();
  for (const OptionRow &option : verb.options) std::visit(OptionAdder(app, option), option.target);
  app.add_flag(kJson, choice.json, "write one JSON document to standard output");
  AddVersion(app);
  app.footer(std::string(kExitCodes) + "\n\nExample:\n" + ExampleOf(NameOf(row)));
  app.parse_complete_callback([verb] {
    const char *const missing = verb.missing == nullptr ? nullptr : verb.missing();
    if (missing != nullptr) throw CLI::RequiredError(missing);
  });
  app.callback([&choice, verb, row] {
    choice.command = NameOf(row);
    choice.run = verb.run;
  });
}

// What is wrong with a line, and what of it names a command.
struct Fault {
  std::string command;  // "chain verify", "chain" or ""
  std::string text;     // empty: nothing is wrong
};

Fault FaultOfNouns(const Words &line, std::span<const NounRow> nouns, std::span<const VerbRow> verbs) {
  const Words known = NounWords(nouns);
  if (line.empty()) return {"", "a noun is missing: " + ListOf(known)};
  if (line[0].starts_with('-')) return {};
  if (std::ranges::find(known, line[0]) == known.end()) return {"", UnknownWord("noun", line[0], known)};
  const Words itsVerbs = VerbWords(verbs, line[0]);
  const std::string &noun = line[0];
  if (line.size() == 1) return {noun, "a verb of \"" + noun + "\" is missing: " + ListOf(itsVerbs)};
  const std::string &word = line[1];
  if (std::ranges::find(itsVerbs, word) != itsVerbs.end()) return {noun + " " + word, ""};
  if (!word.starts_with('-')) return {noun, UnknownWord("verb", word, itsVerbs, noun)};
  const bool isAnswer = word == kHelp || word == "-h" || word == kVersion;
  return {noun, isAnswer ? "" : "a verb of \"" + noun + "\" is missing before \"" + VisibleLine(word) + "\""};
}

// Words that are nobody's come first: what else is wrong with the line mostly follows from them.
std::string TextOf(const CLI::ParseError &error, const CLI::App &app, const std::string &command,
                   std::span<const VerbRow> verbs) {
  Words known = {kHelp, kVersion};
  for (const VerbRow &verb : verbs) {
    if (NameOf(verb) == command) known = OptionWords(verb.make());
  }
  const std::vector<std::string> rest = app.remaining(true);
  for (const std::string &word : rest) {
    const std::string name = word.substr(0, word.find('='));
    if (!word.starts_with('-') || std::ranges::find(known, name) != known.end()) continue;
    const std::string nearest = NearestWord(name, known);
    return UnknownWord("option", name, nearest.empty() ? Words() : Words{nearest}, command);
  }
  if (!rest.empty()) return "unexpected argument \"" + VisibleLine(rest.front()) + "\" of \"" + command + "\"";
  return VisibleText(error.what());
}

int TellFault(const Fault &fault, bool json) {
  Report report(fault.command, json);
  report.Problem(kExitUsage, "", fault.text);
  std::fputs("Run with --help for more information.\n", stderr);
  return report.Finish();
}

// The words that may be options.
Words BeforeDashes(const Words &line) { return {line.begin(), std::ranges::find(line, "--")}; }

// Also with a value, which is a fault and told as was asked.
bool HasJsonValue(const std::string &word) { return word.starts_with(std::string(kJson) + "="); }
bool WantsJson(const Words &line) {
  return std::ranges::any_of(BeforeDashes(line),
                             [](const std::string &word) { return word == kJson || HasJsonValue(word); });
}

}  // namespace

std::optional<Choice> ReadCommandLine(int argc, char **argv, std::span<const NounRow> nouns,
                                      std::span<const VerbRow> verbs, int *exitCode) {
  const Words line(argv + std::min(argc, 1), argv + argc);
  if (!line.empty() && line[0] == "--complete") {
    for (const std::string &word : WordsAfter(std::span(line).subspan(1), nouns, verbs)) std::puts(word.c_str());
    *exitCode = Report("", false).Finish();
    return std::nullopt;
  }
  Fault fault = FaultOfNouns(line, nouns, verbs);
  if (!fault.text.empty()) {
    *exitCode = TellFault(fault, WantsJson(line));
    return std::nullopt;
  }
  if (std::ranges::any_of(BeforeDashes(line), HasJsonValue)) {
    fault.text = std::string(kJson) + " takes no value";
    *exitCode = TellFault(fault, true);
    return std::nullopt;
  }
  CLI::App app("Looks into certificates and decides about chains of them.", "kxcert");
  AddVersion(app);
  app.require_subcommand(1);
  app.footer(kExitCodes);
  Choice choice;
  std::map<std::string_view, CLI::App *> added;
  for (const NounRow &noun : nouns) {
    added[noun.name] = app.add_subcommand(noun.name, noun.help);
    added[noun.name]->require_subcommand(1);
    AddVersion(*added[noun.name]);
  }
  for (const VerbRow &verb : verbs) AddVerb(*added[verb.noun]->add_subcommand(verb.name, verb.help), verb, choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {  // help and version
      app.exit(error);
      *exitCode = Report("", false).Finish();
      return std::nullopt;
    }
    fault.text = TextOf(error, app, fault.command, verbs);
    *exitCode = TellFault(fault, WantsJson(line));
    return std::nullopt;
  }
  return choice;
}
