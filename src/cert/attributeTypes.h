/// @file
/// Attribute types of names and their keywords.
#ifndef KXCERT_SRC_CERT_ATTRIBUTETYPES_H_
#define KXCERT_SRC_CERT_ATTRIBUTETYPES_H_

#include <string>

#include "kxcert/asn1/sxAsnOid.h"

struct sxKeywordRow {
  const sxAsnOid *oid;
  const char *keyword;
};

/// Pairs in search order; ends with a null pair.
extern const sxKeywordRow Str2OID_table[];

/// Appends the keyword of a type, or "OID." and its dotted form.
/// @param content  content octets of the OBJECT IDENTIFIER
/// @return false when the dotted form is longer than 252 characters
bool sxAppendKeyword(const unsigned char *content, int contentLen, std::string *text);

#endif
