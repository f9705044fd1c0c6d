/// @file
/// What a verb is to the program: a function that declares its options and returns what it does.
#ifndef KXCERT_TOOLS_KXCERT_VERB_H_
#define KXCERT_TOOLS_KXCERT_VERB_H_

#include <functional>

namespace CLI {
class App;
}
class Report;

/// Runs after the options were read; reports through the Report alone.
using Action = std::function<void(Report &)>;

Action AddCertPrint(CLI::App &verb);
Action AddCertAsn1(CLI::App &verb);
Action AddChainVerify(CLI::App &verb);
Action AddNameParse(CLI::App &verb);
Action AddNameCompare(CLI::App &verb);
Action AddNameSuffix(CLI::App &verb);

#endif
