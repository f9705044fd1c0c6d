#include "support/testOcsp.h"

#include <openssl/ocsp.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace {

template <auto kFree, class T>
std::shared_ptr<T> Own(T *object) {
  if (object == nullptr) throw std::runtime_error("libcrypto made no part of OCSP");
  return {object, kFree};
}

std::shared_ptr<ASN1_TIME> Time(int64_t seconds) {
  return Own<ASN1_STRING_free>(ASN1_GENERALIZEDTIME_set(nullptr, static_cast<time_t>(seconds)));
}

std::shared_ptr<X509_EXTENSION> Extension(const char *oid, const std::string &value) {
  return Own<X509_EXTENSION_free>(X509V3_EXT_conf(nullptr, nullptr, oid, value.c_str()));
}

std::shared_ptr<OCSP_CERTID> CertId(const char *digest, const TestCert &cert, const TestCert &issuer) {
  return Own<OCSP_CERTID_free>(OCSP_cert_to_id(EVP_get_digestbyname(digest), cert.Native(), issuer.Native()));
}

void Add(OCSP_BASICRESP *response, const TestOcspSingle &single) {
  const int status = single.status == "good" ? V_OCSP_CERTSTATUS_GOOD
                     : single.status == "revoked" ? V_OCSP_CERTSTATUS_REVOKED : V_OCSP_CERTSTATUS_UNKNOWN;
  OCSP_SINGLERESP *const added = OCSP_basic_add1_status(
      response, CertId(single.digest, *single.cert, *single.issuer).get(), status, OCSP_REVOKED_STATUS_KEYCOMPROMISE,
      Time(kTestNow - kTestDay).get(), Time(single.thisUpdate).get(),
      single.nextUpdate != 0 ? Time(single.nextUpdate).get() : nullptr);
  if (single.critical) OCSP_SINGLERESP_add_ext(added, Extension("1.2.3.4.5", "critical,DER:0500").get(), -1);
}

Octets Whole(OCSP_RESPONSE *response) {
  unsigned char *der = nullptr;
  const int len = i2d_OCSP_RESPONSE(response, &der);
  const Octets octets(der, der + len);
  OPENSSL_free(der);
  return octets;
}

}  // namespace

Octets TestOcspResponse(const TestCert &signer, const std::vector<TestOcspSingle> &singles,
                        const TestOcspOptions &options) {
  const auto response = Own<OCSP_BASICRESP_free>(OCSP_BASICRESP_new());
  for (const TestOcspSingle &single : singles) Add(response.get(), single);
  for (const Octets &nonce : options.nonces) {
    if (nonce.empty()) continue;
    const auto value = Own<ASN1_OCTET_STRING_free>(ASN1_OCTET_STRING_new());
    const Octets element = Der(V_ASN1_OCTET_STRING, nonce);   // libcrypto knows a nonce as octets of any kind
    ASN1_OCTET_STRING_set(value.get(), element.data(), static_cast<int>(element.size()));
    OCSP_BASICRESP_add1_ext_i2d(response.get(), NID_id_pkix_OCSP_Nonce, value.get(), 0, X509V3_ADD_APPEND);
  }
  if (options.critical) OCSP_BASICRESP_add_ext(response.get(), Extension("1.2.3.4.5", "critical,DER:0500").get(), -1);
  if (options.brings != nullptr) OCSP_basic_add1_cert(response.get(), options.brings->Native());
  const unsigned long flags = (options.byKey ? OCSP_RESPID_KEY : 0) |
                              (options.noCerts || options.brings != nullptr ? OCSP_NOCERTS : 0);
  if (OCSP_basic_sign(response.get(), signer.Native(), signer.Key(), EVP_sha256(), nullptr, flags) != 1) {
    throw std::runtime_error("OCSP_basic_sign");
  }
  return Whole(Own<OCSP_RESPONSE_free>(OCSP_response_create(0, response.get())).get());
}

TestOcspRequest ReadOcspRequest(const Octets &octets, const TestCert &cert, const TestCert &issuer) {
  const unsigned char *at = octets.data();
  const auto request = Own<OCSP_REQUEST_free>(d2i_OCSP_REQUEST(nullptr, &at, static_cast<long>(octets.size())));
  if (at != octets.data() + octets.size()) throw std::runtime_error("octets behind an OCSP request");
  TestOcspRequest read;
  read.numCerts = OCSP_request_onereq_count(request.get());
  OCSP_CERTID *const id = OCSP_onereq_get0_id(OCSP_request_onereq_get0(request.get(), 0));
  ASN1_OBJECT *digest = nullptr;
  ASN1_INTEGER *serial = nullptr;
  OCSP_id_get0_info(nullptr, &digest, nullptr, &serial, id);
  read.digest = OBJ_nid2ln(OBJ_obj2nid(digest));
  const std::shared_ptr<char> text(i2s_ASN1_INTEGER(nullptr, serial), [](char *made) { OPENSSL_free(made); });
  read.serial = text.get();
  read.isAboutFirst = OCSP_id_cmp(id, CertId(OBJ_nid2sn(OBJ_obj2nid(digest)), cert, issuer).get()) == 0;
  const std::shared_ptr<ASN1_OCTET_STRING> nonce(
      static_cast<ASN1_OCTET_STRING *>(OCSP_REQUEST_get1_ext_d2i(request.get(), NID_id_pkix_OCSP_Nonce, nullptr, nullptr)),
      ASN1_OCTET_STRING_free);
  if (nonce != nullptr) read.nonce.assign(nonce->data + 2, nonce->data + nonce->length);   // behind its header
  return read;
}
