/// @file
/// sxPooled: small objects that come and go with every certificate take their blocks from the lists
/// that ASN.1 values use.
#ifndef KXCERT_SRC_CERT_POOLED_H_
#define KXCERT_SRC_CERT_POOLED_H_

#include <cstddef>

#include "kxcert/asn1/sxAsnType.h"

class sxPooled {
 public:
  static void *operator new(size_t size) { return sxAsnType::operator new(size); }
  static void operator delete(void *block, size_t size) noexcept { sxAsnType::operator delete(block, size); }
};

#endif
