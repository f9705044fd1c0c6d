/// @file
/// What is told of a list of extensions, as text and as JSON. All of it is printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_EXTENSIONFACTS_H_
#define KXCERT_TOOLS_KXCERT_EXTENSIONFACTS_H_

#include "facts.h"

class sxASN_Extensions;
class SxStream;

/// @param all  may be null
/// @param[out] text  each of them in their order, as cert print shows it
/// @return "extensions", each with what is told of it, and "unknownExtensions", those that are not read
Facts ExtensionFacts(const sxASN_Extensions *all, SxStream *text, int indent);

#endif
