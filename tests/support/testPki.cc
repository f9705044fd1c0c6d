#include "support/testPki.h"

#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include <sstream>

namespace {

constexpr size_t kMaxStandardLen = 64;   // libcrypto's checks end there

std::shared_ptr<X509_NAME> NewName(const std::string &text) {
  std::shared_ptr<X509_NAME> name(X509_NAME_new(), X509_NAME_free);
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

EVP_PKEY *NewKey(const std::string &kind) {
  if (!kind.starts_with("RSA-")) return EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", kind.c_str());
  return EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(std::stoul(kind.substr(4))));
}

void AddExtension(X509 *cert, X509 *issuer, const char *name, const std::string &value) {
  if (value.empty()) return;
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  const std::shared_ptr<X509_EXTENSION> extension(X509V3_EXT_conf(nullptr, &context, name, value.c_str()),
                                                  X509_EXTENSION_free);
  ASSERT_NE(nullptr, extension) << value;
  X509_add_ext(cert, extension.get(), -1);
}

}  // namespace

TestCert::TestCert(const std::string &subject, const TestCert *issuer, const TestCertOptions &options) {
  m_key = options.keyOf != nullptr ? options.keyOf->m_key
                                   : std::shared_ptr<EVP_PKEY>(NewKey(options.key), EVP_PKEY_free);
  X509 *const cert = m_x509.get();
  X509 *const above = issuer != nullptr ? issuer->m_x509.get() : cert;
  const std::shared_ptr<ASN1_INTEGER> serial(s2i_ASN1_INTEGER(nullptr, ("0x" + options.serial).c_str()),
                                             ASN1_INTEGER_free);
  X509_set_version(cert, 2);
  X509_set_serialNumber(cert, serial.get());
  X509_set_subject_name(cert, NewName(subject).get());
  X509_set_issuer_name(cert, options.issuerName != nullptr ? NewName(options.issuerName).get()
                                                                 : X509_get_subject_name(above));
  ASN1_TIME_set(X509_getm_notBefore(cert), static_cast<time_t>(options.notBefore));
  ASN1_TIME_set(X509_getm_notAfter(cert), static_cast<time_t>(options.notAfter));
  X509_set_pubkey(cert, m_key.get());
  AddExtension(cert, above, "subjectKeyIdentifier", options.keyIds ? "hash" : "");
  AddExtension(cert, above, "authorityKeyIdentifier", options.keyIds ? "keyid:always" : "");
  AddExtension(cert, above, "basicConstraints", options.basicConstraints);
  AddExtension(cert, above, "keyUsage", options.keyUsage);
  AddExtension(cert, above, "authorityInfoAccess", options.access);
  AddExtension(cert, above, "extendedKeyUsage", options.extKeyUsage);
  AddExtension(cert, above, "noCheck", options.noCheck ? "ignored" : "");
  AddExtension(cert, above, "1.2.3.4.5", options.criticalUnknown ? "critical,DER:0500" : "");
  for (const auto &extension : options.more) X509_add_ext(cert, extension.get(), -1);
  X509_sign(cert, issuer != nullptr ? issuer->m_key.get() : m_key.get(), EVP_get_digestbyname(options.digest));

  unsigned char *der = nullptr;
  const int derLen = i2d_X509(cert, &der);
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

std::string Pem(const std::vector<unsigned char> &der, const std::string &label, size_t lineLen,
                const std::string &lineEnd) {
  std::string base64(der.size() * 2 + 4, '\0');
  auto *out = reinterpret_cast<unsigned char *>(base64.data());
  base64.resize(static_cast<size_t>(EVP_EncodeBlock(out, der.data(), static_cast<int>(der.size()))));
  std::string text = "-----BEGIN " + label + "-----" + lineEnd;
  for (size_t i = 0; i < base64.size(); i += lineLen) text += base64.substr(i, lineLen) + lineEnd;
  return text + "-----END " + label + "-----" + lineEnd;
}
