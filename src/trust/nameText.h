/// @file
/// Names and places as verdicts and evidence have them.
#ifndef KXCERT_SRC_TRUST_NAMETEXT_H_
#define KXCERT_SRC_TRUST_NAMETEXT_H_

#include <algorithm>
#include <string>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
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

/// Anyone's octets in one line of printable ASCII, cut where they are too long for one.
inline std::string sxVisibleText(std::string_view octets) {
  constexpr size_t kMaxShown = 256;
  std::string text(octets.substr(0, kMaxShown));
  std::ranges::replace_if(
      text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return octets.size() > kMaxShown ? text + "..." : text;
}

/// A distribution point, in one line of printable ASCII.
inline std::string sxPlaceText(const sxGeneralName &place) {
  if (place.GetType() == sxGN_dn) return sxNameText(place.GetDN(), "");
  return sxVisibleText(sxTextOf(place.GetStr()));
}

#endif
