/// @file
/// The generated classes by name. Constant data: any thread.
#ifndef KXCERT_ASN1_TYPEBYNAME_H_
#define KXCERT_ASN1_TYPEBYNAME_H_

#include "kxcert/platform/export.h"

struct sxAsnTypeInfo;

/// @param name  of the class ("sxASN_Dss_Parms") or of the type ("Dss-Parms", "Dss_Parms"); case counts
/// @return lent for the process; null when there is no such class
KXCERT_EXPORT const sxAsnTypeInfo *sxAsnFindType(const char *name);

/// The classes in module order, from 0 on; null past the end.
KXCERT_EXPORT const sxAsnTypeInfo *sxAsnTypeAt(int index);

#endif
