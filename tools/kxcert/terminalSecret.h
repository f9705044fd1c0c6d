/// @file
/// Secrets that somebody types.
#ifndef KXCERT_TOOLS_KXCERT_TERMINALSECRET_H_
#define KXCERT_TOOLS_KXCERT_TERMINALSECRET_H_

#include <string>

#include "kxcert/foundation/kxBinBuf.h"

bool HasTerminal();  ///< one that the process can ask, wherever its input and output go

/// Asks for a line on the terminal, which does not show it. A signal that ends the process does so once the terminal is
/// as it was; one that stops it, too, and the question is asked again when it goes on.
/// @param prompt  printable
/// @param[out] out  sensitive, without the line end; may be empty
/// @return "", or what is wrong
std::string AskTerminal(const std::string &prompt, kxBinBuf &out);

#endif
