/// @file
/// Certificates made by libcrypto for a test, each with what the test wants to be different.
#ifndef KXCERT_TESTS_SUPPORT_TESTPKI_H_
#define KXCERT_TESTS_SUPPORT_TESTPKI_H_

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <openssl/x509.h>

#include "kxcert/cert/sxCerts.h"

constexpr int64_t kTestNow = 1893456000;   ///< 2030-01-01 00:00 UTC; certificates are valid around it
constexpr int64_t kTestDay = 86400;

class TestCert;

struct TestCertOptions {
  int64_t notBefore = kTestNow - kTestDay;
  int64_t notAfter = kTestNow + 365 * kTestDay;
  std::string serial = "01";             ///< hexadecimal
  std::string basicConstraints = {};     ///< as in an OpenSSL configuration; "": no extension
  std::string keyUsage = {};
  bool keyIds = false;                   ///< subject and authority key identifiers, made from the keys
  bool criticalUnknown = false;          ///< a critical extension 1.2.3.4.5
  const char *issuerName = nullptr;      ///< instead of the issuer's subject
  const TestCert *keyOf = nullptr;       ///< the same key pair; null: a new one
  std::string key = "P-256";             ///< of a new one: a curve, or "RSA-" and the bits
  const char *digest = "SHA256";
  std::string access = {};               ///< authorityInfoAccess: "caIssuers;URI:http://ca.example/1.cer"
  std::vector<std::shared_ptr<X509_EXTENSION>> more = {};
  std::string extKeyUsage = {};
  bool noCheck = false;                  ///< id-pkix-ocsp-nocheck
};

class TestCert {
 public:
  /// @param subject  "O=Example/CN=name", root-most first; values of any octets and length
  /// @param issuer   signs it; null: it signs itself
  TestCert(const std::string &subject, const TestCert *issuer, const TestCertOptions &options = {});
  TestCert(const TestCert &) = delete;
  TestCert &operator=(const TestCert &) = delete;
  ~TestCert() { sxCert_Free(m_cert); }

  sxCert *Get() const { return m_cert; }   ///< lent
  sxCert *Ref() const;                     ///< one more reference, for a set to adopt
  X509 *Native() const { return m_x509.get(); }
  EVP_PKEY *Key() const { return m_key.get(); }

 private:
  std::shared_ptr<EVP_PKEY> m_key;
  const std::shared_ptr<X509> m_x509{X509_new(), X509_free};
  sxCert *m_cert = nullptr;
};

/// The options with cA set and allowed to sign.
TestCertOptions CaOptions(TestCertOptions options = {});

/// Adds one more reference of each.
sxCerts SetOf(std::initializer_list<const TestCert *> certs);

/// Lent; null where the set has a hole.
std::vector<const sxCert *> Members(const sxCerts &certs);

std::vector<unsigned char> DerOf(const sxCert &cert);

/// The octets between markers with that label, in lines of so many characters.
std::string Pem(const std::vector<unsigned char> &der, const std::string &label = "CERTIFICATE", size_t lineLen = 64,
                const std::string &lineEnd = "\n");

#endif
