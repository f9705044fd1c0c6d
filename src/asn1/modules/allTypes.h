/// @file
/// The record of every generated class, in module order.
#ifndef KXCERT_SRC_ASN1_MODULES_ALLTYPES_H_
#define KXCERT_SRC_ASN1_MODULES_ALLTYPES_H_

#include "kxcert/asn1/sxAsnType.h"

extern const sxAsnTypeInfo *const kAllTypes[];
extern const int kNumAllTypes;

#endif
