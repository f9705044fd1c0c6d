/// @file
/// Names from the command line: text, or their DER in hexadecimal.
#ifndef KXCERT_TOOLS_KXCERT_NAMEINPUT_H_
#define KXCERT_TOOLS_KXCERT_NAMEINPUT_H_

#include <optional>
#include <string>

#include "kxcert/cert/sxDN.h"

/// @param[out] reason  why there is no name: ": ..." or ""; untouched on success
std::optional<sxDN> ReadName(const std::string &argument, std::string *reason);

#endif
