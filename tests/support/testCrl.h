/// @file
/// CRLs of CN=ca for a test, of 2030-01-01 00:00 UTC. Nobody signed them.
#ifndef KXCERT_TESTS_SUPPORT_TESTCRL_H_
#define KXCERT_TESTS_SUPPORT_TESTCRL_H_

#include <string>

#include "support/derOctets.h"

/// With that many entries, numbered from 300 on and revoked at that time; version 1 and without nextUpdate
/// if there are none.
/// @param criticalEntries  each entry has a critical certificateIssuer (2.5.29.29)
Octets TestCrl(int numEntries, bool criticalEntries = false);

/// With these revokedCertificates and crlExtensions, each what stands in the SEQUENCE OF in the notation of
/// CaseOctets; "" for none.
Octets TestCrlOf(const std::string &entries, const std::string &extensions);

#endif
