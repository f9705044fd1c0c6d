/// @file
/// OCSP responses made by libcrypto for a test.
#ifndef KXCERT_TESTS_SUPPORT_TESTOCSP_H_
#define KXCERT_TESTS_SUPPORT_TESTOCSP_H_

#include "support/derOctets.h"
#include "support/testPki.h"

/// What a response says of one certificate.
struct TestOcspSingle {
  const TestCert *cert = nullptr;
  const TestCert *issuer = nullptr;
  std::string status = "good";   ///< revoked, unknown
  int64_t thisUpdate = kTestNow - 60;
  int64_t nextUpdate = kTestNow + 3600;   ///< 0: none
  const char *digest = "SHA1";
  bool critical = false;   ///< an extension that nobody knows
};

struct TestOcspOptions {
  const TestCert *brings = nullptr;   ///< its certificates: this one, or
  bool noCerts = false;               ///< none, instead of the signer's
  bool byKey = false;
  bool critical = false;
  Octets nonces[2] = {};   ///< values of nonces; empty: none
};

/// @param signer  whose name and key it has
Octets TestOcspResponse(const TestCert &signer, const std::vector<TestOcspSingle> &singles,
                        const TestOcspOptions &options = {});

/// What libcrypto reads in a request.
struct TestOcspRequest {
  int numCerts = 0;
  std::string serial;   ///< of the first, hexadecimal
  std::string digest;   ///< of the first: "sha1"
  bool isAboutFirst = false;   ///< the CertID that libcrypto makes is the first one's
  Octets nonce;         ///< without the OCTET STRING around it; empty: none
};
/// @throws std::runtime_error when it is none
TestOcspRequest ReadOcspRequest(const Octets &request, const TestCert &cert, const TestCert &issuer);

#endif
