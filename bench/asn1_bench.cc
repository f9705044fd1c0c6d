// Octets to a tree of values and back, whole messages. Ours against libcrypto's d2i and i2d on the same
// octets, which libcrypto calls make when the program starts. Its i2d measures and writes, as ours does.
//
// libcrypto keeps the encoding of certificates and lists that were decoded; that is switched off. Kept
// all the same: the encodings of names. The CMP message is one without certificates, because those within
// cannot be reached. When it decodes, libcrypto also loads the public key of every certificate and
// hashes a list, which its interface does not let one leave out: the ratios for those say no more than
// what its users wait for.
#include <openssl/cmp.h>
#include <openssl/cms.h>
#include <openssl/ocsp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/modules/PKCS12.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support.h"

namespace {

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *object) const {
    Fn(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Cert = std::unique_ptr<X509, Free<X509_free>>;

// The inputs are ours to make: anything that fails ends the program.
template <class T>
T Must(T result, const char *what) {
  if (!result) {
    std::fprintf(stderr, "asn1_bench: %s failed\n", what);
    std::exit(1);
  }
  return result;
}
#define MUST(call) Must(call, #call)

template <class T, class I2d>
Octets DerOf(const T *object, I2d i2d) {
  unsigned char *der = nullptr;
  const int len = i2d(object, &der);
  MUST(len > 0);
  Octets octets(der, der + len);
  OPENSSL_free(der);
  return octets;
}

// Inputs

struct Issuer {
  Key key{MUST(EVP_EC_gen("P-256"))};
  std::vector<Cert> certs;  // the key's, with different serial numbers and names
};

Cert NewCert(EVP_PKEY *key, int serial) {
  Cert cert(MUST(X509_new()));
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set_int64(X509_get_serialNumber(cert.get()), 0x1122334455660000 + serial);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), 86400L * 365);
  X509_NAME *name = X509_get_subject_name(cert.get());
  const std::string commonName = "signer " + std::to_string(serial);
  const std::pair<const char *, const char *> parts[] = {
      {"C", "DE"}, {"O", "Example Trust Services GmbH"}, {"CN", commonName.c_str()}};
  for (const auto &[type, value] : parts) {
    MUST(X509_NAME_add_entry_by_txt(name, type, MBSTRING_UTF8, reinterpret_cast<const unsigned char *>(value), -1, -1,
                                    0));
  }
  X509_set_issuer_name(cert.get(), name);
  X509_set_pubkey(cert.get(), key);
  X509V3_CTX context;
  X509V3_set_ctx(&context, cert.get(), cert.get(), nullptr, nullptr, 0);
  const std::pair<int, const char *> extensions[] = {{NID_basic_constraints, "critical,CA:FALSE"},
                                                     {NID_key_usage, "critical,digitalSignature"},
                                                     {NID_subject_key_identifier, "hash"},
                                                     {NID_subject_alt_name, "DNS:gateway.example.com"}};
  for (const auto &[nid, value] : extensions) {
    X509_EXTENSION *extension = MUST(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    X509_add_ext(cert.get(), extension, -1);
    X509_EXTENSION_free(extension);
  }
  MUST(X509_sign(cert.get(), key, EVP_sha256()));
  return cert;
}

const Issuer &TheIssuer() {
  static const Issuer issuer = [] {
    Issuer made;
    for (int i = 0; i < 10; ++i) made.certs.push_back(NewCert(made.key.get(), i));
    return made;
  }();
  return issuer;
}

// Serial numbers of 16 octets; every second entry says why.
Octets MakeCrl(int numEntries) {
  const std::unique_ptr<X509_CRL, Free<X509_CRL_free>> crl(MUST(X509_CRL_new()));
  X509_CRL_set_version(crl.get(), 1);
  X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(TheIssuer().certs[0].get()));
  const std::unique_ptr<ASN1_TIME, Free<ASN1_TIME_free>> time(MUST(X509_gmtime_adj(nullptr, 0)));
  X509_CRL_set1_lastUpdate(crl.get(), time.get());
  X509_CRL_set1_nextUpdate(crl.get(), time.get());
  const std::unique_ptr<ASN1_ENUMERATED, Free<ASN1_ENUMERATED_free>> reason(MUST(ASN1_ENUMERATED_new()));
  ASN1_ENUMERATED_set(reason.get(), CRL_REASON_SUPERSEDED);
  for (int i = 0; i < numEntries; ++i) {
    unsigned char octets[16] = {0x5A, 0x10, 0x33};
    for (int j = 0; j < 4; ++j) octets[15 - j] = static_cast<unsigned char>(i >> 8 * j);
    X509_REVOKED *entry = MUST(X509_REVOKED_new());
    BIGNUM *number = MUST(BN_bin2bn(octets, sizeof octets, nullptr));
    ASN1_INTEGER *serial = MUST(BN_to_ASN1_INTEGER(number, nullptr));
    X509_REVOKED_set_serialNumber(entry, serial);
    ASN1_INTEGER_free(serial);
    BN_free(number);
    X509_REVOKED_set_revocationDate(entry, time.get());
    if (i % 2 == 0) X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, reason.get(), 0, 0);
    MUST(X509_CRL_add0_revoked(crl.get(), entry));
  }
  MUST(X509_CRL_sign(crl.get(), TheIssuer().key.get(), EVP_sha256()));
  return DerOf(crl.get(), i2d_X509_CRL);
}

