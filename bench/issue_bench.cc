// Certificates and requests made from a template, against the bare signature of their octets by the same key.
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issueCert.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "support.h"

namespace {

constexpr int64_t kTime = 1893456000;  // 2030-01-01 00:00 UTC

// A CA of one kind of key, and a server's template. For the process.
struct Ca {
  std::shared_ptr<EVP_PKEY> theirs;
  sxPubKey *ours = nullptr;
  sxCert *cert = nullptr;
  sxCertTemplate server;
  Octets tbs;  // as many octets as a server's certificate has to sign

  explicit Ca(bool isRsa)
      : theirs(isRsa ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048})
                     : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"),
               EVP_PKEY_free) {
    unsigned char *der = nullptr;
    const int len = i2d_PrivateKey(theirs.get(), &der);
    ours = isRsa ? sxImportRSAKey(sxPK_private, der, len) : sxImportECDSAKey(sxPK_private, der, len, 0);
    OPENSSL_free(der);
    sxCertTemplate root;
    const sxDN name("CN=Bench CA,O=Example");
    root.SetSubject(&name);
    root.SetValidity(kTime, kTime + 86400);
    sxExtensionsList extensions;
    extensions.Add(&sxASN_id_ce_basicConstraints, 1, new sxBasicConstraint(true, -1));
    extensions.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1U << sxKU_keyCertSign));
    root.SetExtensions(&extensions);
    sxIssueCert(root, nullptr, ours, {}, &cert);

    const sxDN subject("CN=www.example,O=Example");
    server.SetSubject(&subject);
    server.SetValidity(kTime, kTime + 86400);
    server.SetPubKey(ours);
    sxGeneralNames names;
    const sxGeneralName dns(sxGN_dns, "www.example", 11);
    names.Add(&dns);
    sxExtensionsList more;
    more.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1));
    more.Add(&sxASN_id_ce_subjectAltName, 0, new sxExtGN(kExtNameSubjectAltName, names));
    server.SetExtensions(&more);
    sxCert *made = nullptr;
    sxIssueCert(server, cert, ours, {}, &made);
    tbs.assign(made->GetBuf(), made->GetBuf() + made->BufLen() - (isRsa ? 280 : 90));
    sxCert_Free(made);
  }
};
const Ca &TheCa(bool isRsa) {
  static const Ca ec(false), rsa(true);
  return isRsa ? rsa : ec;
}

void BareTheirs(benchmark::State &state, bool isRsa) {
  const Ca &ca = TheCa(isRsa);
  const std::shared_ptr<EVP_MD_CTX> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  Octets signature(512);
  for (auto _ : state) {
    size_t len = signature.size();
    if (EVP_DigestSignInit(ctx.get(), nullptr, EVP_sha256(), nullptr, ca.theirs.get()) != 1 ||
        EVP_DigestSign(ctx.get(), signature.data(), &len, ca.tbs.data(), ca.tbs.size()) != 1) {
      state.SkipWithError("not signed");
    }
  }
}

void BareOurs(benchmark::State &state, bool isRsa) {
  const Ca &ca = TheCa(isRsa);
  const sxPKop_type op = isRsa ? sxPKop_digest : sxPKop_raw;
  Octets signature(512);
  unsigned char digest[32];
  for (auto _ : state) {
    if (kx_md_hashbuf(sx_md_sha256, ca.tbs.data(), ca.tbs.size(), digest, sizeof digest) != 0 ||
        ca.ours->Sign(op, sx_md_sha256, digest, sizeof digest, signature.data(), 512) < 1) {
      state.SkipWithError("not signed");
    }
  }
}

void Cert(benchmark::State &state, bool isRsa, bool verify) {
  const Ca &ca = TheCa(isRsa);
  sxSignOptions options;
  options.verify = verify;
  const CountsAllocations counts(state);
  for (auto _ : state) {
    sxCert *made = nullptr;
    if (sxIssueCert(ca.server, ca.cert, ca.ours, options, &made) != sxIssue_ok) state.SkipWithError("not made");
    sxCert_Free(made);
  }
}

void Request(benchmark::State &state, bool isRsa, bool verify) {
  const Ca &ca = TheCa(isRsa);
  sxSignOptions options;
  options.verify = verify;
  const CountsAllocations counts(state);
  for (auto _ : state) {
    sxCertRequest *made = nullptr;
    if (sxMakeRequest(ca.server, nullptr, ca.ours, options, &made) != sxIssue_ok) state.SkipWithError("not made");
    sxCertRequest_Free(made);
  }
}

const int kRegistered = [] {
  for (const bool isRsa : {false, true}) {
    const std::string group = std::string("issue/") + (isRsa ? "rsa-2048" : "p256");
    const auto add = [&group](const char *side, auto run, auto... args) {
      benchmark::RegisterBenchmark((group + "/" + side).c_str(), run, args...)->Unit(benchmark::kMicrosecond);
    };
    add("libcrypto", BareTheirs, isRsa);
    add("ours-bare", BareOurs, isRsa);
    add("cert", Cert, isRsa, false);
    add("cert-verified", Cert, isRsa, true);
    add("request", Request, isRsa, false);
    add("request-verified", Request, isRsa, true);
  }
  return 0;
}();

}  // namespace
