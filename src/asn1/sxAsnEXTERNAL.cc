#include "kxcert/asn1/sxAsnEXTERNAL.h"

#include <cstddef>

#include "primitive.h"

namespace {

constexpr int kExternalTag = 8 | kConstructed;

constexpr sxAsnElem kChoiceElems[] = {
    {"single-ASN1-type", &sxAsnRawAny::kInfo, 0, sxAsnElem::kExplicit, 0},
    {"octet-aligned", &sxAsnOcts::kInfo, 0, sxAsnElem::kImplicit, 1},
    {"arbitrary", &sxAsnBits::kInfo, 0, sxAsnElem::kImplicit, 2},
};

constexpr sxAsnElem kElems[] = {
    {"direct-reference", &sxAsnOid::kInfo, offsetof(sxAsnEXTERNAL, direct_reference), sxAsnElem::kNone, 0, true},
    {"indirect-reference", &sxAsnInt::kInfo, offsetof(sxAsnEXTERNAL, indirect_reference), sxAsnElem::kNone, 0, true},
    {"data-value-descriptor", &sxAsnObjectDescriptor::kInfo, offsetof(sxAsnEXTERNAL, data_value_descriptor),
     sxAsnElem::kNone, 0, true},
    {"encoding", &sxAsnEXTERNALChoice::kInfo, offsetof(sxAsnEXTERNAL, encoding)},
};

}  // namespace

constinit const sxAsnTypeInfo sxAsnEXTERNALChoice::kInfo = {
    "sxAsnEXTERNALChoice", sxAsnKind::kChoice, false, false, 0, sxAsnCreate<sxAsnEXTERNALChoice>, kChoiceElems, 3};
constinit const sxAsnTypeInfo sxAsnEXTERNAL::kInfo = {"sxAsnEXTERNAL", sxAsnKind::kSequence,       false,  false,
                                                      kExternalTag,    sxAsnCreate<sxAsnEXTERNAL>, kElems, 4};

sxAsnEXTERNAL::~sxAsnEXTERNAL() { DestroyElems(*this, kInfo); }
