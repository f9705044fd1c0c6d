// Diffie-Hellman with 2048 bits and private values of 320: public values from precomputed powers, whole
// new keys, and shared secrets.
#include <openssl/bn.h>
#include <openssl/dh.h>
#include <openssl/rand.h>

#include <memory>

#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/kxSDH.h"
#include "kxcert/keys/sxDhParams.h"
#include "support.h"
#include "support/dhTestGroups.h"

namespace {

constexpr const char *kGroup = "Group 14 (2048 bit)";
constexpr int kPrivBits = 320;
constexpr int kPrivLen = kPrivBits / 8;
constexpr int kModLen = 256;

struct FreeKey {
  void operator()(sxPubKey *key) const { sxFreePubKey(key); }
  void operator()(DH *dh) const { DH_free(dh); }
  void operator()(BN_CTX *context) const { BN_CTX_free(context); }
};
using Key = std::unique_ptr<sxPubKey, FreeKey>;
using LibcryptoKey = std::unique_ptr<DH, FreeKey>;
using Context = std::unique_ptr<BN_CTX, FreeKey>;

LibcryptoKey NewLibcryptoGroup() {
  LibcryptoKey dh(DH_new());
  BIGNUM *g = BN_new();
  BN_set_word(g, 2);
  DH_set0_pqg(dh.get(), BN_get_rfc3526_prime_2048(nullptr), nullptr, g);
  DH_set_length(dh.get(), kPrivBits);
  return dh;
}

Octets PrivateValue() {
  Octets x(kPrivLen);
  RAND_bytes(x.data(), kPrivLen);
  return x;
}

void PublicValueExponentiated(benchmark::State &state) {
  const Octets octets = PrivateValue();
  const Num x(BN_bin2bn(octets.data(), kPrivLen, nullptr)), g(2), p(BN_get_rfc3526_prime_2048(nullptr)), y;
  BN_set_flags(x.n, BN_FLG_CONSTTIME);
  const Context context(BN_CTX_new());
  for (auto _ : state) {
    const int rc = BN_mod_exp_mont_consttime(y.n, g.n, x.n, p.n, context.get(), nullptr);
    if (rc != 1) state.SkipWithError("failed");
  }
}
BENCHMARK(PublicValueExponentiated)->Name("dh/2048 public value/libcrypto");

void PublicValuePrecomputed(benchmark::State &state) {
  const DhTable table(UsualDhGroups());
  const kxDHPreCompute preCompute{sxDhParams(kGroup)};
  const Octets octets = PrivateValue();
  const Num y;
  for (auto _ : state) {
    if (preCompute.GenPub(y.n, octets.data(), kPrivLen) != 1) state.SkipWithError("failed");
  }
}
BENCHMARK(PublicValuePrecomputed)->Name("dh/2048 public value/precomputed");

void NewKeyLibcrypto(benchmark::State &state) {
  for (auto _ : state) {
    const LibcryptoKey dh = NewLibcryptoGroup();
    if (DH_generate_key(dh.get()) != 1) state.SkipWithError("failed");
  }
}
BENCHMARK(NewKeyLibcrypto)->Name("dh/2048 new key/libcrypto");

void NewKey(benchmark::State &state, bool withPreCompute) {
  const DhTable table(UsualDhGroups());
  if (withPreCompute && DHPreCompute_AddGroup(kGroup) != 0) return state.SkipWithError("no table");
  for (auto _ : state) {
    const Key key(sxNewDHKey(kGroup, kPrivBits));
    if (key == nullptr) state.SkipWithError("failed");
  }
}
BENCHMARK_CAPTURE(NewKey, precomputed, true)->Name("dh/2048 new key/precomputed");
BENCHMARK_CAPTURE(NewKey, exponentiated, false)->Name("dh/2048 new key/exponentiated");

void MakeTable(benchmark::State &state) {
  const DhTable table(UsualDhGroups());
  const sxDhParams params(kGroup);
  for (auto _ : state) {
    const kxDHPreCompute preCompute(params);
    if (preCompute.OK() == 0) state.SkipWithError("failed");
  }
}
BENCHMARK(MakeTable)->Name("dh/2048 table/made");

void DeriveLibcrypto(benchmark::State &state) {
  const LibcryptoKey dh = NewLibcryptoGroup();
  DH_generate_key(dh.get());
  const Num peer(BN_dup(DH_get0_pub_key(dh.get())));
  unsigned char secret[kModLen];
  for (auto _ : state) {
    if (DH_compute_key_padded(secret, peer.n, dh.get()) != kModLen) state.SkipWithError("failed");
  }
}
BENCHMARK(DeriveLibcrypto)->Name("dh/2048 derive/libcrypto");

void Derive(benchmark::State &state) {
  const DhTable table(UsualDhGroups());
  kxSDH key(sxDhParams(kGroup), kPrivBits);
  unsigned char peer[kModLen], secret[kModLen];
  key.GetDHRawPublic(peer, kModLen);
  for (auto _ : state) {
    if (key.Derive(sxPKop_raw, peer, kModLen, secret, kModLen) != kModLen) state.SkipWithError("failed");
  }
}
BENCHMARK(Derive)->Name("dh/2048 derive/kxcert");

}  // namespace
