/// @file
/// The generated classes by name, for the command and for tests; no part of the library. Constant data: any thread.
#ifndef KXCERT_SRC_ASN1_TYPEBYNAME_H_
#define KXCERT_SRC_ASN1_TYPEBYNAME_H_

struct sxAsnTypeInfo;

/// @param name  of the class ("sxASN_Dss_Parms") or of the type ("Dss-Parms", "Dss_Parms"); case counts
/// @return lent for the process; null when there is no such class
const sxAsnTypeInfo *sxAsnFindType(const char *name);

/// The classes in module order, from 0 on; null past the end.
const sxAsnTypeInfo *sxAsnTypeAt(int index);

#endif
