/// @file
/// What RFC 5280 says of the extensions that it knows: whether they are critical, whose they are, what their values
/// look like. One table for what is made and for what is judged.
#ifndef KXCERT_SRC_CERT_EXTENSIONRULES_H_
#define KXCERT_SRC_CERT_EXTENSIONRULES_H_

#include <cstdint>

#include "extensionForms.h"

class sxAsnOid;

enum class sxCritical { kAsAsked, kAlways, kNever, kOfCAs, kWithoutSubject };

struct sxExtensionRule {
  sxOctetView oid;  ///< content octets
  sxCritical critical;
  bool isMust;      ///< the RFC says "MUST" of the criticality, else "SHOULD": what is made obeys either
  bool isForCAs;    ///< and for nobody else
  int tag;          ///< of the value
  bool mayBeEmpty;  ///< the value's content
  sxFormFault (*form)(sxOctetView value);  ///< see extensionForms.h
};

inline constexpr unsigned char kOidSubjectKeyId[] = {0x55, 0x1D, 14};
inline constexpr unsigned char kOidKeyUsage[] = {0x55, 0x1D, 15};
inline constexpr unsigned char kOidSubjectAltName[] = {0x55, 0x1D, 17};
inline constexpr unsigned char kOidIssuerAltName[] = {0x55, 0x1D, 18};
inline constexpr unsigned char kOidBasicConstraints[] = {0x55, 0x1D, 19};
inline constexpr unsigned char kOidNameConstraints[] = {0x55, 0x1D, 30};
inline constexpr unsigned char kOidPolicies[] = {0x55, 0x1D, 32};
inline constexpr unsigned char kOidPolicyMappings[] = {0x55, 0x1D, 33};
inline constexpr unsigned char kOidAuthorityKeyId[] = {0x55, 0x1D, 35};
inline constexpr unsigned char kOidPolicyConstraints[] = {0x55, 0x1D, 36};
inline constexpr unsigned char kOidExtKeyUsage[] = {0x55, 0x1D, 37};
inline constexpr unsigned char kOidInhibitAnyPolicy[] = {0x55, 0x1D, 54};

/// RFC 5280, 4.2.1.1 to 4.2.2.2; RFC 7633, 4; RFC 6960, 4.2.2.2.1. @return null for others
const sxExtensionRule *sxExtensionRuleOf(sxOctetView oid);

/// What the criticality is to be. @param asked  what it is, or shall be where the RFC leaves it open
bool sxCriticalityOf(const sxExtensionRule &rule, bool asked, bool isCA, bool hasSubject);

/// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER OPTIONAL }
struct sxPlainConstraints {
  bool isCA = false, saysFalse = false, hasPathLen = false;
  uint32_t pathLen = 0;  ///< more than that has is UINT32_MAX
};
/// @return false for a value that is not plain or none
bool sxReadPlainConstraints(sxOctetView value, sxPlainConstraints *out);

/// KeyUsage: bit n of the number is bit n of the string; one octet more than the nine that have names is looked at.
/// @return false for a value that is not plain or none
bool sxReadPlainUsage(sxOctetView value, unsigned *usage);

#endif
