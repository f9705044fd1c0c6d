/// @file
/// Input: the files that arguments name, and standard input for "-".
#ifndef KXCERT_TOOLS_KXCERT_INPUT_H_
#define KXCERT_TOOLS_KXCERT_INPUT_H_

#include <string>

class kxBinBuf;
class Report;
class sxLoader;
struct sxLoadItem;

std::string InputName(const std::string &path);  ///< for messages: "(standard input)" for "-"

/// Reads everything. Standard input can be read only once. @return empty, or why it failed
std::string ReadOctets(const std::string &path, kxBinBuf &out);

/// Loads one file. @return false when the loader has no item about it; a problem is then reported
bool LoadInput(const std::string &path, sxLoader &loader, Report &report);

/// Says what was passed over and why: a problem where it may be what was meant, else a note.
/// @return whether it is a problem
bool TellSkipped(const sxLoadItem &item, Report &report);

/// Whether it is passed over without harm to the answer. Where others read a certificate that is not so: the answer
/// would be about another one.
bool IsHarmless(const sxLoadItem &item);

#endif
