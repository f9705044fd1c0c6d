#include "support/testPki.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/x509v3.h>

#include <sstream>

namespace {

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *p) const { Fn(p); }
};
using X509Ptr = std::unique_ptr<X509, Free<X509_free>>;
using NamePtr = std::unique_ptr<X509_NAME, Free<X509_NAME_free>>;

constexpr size_t kMaxStandardLen = 64;   // libcrypto's checks end there

NamePtr NewName(const std::string &text) {
  NamePtr name(X509_NAME_new());
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, '/');) {
    const size_t equals = part.find('=');
    const auto *value = reinterpret_cast<const unsigned char *>(part.c_str() + equals + 1);
    const size_t valueLen = part.size() - equals - 1;
    EXPECT_EQ(1, X509_NAME_add_entry_by_txt(name.get(), part.substr(0, equals).c_str(),
                                            valueLen <= kMaxStandardLen ? MBSTRING_UTF8 : V_ASN1_UTF8STRING, value,
                                            static_cast<int>(valueLen), -1, 0))
        << text;
  }
  return name;
}

X509Ptr Decode(const sxCert &cert) {
  const unsigned char *der = cert.GetBuf();
  return X509Ptr(d2i_X509(nullptr, &der, static_cast<long>(cert.BufLen())));
}

void AddExtension(X509 *cert, X509 *issuer, int nid, const char *value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>> extension(
      X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  ASSERT_NE(nullptr, extension) << value;
  X509_add_ext(cert, extension.get(), -1);
}

void AddUnknownExtension(X509 *cert) {
  const std::unique_ptr<ASN1_OBJECT, Free<ASN1_OBJECT_free>> oid(OBJ_txt2obj("1.2.3.4.5", 1));
  const std::unique_ptr<ASN1_OCTET_STRING, Free<ASN1_OCTET_STRING_free>> value(ASN1_OCTET_STRING_new());
  const unsigned char null[] = {0x05, 0x00};
  ASN1_OCTET_STRING_set(value.get(), null, sizeof null);
  const std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>> extension(
      X509_EXTENSION_create_by_OBJ(nullptr, oid.get(), 1, value.get()));
  X509_add_ext(cert, extension.get(), -1);
}

}  // namespace

TestCert::TestCert(const std::string &subject, const TestCert *issuer, const TestCertOptions &options) {
  if (options.keyOf != nullptr) {
    m_key = options.keyOf->m_key;
  } else {
    m_key.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
  }
  const X509Ptr cert(X509_new());
  const X509Ptr issuerCert = issuer != nullptr ? Decode(*issuer->m_cert) : nullptr;
  X509 *const above = issuerCert != nullptr ? issuerCert.get() : cert.get();
  const NamePtr name = NewName(subject);
  X509_set_version(cert.get(), 2);
  BIGNUM *serial = nullptr;
  BN_hex2bn(&serial, options.serial.c_str());
  BN_to_ASN1_INTEGER(serial, X509_get_serialNumber(cert.get()));
  BN_free(serial);
  X509_set_subject_name(cert.get(), name.get());
  const NamePtr otherName = options.issuerName != nullptr ? NewName(options.issuerName) : nullptr;
  X509_set_issuer_name(cert.get(), otherName != nullptr ? otherName.get() : X509_get_subject_name(above));
  ASN1_TIME_set(X509_getm_notBefore(cert.get()), static_cast<time_t>(options.notBefore));
  ASN1_TIME_set(X509_getm_notAfter(cert.get()), static_cast<time_t>(options.notAfter));
  X509_set_pubkey(cert.get(), m_key.get());
  if (options.keyIds) {
    AddExtension(cert.get(), above, NID_subject_key_identifier, "hash");
    AddExtension(cert.get(), above, NID_authority_key_identifier, "keyid:always");
  }
  if (!options.basicConstraints.empty()) {
    AddExtension(cert.get(), above, NID_basic_constraints, options.basicConstraints.c_str());
  }
  if (!options.keyUsage.empty()) AddExtension(cert.get(), above, NID_key_usage, options.keyUsage.c_str());
  if (options.criticalUnknown) AddUnknownExtension(cert.get());
  X509_sign(cert.get(), issuer != nullptr ? issuer->m_key.get() : m_key.get(), EVP_sha256());

  unsigned char *der = nullptr;
  const int derLen = i2d_X509(cert.get(), &der);
  m_cert = sxCert_Decode(der, derLen);
  OPENSSL_free(der);
  if (m_cert == nullptr) throw std::runtime_error("TestCert: not decoded: " + subject);
}

sxCert *TestCert::Ref() const {
  sxCert_Save(m_cert);
  return m_cert;
}

TestCertOptions CaOptions(TestCertOptions options) {
  options.basicConstraints = "critical,CA:TRUE";
  options.keyUsage = "critical,keyCertSign,cRLSign";
  return options;
}

sxCerts SetOf(std::initializer_list<const TestCert *> certs) {
  sxCerts set(static_cast<int>(certs.size()));
  for (const TestCert *cert : certs) set.Add(cert->Ref());
  return set;
}

std::vector<const sxCert *> Members(const sxCerts &certs) {
  std::vector<const sxCert *> members;
  for (int i = 0; i <= certs.Top(); ++i) members.push_back(certs.Get(i));
  return members;
}

std::vector<unsigned char> DerOf(const sxCert &cert) { return {cert.GetBuf(), cert.GetBuf() + cert.BufLen()}; }
