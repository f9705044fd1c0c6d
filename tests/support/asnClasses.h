/// @file
/// Every ASN.1 class, and an encoding of each that is made without the library.
#ifndef KXCERT_TESTS_SUPPORT_ASNCLASSES_H_
#define KXCERT_TESTS_SUPPORT_ASNCLASSES_H_

#include <string>
#include <vector>

#include "kxcert/asn1/sxAsnType.h"

/// The generated ones: the library's in module order, then those of the tests' own module.
const std::vector<const sxAsnTypeInfo *> &AsnClasses();

/// Of any class, generated or not; throws std::runtime_error for a name of none.
const sxAsnTypeInfo &AsnClass(const std::string &name);

/// Octets of a value with every optional element present, one element in each list, and the
/// @p alternative-th alternative of the class itself if it is a CHOICE, else the first.
std::vector<unsigned char> AsnSample(const sxAsnTypeInfo &info, int alternative = 0);

#endif
