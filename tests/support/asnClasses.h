/// @file
/// Every generated ASN.1 class and every member of the SEQUENCE and SET classes, and an encoding of
/// each that is made without the library.
#ifndef KXCERT_TESTS_SUPPORT_ASNCLASSES_H_
#define KXCERT_TESTS_SUPPORT_ASNCLASSES_H_

#include <vector>

#include "kxcert/asn1/sxAsnType.h"

extern const sxAsnTypeInfo *const kAsnClasses[];   ///< in module order: new modules come last
extern const int kNumAsnClasses;

struct AsnMember {
  const char *name;                                   ///< in the module definition
  const sxAsnTypeInfo *owner;
  const sxAsnTypeInfo *type;
  const sxAsnType *(*read)(const sxAsnType &value);   ///< the member, through its class
};
extern const AsnMember kAsnMembers[];
extern const int kNumAsnMembers;

template <class Owner, class T>
Owner AsnOwnerOf(T *Owner::*);
template <class Owner, class T>
T AsnTypeOf(T *Owner::*);

template <auto kMember>
AsnMember AsnMemberOf(const char *name) {
  using Owner = decltype(AsnOwnerOf(kMember));
  return {name, &Owner::kInfo, &decltype(AsnTypeOf(kMember))::kInfo,
          [](const sxAsnType &value) -> const sxAsnType * { return static_cast<const Owner &>(value).*kMember; }};
}

/// Octets of a value with every optional element present, one element in each list, and the
/// @p alternative-th alternative of the class itself if it is a CHOICE, else the first.
std::vector<unsigned char> AsnSample(const sxAsnTypeInfo &info, int alternative = 0);

#endif
