#include "support/testPki.h"

#include <gtest/gtest.h>
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

EVP_PKEY *NewKey(const std::string &kind) {
  if (!kind.starts_with("RSA-")) return EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", kind.c_str());
  return EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(std::stoul(kind.substr(4))));
}

X509Ptr Decode(const sxCert &cert) {
  const unsigned char *der = cert.GetBuf();
  return X509Ptr(d2i_X509(nullptr, &der, static_cast<long>(cert.BufLen())));
}

void AddExtension(X509 *cert, X509 *issuer, const char *name, const std::string &value) {
  if (value.empty()) return;
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>> extension(
      X509V3_EXT_conf(nullptr, &context, name, value.c_str()));
  ASSERT_NE(nullptr, extension) << value;
  X509_add_ext(cert, extension.get(), -1);
}

}  // namespace

TestCert::TestCert(const std::string &subject, const TestCert *issuer, const TestCertOptions &options) {
  m_key = options.keyOf != nullptr ? options.keyOf->m_key
                                   : std::shared_ptr<EVP_PKEY>(NewKey(options.key), EVP_PKEY_free);
  const X509Ptr cert(X509_new());
  const X509Ptr issuerCert = issuer != nullptr ? Decode(*issuer->m_cert) : nullptr;
  X509 *const above = issuerCert != nullptr ? issuerCert.get() : cert.get();
  const std::unique_ptr<ASN1_INTEGER, Free<ASN1_INTEGER_free>> serial(
      s2i_ASN1_INTEGER(nullptr, ("0x" + options.serial).c_str()));
  X509_set_version(cert.get(), 2);
  X509_set_serialNumber(cert.get(), serial.get());
  X509_set_subject_name(cert.get(), NewName(subject).get());
  X509_set_issuer_name(cert.get(), options.issuerName != nullptr ? NewName(options.issuerName).get()
                                                                 : X509_get_subject_name(above));
  ASN1_TIME_set(X509_getm_notBefore(cert.get()), static_cast<time_t>(options.notBefore));
  ASN1_TIME_set(X509_getm_notAfter(cert.get()), static_cast<time_t>(options.notAfter));
  X509_set_pubkey(cert.get(), m_key.get());
  AddExtension(cert.get(), above, "subjectKeyIdentifier", options.keyIds ? "hash" : "");
  AddExtension(cert.get(), above, "authorityKeyIdentifier", options.keyIds ? "keyid:always" : "");
  AddExtension(cert.get(), above, "basicConstraints", options.basicConstraints);
  AddExtension(cert.get(), above, "keyUsage", options.keyUsage);
  AddExtension(cert.get(), above, "1.2.3.4.5", options.criticalUnknown ? "critical,DER:0500" : "");
  X509_sign(cert.get(), issuer != nullptr ? issuer->m_key.get() : m_key.get(), EVP_get_digestbyname(options.digest));

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

std::string Pem(const std::vector<unsigned char> &der, const std::string &label, size_t lineLen,
                const std::string &lineEnd) {
  std::string base64(der.size() * 2 + 4, '\0');
  auto *out = reinterpret_cast<unsigned char *>(base64.data());
  base64.resize(static_cast<size_t>(EVP_EncodeBlock(out, der.data(), static_cast<int>(der.size()))));
  std::string text = "-----BEGIN " + label + "-----" + lineEnd;
  for (size_t i = 0; i < base64.size(); i += lineLen) text += base64.substr(i, lineLen) + lineEnd;
  return text + "-----END " + label + "-----" + lineEnd;
}
