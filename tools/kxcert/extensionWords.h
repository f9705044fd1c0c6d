/// @file
/// Extensions in words that the library's classes do not keep whole: every kind of name, distribution points with their
/// reasons and issuers, periods of keys, attributes of subjects, entries of CRLs, and those of the first browsers.
#ifndef KXCERT_TOOLS_KXCERT_EXTENSIONWORDS_H_
#define KXCERT_TOOLS_KXCERT_EXTENSIONWORDS_H_

#include <string>

#include "facts.h"

class sxASN_Extension;
class sxASN_GeneralName;
class SxStream;

enum class ReadAs { kRead, kUnknown, kBroken };  ///< broken: of a type that is known, and does not decode

/// @param[out] text   a title and what is in it, in lines of printable ASCII; untouched unless read
/// @param[out] facts  gets its members
ReadAs TellInWords(const sxASN_Extension &ext, SxStream *text, int indent, Facts *facts);

#endif
