/// @file
/// Encodings as text.
#ifndef KXCERT_TESTS_SUPPORT_NOTATION_H_
#define KXCERT_TESTS_SUPPORT_NOTATION_H_

#include <string>

#include "support/derOctets.h"

/// Octets in a notation for encodings; what does not read throws std::runtime_error:
///   0A1b 0c     hexadecimal, blanks anywhere between octets
///   "text"      its characters; \n \0 \" \\ and \xHH are known
///   30{ ... }   an element: identifier, shortest length, content
///   30<...>     the same with an indefinite length
///   41*300      the octet, text or element before it, so many times
Octets CaseOctets(const std::string &notation);
/// The same as text.
std::string CaseText(const std::string &notation);

#endif
