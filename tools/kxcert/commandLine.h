/// @file
/// The command line: NOUN VERB and the verb's options.
#ifndef KXCERT_TOOLS_KXCERT_COMMANDLINE_H_
#define KXCERT_TOOLS_KXCERT_COMMANDLINE_H_

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "exitCode.h"
#include "verb.h"

struct NounRow {
  const char *name;
  const char *help;
};

struct VerbRow {
  const char *noun;
  const char *name;
  const char *help;
  Verb (*make)();
};

/// What was asked for.
struct Choice {
  std::string command;  ///< "cert print"
  std::function<void(Report &)> run;
  bool json = false;
};

/// Answers --help and --version, and says what is wrong with the line: with --json as a document, too. "--complete WORD..."
/// prints the words that may follow, a line each, for shells.
/// @return nothing when the program is to end with @p exitCode
std::optional<Choice> ReadCommandLine(int argc, char **argv, std::span<const NounRow> nouns,
                                      std::span<const VerbRow> verbs, int *exitCode);

#endif
