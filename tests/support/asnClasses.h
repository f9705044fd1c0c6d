/// @file
/// Every generated ASN.1 class, and an encoding of each that is made without the library.
#ifndef KXCERT_TESTS_SUPPORT_ASNCLASSES_H_
#define KXCERT_TESTS_SUPPORT_ASNCLASSES_H_

#include <vector>

#include "kxcert/asn1/sxAsnType.h"

/// The library's in module order, then those of the tests' own module.
const std::vector<const sxAsnTypeInfo *> &AsnClasses();

/// Octets of a value with every optional element present, one element in each list, and the
/// @p alternative-th alternative of the class itself if it is a CHOICE, else the first.
std::vector<unsigned char> AsnSample(const sxAsnTypeInfo &info, int alternative = 0);

#endif
