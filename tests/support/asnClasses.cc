#include "support/asnClasses.h"

#include <stdexcept>

#include "asn1/modules/allTypes.h"
#include "asn1/modules/testTypes.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/asn1/sxAsnEXTERNAL.h"

const std::vector<const sxAsnTypeInfo *> &AsnClasses() {
  static const std::vector<const sxAsnTypeInfo *> classes = [] {
    std::vector<const sxAsnTypeInfo *> all(kAllTypes, kAllTypes + kNumAllTypes);
    all.insert(all.end(), kTestTypes, kTestTypes + kNumTestTypes);
    return all;
  }();
  return classes;
}

const sxAsnTypeInfo &AsnClass(const std::string &name) {
  static const std::vector<const sxAsnTypeInfo *> all = [] {
    std::vector<const sxAsnTypeInfo *> classes = AsnClasses();
    classes.insert(classes.end(),
                   {&sxAsnInt::kInfo, &sxAsnEnum::kInfo, &sxAsnBool::kInfo, &sxAsnNull::kInfo, &sxAsnOid::kInfo,
                    &sxAsnOcts::kInfo, &sxAsnBits::kInfo, &sxAsnRawAny::kInfo, &sxAsnAny::kInfo, &sxAsnEXTERNAL::kInfo,
                    &sxAsnObjectDescriptor::kInfo, &sxAsnUTF8String::kInfo, &sxAsnNumericString::kInfo,
                    &sxAsnPrintableString::kInfo, &sxAsnTeletexString::kInfo, &sxAsnT61String::kInfo,
                    &sxAsnVideotexString::kInfo, &sxAsnIA5String::kInfo, &sxAsnUTCTime::kInfo,
                    &sxAsnGeneralizedTime::kInfo, &sxAsnGraphicString::kInfo, &sxAsnVisibleString::kInfo,
                    &sxAsnISO646String::kInfo, &sxAsnGeneralString::kInfo, &sxAsnUniversalString::kInfo,
                    &sxAsnBMPString::kInfo});
    return classes;
  }();
  for (const sxAsnTypeInfo *const info : all) {
    if (name == info->name) return *info;
  }
  throw std::runtime_error("no class " + name);
}
