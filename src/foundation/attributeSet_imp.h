/// @file
/// What the parts of the attribute set share.
#ifndef KXCERT_SRC_FOUNDATION_ATTRIBUTESET_IMP_H_
#define KXCERT_SRC_FOUNDATION_ATTRIBUTESET_IMP_H_

#include <string>

/// Wipes the whole area that a text owns, and empties it. A short text lies inside the string object,
/// where moving from it leaves the characters behind.
void WipeText(std::string *text);

/// Whether a character may stand in a word without quotes.
bool IsBareSetChar(char c);

#endif
