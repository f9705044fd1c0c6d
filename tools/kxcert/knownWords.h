/// @file
/// Words of a fixed list: what is said of one that is not in it.
#ifndef KXCERT_TOOLS_KXCERT_KNOWNWORDS_H_
#define KXCERT_TOOLS_KXCERT_KNOWNWORDS_H_

#include <string>
#include <string_view>
#include <vector>

using Words = std::vector<std::string>;

/// The known word that @p word was probably meant to be; "" when none is near. Upper and lower case count as equal,
/// and so a word in the wrong case is nearest to itself.
std::string NearestWord(std::string_view word, const Words &known);

/// "unknown verb "vrify" of "chain": did you mean "verify"?", and where no word is near, which there are.
/// @param kind  what it should be: "verb"
/// @param of    what it belongs to; may be empty
std::string UnknownWord(std::string_view kind, std::string_view word, const Words &known, std::string_view of = {});

std::string ListOf(const Words &words);                              ///< "a, b and c"
std::string JoinedBy(std::string_view between, const Words &words);  ///< "a|b|c"

#endif
