// PKCS #12 containers opened, against libcrypto's opening and against deriving the same keys and nothing else.
#include <openssl/evp.h>
#include <openssl/pkcs12.h>

#include <memory>
#include <string>

#include "kxcert/cert/issueCert.h"
#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/kxECDSA.h"
#include "support.h"

namespace {

constexpr char kPassword[] = "correct horse battery staple";
constexpr int kPasswordLen = sizeof kPassword - 1;
constexpr int kIterations = kUsualPbeIterations;
sxPbeOctets Password() { return {reinterpret_cast<const unsigned char *>(kPassword), kPasswordLen}; }

// A key with its certificate, as they are written unless asked for otherwise. For the process.
const Octets &Container() {
  static const Octets kContainer = [] {
    const std::shared_ptr<EVP_PKEY> theirs(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
    unsigned char *der = nullptr;
    const int len = i2d_PrivateKey(theirs.get(), &der);
    sxPubKey *const key = sxImportECDSAKey(sxPK_private, der, len, 0);
    OPENSSL_free(der);
    sxCertTemplate wanted;
    const sxDN name("CN=Bench,O=Example");
    wanted.SetSubject(&name);
    wanted.SetValidity(1893456000, 1893542400);
    sxPkcs12Entry entry;
    entry.key = key;
    kxBinBuf out;
    if (sxIssueCert(wanted, nullptr, key, {}, &entry.cert) == sxIssue_ok) {
      sxPkcs12_Write({&entry, 1}, sxPkcs12Settings(), Password(), out);
    }
    sxCert_Free(entry.cert);
    sxFreePubKey(key);
    return Octets(out.Data(), out.Data() + out.Len());
  }();
  return kContainer;
}

void OpenOurs(benchmark::State &state) {
  const Octets &octets = Container();
  for (auto _ : state) {
    sxPkcs12 container;
    if (container.Read(octets) != sxPkcs12_ok || container.Open(Password()) != sxPkcs12_ok) {
      state.SkipWithError("not opened");
    }
  }
}

void OpenTheirs(benchmark::State &state) {
  const Octets &octets = Container();
  for (auto _ : state) {
    const unsigned char *pos = octets.data();
    const std::shared_ptr<PKCS12> container(d2i_PKCS12(nullptr, &pos, static_cast<long>(octets.size())), PKCS12_free);
    EVP_PKEY *key = nullptr;
    X509 *cert = nullptr;
    if (PKCS12_parse(container.get(), kPassword, &key, &cert, nullptr) != 1) state.SkipWithError("not opened");
    EVP_PKEY_free(key);
    X509_free(cert);
  }
}

// The MAC's key, and those of the two safes, as libcrypto derives them.
void DeriveTheirs(benchmark::State &state) {
  unsigned char salt[16] = {}, out[32];
  for (auto _ : state) {
    bool isDone = PKCS12_key_gen_utf8(kPassword, kPasswordLen, salt, sizeof salt, PKCS12_MAC_ID, kIterations,
                                      sizeof out, out, EVP_sha256()) == 1;
    for (int i = 0; i < 2; ++i) {
      isDone &= PKCS5_PBKDF2_HMAC(kPassword, kPasswordLen, salt, sizeof salt, kIterations, EVP_sha256(), sizeof out,
                                  out) == 1;
    }
    if (!isDone) state.SkipWithError("not derived");
  }
}

BENCHMARK(OpenTheirs)->Name("pkcs12/open/libcrypto")->Unit(benchmark::kMillisecond);
BENCHMARK(DeriveTheirs)->Name("pkcs12/open/derivation-alone")->Unit(benchmark::kMillisecond);
BENCHMARK(OpenOurs)->Name("pkcs12/open/ours")->Unit(benchmark::kMillisecond);

}  // namespace
