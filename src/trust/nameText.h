/// @file
/// Names and places as verdicts and evidence have them.
#ifndef KXCERT_SRC_TRUST_NAMETEXT_H_
#define KXCERT_SRC_TRUST_NAMETEXT_H_

#include <string>

#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/sxString.h"

/// The form without control characters: a line feed in a name would forge a fact.
/// @param none  for a name that is missing or has no text form
inline std::string sxNameText(const sxDN *dn, const char *none) {
  const char *const text = dn != nullptr ? dn->GetStr_ascii() : nullptr;
  return text != nullptr ? text : none;
}

/// All characters of it, whatever they are.
inline std::string sxTextOf(const sxString &text) {
  return text.getstr() != nullptr ? std::string(text.getstr(), static_cast<size_t>(text.length())) : std::string();
}

#endif
