#include "plainRequest.h"

#include "plainFields.h"

namespace {

constexpr int kAttributesTag = DerContextConstructed(0);

bool TakeAttribute(sxDerReader &from, sxPlainAttribute *attribute) {
  sxDerReader inside, values;
  if (!from.Enter(kDerSequence, &inside) || !sxTakePlainOid(inside, &attribute->oid) ||
      !inside.Enter(kDerSet, &values) || !inside.AtEnd()) {
    return false;
  }
  sxDerElement value;
  while (!values.AtEnd()) {
    if (!values.Take(&value)) return false;
    attribute->values.push_back(value.whole);
  }
  return true;
}

bool TakeInfo(sxDerReader info, bool decoded, sxPlainRequest *request) {
  sxOctetView version;
  sxDerReader attributes;
  if (!sxTakePlainInteger(info, &version) ||
      !sxTakePlainName(info, decoded, &request->subject, &request->subjectName) ||
      !sxTakePlainKey(info, decoded, &request->keyAlgorithm, &request->keyBits) ||
      !info.Enter(kAttributesTag, &attributes) || !info.AtEnd()) {
    return false;
  }
  request->version = sxPlainVersion(version);
  while (!attributes.AtEnd()) {
    if (!TakeAttribute(attributes, &request->attributes.emplace_back())) return false;
  }
  return true;
}

}  // namespace

bool sxReadPlainRequest(sxOctetView der, bool decoded, sxPlainRequest *request) {
  sxDerReader all(der), outer, info;
  sxOctetView signature;
  return all.Enter(kDerSequence, &outer) && all.AtEnd() && outer.Enter(kDerSequence, &info) &&
         TakeInfo(info, decoded, request) && sxTakePlainAlgorithm(outer, decoded, &request->signatureAlgorithm) &&
         sxTakePlainBits(outer, kDerBitString, &signature) && outer.AtEnd();
}
