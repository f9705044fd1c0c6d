/// @file
/// Certificates in path order.
#ifndef KXCERT_TRUST_SORTCERTS_H_
#define KXCERT_TRUST_SORTCERTS_H_

#include "kxcert/platform/export.h"

class sxCerts;

/// Path order, end entity first. The start is the member that issued no other member (a self-issued
/// one only when nothing else is left); each next one is a member whose subject is the current issuer.
/// Among several the one is taken whose key verifies; they are tried with a matching key identifier
/// first, then those valid at the present time, then in input order, which also decides where none
/// verifies. At most 64 signatures are verified, and none twice. The path ends where no issuer is
/// found, and at a self-issued certificate unless another key of its CA verifies it (RFC 4210, 4.4).
/// Copies of a certificate, octet for octet, are not on the path.
/// @retval  0  every member is on the path
/// @retval -1  the set is empty, or members that are not on the path were left out
KXCERT_EXPORT int sxCerts_Sort(const sxCerts &in, sxCerts &out);
KXCERT_EXPORT int sxCerts_Sort(sxCerts &certs);  ///< in place

#endif
