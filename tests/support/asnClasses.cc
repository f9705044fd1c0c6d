#include "support/asnClasses.h"

#include "asn1/modules/allTypes.h"
#include "asn1/modules/testTypes.h"

const std::vector<const sxAsnTypeInfo *> &AsnClasses() {
  static const std::vector<const sxAsnTypeInfo *> classes = [] {
    std::vector<const sxAsnTypeInfo *> all(kAllTypes, kAllTypes + kNumAllTypes);
    all.insert(all.end(), kTestTypes, kTestTypes + kNumTestTypes);
    return all;
  }();
  return classes;
}
