/// @file
/// Names of object identifiers, as the documents that define them spell them. For people to read: whatever has to be
/// told apart is told apart by its identifier.
#ifndef KXCERT_ASN1_OIDNAMES_H_
#define KXCERT_ASN1_OIDNAMES_H_

#include <span>

#include "kxcert/asn1/sxAsnOid.h"

enum class sxOidKind { kExtension, kPurpose, kAttribute, kKey, kCurve, kSignature, kContent, kOther };

struct sxNamedOid {
  const char *name;
  sxOidKind kind;
  sxAsnOid oid;
};

/// All that have a name; constant. A name is there once in its kind, an identifier once.
KXCERT_EXPORT std::span<const sxNamedOid> sxNamedOids();

/// "Ed25519"; null for one without a name here.
KXCERT_EXPORT const char *sxOidName(const sxAsnOid &oid);

#endif
