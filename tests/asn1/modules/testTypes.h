/// @file
/// The record of every class of the tests' own module.
#ifndef KXCERT_TESTS_ASN1_MODULES_TESTTYPES_TABLE_H_
#define KXCERT_TESTS_ASN1_MODULES_TESTTYPES_TABLE_H_

#include "kxcert/asn1/sxAsnType.h"

extern const sxAsnTypeInfo *const kTestTypes[];
extern const int kNumTestTypes;

#endif
