/// @file
/// Numbers of CRL partitions: a CA whose CRL is cut in parts names each part's distribution point
/// ICA_CRL and a number of one to five characters.
///
/// The number is 0, written as one digit, or decimal digits with a value above 0 (leading zeros do not
/// count). Failure is -1 with a line on the trace channel under "CrlDB"; @p number is then untouched.
#ifndef KXCERT_STORE_CRLNUMBER_H_
#define KXCERT_STORE_CRLNUMBER_H_

#include "kxcert/platform/export.h"

/// From the common name of at most 20 characters: "CN=ICA_CRL3,O=example" has 3. @return 0 or -1
KXCERT_EXPORT int sxca_DN_to_crl_number(const char *dn, unsigned &number);

/// From the file name between the last slash and the last dot: "http://host/path/ICA_CRL3.crl" has 3.
/// Without a dot behind that slash there is no file name. @return 0 or -1
KXCERT_EXPORT int sxca_URI_to_crl_number(const char *uri, unsigned &number);

#endif
