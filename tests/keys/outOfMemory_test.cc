// Every allocation of libcrypto fails once: operations then fail with their code, and crash and leak nothing.
#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/err.h>

#include <cstdlib>
#include <functional>

#include "keys/ec/ecOperation.h"
#include "keys/rsa/lucasTest.h"
#include "keys/rsa/primeSearch.h"
#include "keys/rsa/rsaKey.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/dhModulus.h"
#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/sxDhParams.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/keyFiles.h"

namespace {

thread_local int t_left = -1;   // allocations until one fails; below 0: none does

bool Fails() { return t_left >= 0 && t_left-- == 0; }
void *Malloc(size_t len, const char *, int) { return Fails() ? nullptr : std::malloc(len); }
void *Realloc(void *block, size_t len, const char *, int) { return Fails() ? nullptr : std::realloc(block, len); }
void Free(void *block, const char *, int) { std::free(block); }
// libcrypto takes others only before it has allocated anything.
[[gnu::constructor(101)]] void Install() { CRYPTO_set_mem_functions(Malloc, Realloc, Free); }

// What an operation answers, once for each allocation that fails, in its order; the last one is without a failure.
// @param good, bad  what it may answer
void ExpectFailures(const char *what, int good, int bad, const std::function<int()> &operation) {
  SCOPED_TRACE(what);
  ASSERT_EQ(good, operation());
  for (int n = 0; n < 5000; ++n) {
    t_left = n;
    const int answer = operation();
    const bool didFail = t_left < 0;
    t_left = -1;
    ERR_clear_error();   // libcrypto says so, too
    ASSERT_TRUE(answer == good || (didFail && answer == bad)) << "allocation " << n << " of " << what << ": " << answer;
    if (!didFail) return;
  }
  FAIL() << "it never ends";
}

TEST(OutOfMemory, IsAFailureLikeOthers) {
  ASSERT_EQ(Malloc, [] { CRYPTO_malloc_fn m; CRYPTO_get_mem_functions(&m, nullptr, nullptr); return m; }()) << "installed too late";
  const DhTable table(UsualDhGroups());
  const Num prime(std::string("1fffffffffffffff")), large(DhModulusHex(1024));
  ExpectFailures("Miller-Rabin test", 1, -1, [&] {
    BN_CTX *ctx = BN_CTX_new();
    const int rc = ctx == nullptr ? -1 : MillerRabinTest(prime.n, 2, ctx);
    return BN_CTX_free(ctx), rc;
  });
  ExpectFailures("Lucas test", 1, -1, [&] {
    BN_CTX *ctx = BN_CTX_new();
    const int rc = ctx == nullptr ? -1 : StrongLucasTest(prime.n, ctx);
    return BN_CTX_free(ctx), rc;
  });
  const Octets rsaDer = ReadPem(KeyFile("rsa1024.pem")), ecDer = ReadPem(KeyFile("prime256v1.pem"));
  const RsaKey rsa(kxRSA_from_buf(rsaDer.data(), LenOf(rsaDer), 1));
  const EcKey ec(kxECDSA_from_buf(sxPK_private, ecDer.data(), LenOf(ecDer), 0));
  const Octets point = Exported(*EcTestKey("prime256v1"), sxPK_public), publicDer = Exported(*RsaTestKey(1024), sxPK_public);
  kxBinBuf out;
  const auto made = [](sxPubKey *key) { return PubKeyRef(key) != nullptr ? 1 : 0; };
  ExpectFailures("check of an RSA key", 1, 0, [&] { return kxRSA_is_ok(rsa.get()); });
  ExpectFailures("private RSA key read", 1, 0, [&] { return RsaKey(kxRSA_from_buf(rsaDer.data(), LenOf(rsaDer), 1)) != nullptr; });
  ExpectFailures("public RSA key read", 1, 0, [&] { return made(sxImportRSAKey(sxPK_public, publicDer.data(), LenOf(publicDer))); });
  ExpectFailures("RSA key written", 0, -1, [&] { return kxRSA_to_buf(rsa.get(), out, 1); });
  const std::unique_ptr<sxset> set(kxRSA_to_set(rsa.get()));
  ExpectFailures("RSA key from a set", 1, 0, [&] { return RsaKey(kxRSA_from_set(set.get())) != nullptr; });
  ExpectFailures("check of an EC key", 1, 0, [&] { return kxECDSA_is_ok(ec.get()); });
  ExpectFailures("private EC key read", 1, 0, [&] { return made(sxImportECDSAKey(sxPK_private, ecDer.data(), LenOf(ecDer), 0)); });
  ExpectFailures("public EC key read", 1, 0, [&] { return EcKey(kxECDSA_from_buf(sxPK_public, point.data(), LenOf(point), 415)) != nullptr; });
  ExpectFailures("EC key written", 0, -1, [&] { return kxECDSA_to_buf(ec.get(), out, 1); });
  Octets secret(32);
  ExpectFailures("EC secret", 32, -1, [&] { return EcdhHere(point.data(), 65, secret.data(), 32, ec.get()); });
  ExpectFailures("DH key made", 1, 0, [&] { return made(DhKey_create("Group 2 (1024 bit)", 160)); });
  const std::unique_ptr<kxDhKey, DropPubKey> dh(DhKey_create("Group 2 (1024 bit)", 160));
  const std::unique_ptr<sxset> dhSet(dh->ToSet());
  ExpectFailures("DH key from a set", 1, 0, [&] { return made(DhKey_fromset(dhSet.get())); });
  ExpectFailures("another DH key", 1, 0, [&] { return made(dh->GenKey()); });
  Octets peer(128, 3), shared(128);
  ExpectFailures("DH secret", 128, -1, [&] { return dh->Derive(sxPKop_raw, peer.data(), 128, shared.data(), 128); });
  ExpectFailures("DH key written", 1, 0, [&] { return dh->Export(sxPK_private, nullptr, 0) > 0; });
  const kxDHPreCompute powers(sxDhParams("toy"));
  const Num y;
  const unsigned char three = 3;
  ExpectFailures("table of powers", 1, 0, [&] {
    const kxDHPreCompute fresh(sxDhParams("toy"));
    return fresh.GenPub(y.n, &three, 1) == 0 ? 0 : BN_is_word(y.n, 8) ? 1 : 2;
  });
  ExpectFailures("a power", 1, 0, [&] { return powers.GenPub(y.n, peer.data(), 3); });
  const Num small(0x17u);
  ExpectFailures("factor of a modulus", 0, -1, [&] { return dh_find_p_factor(small.n, nullptr, nullptr); });
  ExpectFailures("number of a set", 1, 0, [&] { return Num(sxSetValue2BN(set.get(), "modulus")).n != nullptr; });
}

}  // namespace
