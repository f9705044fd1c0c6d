/// @file
/// Friendly names: BMPStrings, which hold UTF-16 where others write them, as UTF-8 and back.
#ifndef KXCERT_SRC_CERT_PKCS12_BAGNAME_H_
#define KXCERT_SRC_CERT_PKCS12_BAGNAME_H_

#include <string>
#include <string_view>

#include "asn1/der.h"
#include "kxcert/foundation/kxBinBuf.h"

/// What is no UTF-16 becomes U+FFFD; NULs at the end are dropped, which some write.
/// @return false: longer than kMaxPkcs12NameLen
bool NameOfBmp(sxOctetView bmp, std::string *name);

void BmpOfName(std::string_view name, kxBinBuf *bmp);
/// Whether it is UTF-8 that is read as it was written.
bool CanBeName(std::string_view name);

#endif
