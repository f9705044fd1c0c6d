/// @file
/// Completion: what may stand next on a command line, for shells.
#ifndef KXCERT_TOOLS_KXCERT_COMPLETION_H_
#define KXCERT_TOOLS_KXCERT_COMPLETION_H_

#include <span>

#include "commandLine.h"

constexpr char kHelp[] = "--help", kVersion[] = "--version", kJson[] = "--json";  ///< of every verb

Words NounWords(std::span<const NounRow> nouns);
Words VerbWords(std::span<const VerbRow> verbs, std::string_view noun);
std::string OptionName(const OptionRow &row);  ///< "--encrypt" of "--encrypt{aes256}"
Words OptionWords(const Verb &verb);           ///< every option of it, those of every verb included
Words ValueWords(const OptionRow &row);        ///< what may stand for it, as far as that is a list

/// @param before  what stands before the word that is looked for, without the program's name
/// @return the words that may follow; none where a file name may, or anything else
Words WordsAfter(std::span<const std::string> before, std::span<const NounRow> nouns, std::span<const VerbRow> verbs);

#endif
