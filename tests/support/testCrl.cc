#include "support/testCrl.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>

#include "support/hexOctets.h"

namespace {

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *p) const {
    Fn(p);
  }
};
using TimePtr = std::unique_ptr<ASN1_TIME, Free<ASN1_TIME_free>>;

}  // namespace

Octets TestCrl(int numEntries, bool criticalEntries) {
  const std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  const std::unique_ptr<X509_CRL, Free<X509_CRL_free>> crl(X509_CRL_new());
  const std::unique_ptr<X509_NAME, Free<X509_NAME_free>> name(X509_NAME_new());
  const auto *value = reinterpret_cast<const unsigned char *>("ca");
  X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_UTF8, value, -1, -1, 0);
  X509_CRL_set_issuer_name(crl.get(), name.get());
  const TimePtr first(ASN1_TIME_set(nullptr, 1893456000));
  const TimePtr next(ASN1_TIME_set(nullptr, 1893456000 + 86400));
  X509_CRL_set1_lastUpdate(crl.get(), first.get());
  if (numEntries > 0) {
    X509_CRL_set_version(crl.get(), 1);
    X509_CRL_set1_nextUpdate(crl.get(), next.get());
  }
  for (int i = 0; i < numEntries; ++i) {
    X509_REVOKED *entry = X509_REVOKED_new();
    const std::unique_ptr<ASN1_INTEGER, Free<ASN1_INTEGER_free>> serial(ASN1_INTEGER_new());
    ASN1_INTEGER_set(serial.get(), 300 + i);
    X509_REVOKED_set_serialNumber(entry, serial.get());
    X509_REVOKED_set_revocationDate(entry, first.get());
    if (criticalEntries) {
      const std::unique_ptr<ASN1_OCTET_STRING, Free<ASN1_OCTET_STRING_free>> names(ASN1_OCTET_STRING_new());
      ASN1_OCTET_STRING_set(names.get(), reinterpret_cast<const unsigned char *>("\x30\x00"), 2);
      const std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>> extension(
          X509_EXTENSION_create_by_NID(nullptr, NID_certificate_issuer, 1, names.get()));
      X509_REVOKED_add_ext(entry, extension.get(), -1);
    }
    X509_CRL_add0_revoked(crl.get(), entry);
  }
  X509_CRL_sign(crl.get(), key.get(), EVP_sha384());
  unsigned char *der = nullptr;
  const int len = i2d_X509_CRL(crl.get(), &der);
  const Octets octets(der, der + len);
  OPENSSL_free(der);
  return octets;
}

Octets TestCrlOf(const char *entries, const char *extensions) {
  const Octets algorithm = DecodeHex("300a06082a8648ce3d040303");
  Octets body = Joined({DecodeHex("020101"), algorithm, NameOf({Ava(kCN, kUtf8, Text("ca"))}),
                        Der(0x17, Text("300101000000Z"))});
  if (*entries != '\0') body = Joined({body, Der(0x30, DecodeHex(entries))});
  if (*extensions != '\0') body = Joined({body, Der(0xA0, Der(0x30, DecodeHex(extensions)))});
  return Der(0x30, {Der(0x30, body), algorithm, DecodeHex("030100")});
}