Octets MakeCms() {
  const Octets text(1000, 'x');
  BIO *content = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
  CMS_ContentInfo *cms = MUST(CMS_sign(nullptr, nullptr, nullptr, content, CMS_BINARY | CMS_PARTIAL));
  for (const Cert &cert : TheIssuer().certs) {
    MUST(CMS_add1_signer(cms, cert.get(), TheIssuer().key.get(), EVP_sha256(), CMS_BINARY));
  }
  MUST(CMS_final(cms, content, nullptr, CMS_BINARY));
  Octets der = DerOf(cms, i2d_CMS_ContentInfo);
  CMS_ContentInfo_free(cms);
  BIO_free(content);
  return der;
}

STACK_OF(X509) * SomeCerts(int numCerts) {
  STACK_OF(X509) *certs = sk_X509_new_null();
  for (int i = 0; i < numCerts; ++i) sk_X509_push(certs, TheIssuer().certs[static_cast<size_t>(i)].get());
  return certs;  // the stack alone is the caller's
}

Octets MakePkcs12() {
  STACK_OF(X509) *certs = SomeCerts(3);
  PKCS12 *container =
      MUST(PKCS12_create("secret", "the key", TheIssuer().key.get(), TheIssuer().certs[0].get(), certs, 0, 0, 1, 1, 0));
  Octets der = DerOf(container, i2d_PKCS12);
  PKCS12_free(container);
  sk_X509_free(certs);
  return der;
}

Octets MakeOcsp() {
  OCSP_BASICRESP *basic = MUST(OCSP_BASICRESP_new());
  X509 *issuer = TheIssuer().certs[0].get();
  const std::unique_ptr<ASN1_TIME, Free<ASN1_TIME_free>> time(MUST(X509_gmtime_adj(nullptr, 0)));
  for (int i = 0; i < 3; ++i) {
    OCSP_CERTID *id = MUST(OCSP_cert_to_id(nullptr, TheIssuer().certs[static_cast<size_t>(i)].get(), issuer));
    MUST(OCSP_basic_add1_status(basic, id, i == 1 ? V_OCSP_CERTSTATUS_REVOKED : V_OCSP_CERTSTATUS_GOOD,
                                OCSP_REVOKED_STATUS_KEYCOMPROMISE, time.get(), time.get(), time.get()));
    OCSP_CERTID_free(id);
  }
  OCSP_basic_add1_nonce(basic, nullptr, 16);
  STACK_OF(X509) *certs = SomeCerts(2);
  MUST(OCSP_basic_sign(basic, issuer, TheIssuer().key.get(), EVP_sha256(), certs, 0));
  OCSP_RESPONSE *response = MUST(OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic));
  Octets der = DerOf(response, i2d_OCSP_RESPONSE);
  OCSP_RESPONSE_free(response);
  OCSP_BASICRESP_free(basic);
  sk_X509_free(certs);
  return der;
}

