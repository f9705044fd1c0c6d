#include "extensionDer.h"

void sxAppendExtension(sxOctetView oid, bool isCritical, sxOctetView value, sxDerOctets *out) {
  constexpr unsigned char kTrue[] = {kDerBoolean, 1, 0xFF};
  const size_t contentLen = sxDerLen(oid.size()) + (isCritical ? sizeof kTrue : 0) + sxDerLen(value.size());
  const size_t start = out->size();
  out->resize(start + sxDerLen(contentLen));
  sxDerForward area(out->data() + start);
  area.Header(kDerSequence, contentLen);
  area.Element(kDerOid, oid);
  if (isCritical) area.Octets(kTrue);
  area.Element(kDerOctetString, value);
}

sxDerOctets sxExtensionDer(sxOctetView oid, bool isCritical, sxOctetView value) {
  sxDerOctets der;
  sxAppendExtension(oid, isCritical, value, &der);
  return der;
}
