/// @file
/// Extensions one after the other, as parsers take them.
#ifndef KXCERT_SRC_CERT_EXTENSIONWALK_H_
#define KXCERT_SRC_CERT_EXTENSIONWALK_H_

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "plainFields.h"

/// @param extensions  that sxTakePlainExtension reads to the end, else only those before are taken
/// @param take        gets each as an object that is lent for the call, and whether it is critical; false: it was the
///                    last one
template <class Take>
void sxForEachExtension(sxOctetView extensions, const Take &take) {
  // One object for all of them: parsers read it and keep nothing of it.
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid;
  ext.critical = new sxAsnBool;
  ext.extnValue = new sxAsnOcts;
  sxPlainExtension plain;
  for (sxDerReader each(extensions); !each.AtEnd() && sxTakePlainExtension(each, &plain);) {
    ext.extnID->Set(plain.oid.data(), sxLen(plain.oid));
    ext.critical->Set(plain.critical ? 1 : 0);
    ext.extnValue->Set(plain.value.data(), sxLen(plain.value));
    if (!take(ext, plain.critical)) return;
  }
}

#endif