// The request that an enrolment would send: there is nobody to answer it.
OSSL_CMP_MSG *KeepRequest(OSSL_CMP_CTX *context, const OSSL_CMP_MSG *request) {
  *static_cast<Octets *>(OSSL_CMP_CTX_get_transfer_cb_arg(context)) = DerOf(request, i2d_OSSL_CMP_MSG);
  return nullptr;
}

Octets MakeCmp() {
  Octets der;
  OSSL_CMP_CTX *context = MUST(OSSL_CMP_CTX_new(nullptr, nullptr));
  EVP_PKEY *key = TheIssuer().key.get();
  X509 *cert = TheIssuer().certs[0].get();
  EVP_PKEY_up_ref(key);
  MUST(OSSL_CMP_CTX_set0_newPkey(context, 1, key));
  const unsigned char secret[] = {'s', 'e', 'c', 'r', 'e', 't'};
  MUST(OSSL_CMP_CTX_set1_referenceValue(context, secret, 6) && OSSL_CMP_CTX_set1_secretValue(context, secret, 6));
  MUST(OSSL_CMP_CTX_set1_subjectName(context, X509_get_subject_name(cert)));
  MUST(OSSL_CMP_CTX_set1_recipient(context, X509_get_subject_name(cert)));
  STACK_OF(GENERAL_NAME) *names =
      MUST(static_cast<STACK_OF(GENERAL_NAME) *>(X509_get_ext_d2i(cert, NID_subject_alt_name, nullptr, nullptr)));
  for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
    MUST(OSSL_CMP_CTX_push1_subjectAltName(context, sk_GENERAL_NAME_value(names, i)));
  }
  GENERAL_NAMES_free(names);
  OSSL_CMP_CTX_set_transfer_cb(context, KeepRequest);
  OSSL_CMP_CTX_set_transfer_cb_arg(context, &der);
  OSSL_CMP_CTX_set_log_verbosity(context, 0);
  OSSL_CMP_exec_IR_ses(context);  // fails for want of an answer
  OSSL_CMP_CTX_free(context);
  MUST(!der.empty());
  return der;
}

// Ours

