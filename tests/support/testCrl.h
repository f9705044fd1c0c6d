/// @file
/// CRLs made by libcrypto for a test.
#ifndef KXCERT_TESTS_SUPPORT_TESTCRL_H_
#define KXCERT_TESTS_SUPPORT_TESTCRL_H_

#include "support/derOctets.h"

/// The DER of a CRL of CN=ca with that many entries, numbered from 300 on and revoked at 2030-01-01
/// 00:00 UTC; version 1 and without nextUpdate if there are none.
/// @param criticalEntries  each entry has a critical certificateIssuer (2.5.29.29)
Octets TestCrl(int numEntries, bool criticalEntries = false);

/// The DER of a CRL of CN=ca of 2030-01-01 with these revokedCertificates and crlExtensions, each the
/// hexadecimal of what stands in the SEQUENCE OF; "" for none. Its signature is none.
Octets TestCrlOf(const char *entries, const char *extensions);

#endif
