/// @file
/// What must hold for every encoding that decodes, whatever its class.
#ifndef KXCERT_TESTS_SUPPORT_ASNCHECKS_H_
#define KXCERT_TESTS_SUPPORT_ASNCHECKS_H_

#include <vector>

#include "kxcert/asn1/sxAsnType.h"

/// Encodes to @p der; so do copies of every kind, which outlive what they were made from; every shorter
/// prefix is refused, and so is one octet more.
/// @param der  equal to @p octets unless those are not in the form that we write
void CheckSample(const sxAsnTypeInfo &info, const std::vector<unsigned char> &octets,
                 const std::vector<unsigned char> &der);
inline void CheckSample(const sxAsnTypeInfo &info, const std::vector<unsigned char> &octets) {
  CheckSample(info, octets, octets);
}

/// Changes each octet in a few ways. Any result will do, as long as there is one and what decodes
/// encodes to the same octets again after a second round.
void CheckChangedOctets(const sxAsnTypeInfo &info, const std::vector<unsigned char> &octets);

#endif
