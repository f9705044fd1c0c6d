/// @file
/// Purposes of keys, and what extended key usages say of them (RFC 5280, 4.2.1.12).
#ifndef KXCERT_SRC_TRUST_STRICT_PURPOSES_H_
#define KXCERT_SRC_TRUST_STRICT_PURPOSES_H_

#include <string>
#include <string_view>

#include "asn1/der.h"
#include "kxcert/asn1/sxAsnOid.h"

struct Purpose {
  const char *name;
  sxAsnOid oid;
  unsigned usages;   ///< bits of sxKeyUsageType, one of which a key usage must have
  bool mustBeNamed;  ///< neither any purpose nor no extended key usage at all stands for it
  bool mustBeAlone;  ///< and critical
};
/// @return null for those that are not known here, which are judged by the extended key usage alone
const Purpose *FindPurpose(const sxAsnOid &oid);
const Purpose *FindPurpose(std::string_view name);
std::string PurposeText(const sxAsnOid &oid);  ///< its name, or the identifier in dots

enum class PurposeMatch { kNamed, kAny, kNotNamed, kUnreadable };
/// @param value   extKeyUsage's
/// @param number  how many there are; set unless unreadable
PurposeMatch MatchPurpose(sxOctetView value, const sxAsnOid &purpose, size_t *number);

#endif