template <class T>
bool Decode(T &value, const unsigned char *octets, size_t len) {
  return sxASN_DecodeBuf(value, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

template <class T>
void OursDecode(benchmark::State &state, const Octets &der) {
  const CountsAllocations counts(state);
  for (auto _ : state) {
    T value;
    if (!Decode(value, der.data(), der.size())) return state.SkipWithError("does not decode");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

template <class T>
void OursEncode(benchmark::State &state, const Octets &der) {
  T value;
  if (!Decode(value, der.data(), der.size())) return state.SkipWithError("does not decode");
  const CountsAllocations counts(state);
  for (auto _ : state) {
    kxBinBuf octets;
    if (sxASN_EncodeBuf(value, octets, 1) != 0 || octets.Len() != der.size()) {
      return state.SkipWithError("encodes to other octets");
    }
    benchmark::DoNotOptimize(octets.Data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

// libcrypto's

template <auto kD2i, auto kFree>
void LibcryptoDecode(benchmark::State &state, const Octets &der) {
  const CountsAllocations counts(state);
  for (auto _ : state) {
    const unsigned char *pos = der.data();
    auto *value = kD2i(nullptr, &pos, static_cast<long>(der.size()));
    if (value == nullptr) return state.SkipWithError("does not decode");
    kFree(value);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

void ForgetEncoding(X509 *cert) { i2d_re_X509_tbs(cert, nullptr); }
void ForgetEncoding(X509_CRL *crl) { i2d_re_X509_CRL_tbs(crl, nullptr); }
void ForgetEncoding(CMS_ContentInfo *cms) {
  STACK_OF(X509) *certs = CMS_get1_certs(cms);
  for (int i = 0; i < sk_X509_num(certs); ++i) ForgetEncoding(sk_X509_value(certs, i));
  sk_X509_pop_free(certs, X509_free);
}
void ForgetEncoding(OCSP_BASICRESP *response) {
  const STACK_OF(X509) *certs = OCSP_resp_get0_certs(response);
  for (int i = 0; i < sk_X509_num(certs); ++i) ForgetEncoding(sk_X509_value(certs, i));
}
void ForgetEncoding(void *) {}  // nothing is kept, or nothing can be done about it

template <auto kD2i, auto kI2d, auto kFree>
void LibcryptoEncode(benchmark::State &state, const Octets &der) {
  const unsigned char *pos = der.data();
  auto *value = kD2i(nullptr, &pos, static_cast<long>(der.size()));
  if (value == nullptr) return state.SkipWithError("does not decode");
  ForgetEncoding(value);
  const CountsAllocations counts(state);
  for (auto _ : state) {
    unsigned char *octets = nullptr;
    if (kI2d(value, &octets) != static_cast<int>(der.size())) return state.SkipWithError("encodes to other octets");
    benchmark::DoNotOptimize(octets);
    OPENSSL_free(octets);
  }
  kFree(value);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

template <class T, auto kD2i, auto kI2d, auto kFree>
void Register(const std::string &name, const Octets &made) {
  const Octets &der = *new Octets(made);  // lent to the benchmarks for the process
  benchmark::RegisterBenchmark(("asn1/decode/" + name + "/libcrypto").c_str(), LibcryptoDecode<kD2i, kFree>, der);
  benchmark::RegisterBenchmark(("asn1/decode/" + name + "/ours").c_str(), OursDecode<T>, der);
  benchmark::RegisterBenchmark(("asn1/encode/" + name + "/libcrypto").c_str(), LibcryptoEncode<kD2i, kI2d, kFree>, der);
  benchmark::RegisterBenchmark(("asn1/encode/" + name + "/ours").c_str(), OursEncode<T>, der);
}

// The response's octets hold another message, which is what costs.
Octets BasicOf(const Octets &response) {
  const unsigned char *pos = response.data();
  OCSP_RESPONSE *outer = MUST(d2i_OCSP_RESPONSE(nullptr, &pos, static_cast<long>(response.size())));
  OCSP_BASICRESP *basic = MUST(OCSP_response_get1_basic(outer));
  Octets der = DerOf(basic, i2d_OCSP_BASICRESP);
  OCSP_BASICRESP_free(basic);
  OCSP_RESPONSE_free(outer);
  return der;
}

const int kRegistered = [] {
  Register<sxASN_Certificate, d2i_X509, i2d_X509, X509_free>("certificate-rsa", BenchChain("rsa").leaf);
  Register<sxASN_Certificate, d2i_X509, i2d_X509, X509_free>("certificate-ec", BenchChain("ec").leaf);
  Register<sxASN_CertificateList, d2i_X509_CRL, i2d_X509_CRL, X509_CRL_free>("crl-1000", MakeCrl(1000));
  Register<sxASN_CertificateList, d2i_X509_CRL, i2d_X509_CRL, X509_CRL_free>("crl-100000", MakeCrl(100000));
  Register<sxASN_ContentInfo, d2i_CMS_ContentInfo, i2d_CMS_ContentInfo, CMS_ContentInfo_free>("cms", MakeCms());
  Register<sxASN_PFX, d2i_PKCS12, i2d_PKCS12, PKCS12_free>("pkcs12", MakePkcs12());
  const Octets response = MakeOcsp();
  Register<sxASN_OCSPResponse, d2i_OCSP_RESPONSE, i2d_OCSP_RESPONSE, OCSP_RESPONSE_free>("ocsp", response);
  Register<sxASN_BasicOCSPResponse, d2i_OCSP_BASICRESP, i2d_OCSP_BASICRESP, OCSP_BASICRESP_free>("ocsp-basic",
                                                                                                 BasicOf(response));
  Register<sxASN_PKIMessage, d2i_OSSL_CMP_MSG, i2d_OSSL_CMP_MSG, OSSL_CMP_MSG_free>("cmp", MakeCmp());
  return 0;
}();

}  // namespace
