// One side of an exchange: own public value to octets, the peer's from octets, the shared secret. Ours against
// libcrypto's EVP_PKEY, which makes a key pair for each. Ours takes the process's pair ("ours"), or is told
// to make one each time, too ("fresh").
//
// Besides, libcrypto multiplies the peer's point by the order of the curve. On these curves, where every
// point has that order, it is enough that the point is on the curve, and ours does no more.
#include <openssl/ec.h>
#include <openssl/evp.h>

#include <memory>

#include "kxcert/keys/kxECDH.h"
#include "support.h"

namespace {

struct FreeKey {
  void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
  void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeKey>;
using Context = std::unique_ptr<EVP_PKEY_CTX, FreeKey>;

struct Group {
  int number;
  const char *curve;
  size_t fieldLen;
  Octets peer;  // x and y
};

bool Exchange(const Group &group, unsigned char *secret) {
  unsigned char own[96];
  kxECDH exchange(group.number);
  return exchange.generate() == 0 && exchange.getPublic4IKE(own, sizeof own) > 0 &&
         exchange.setPeerPublic(group.peer.data(), static_cast<int>(group.peer.size())) == 0 &&
         exchange.derive() == 0 && exchange.getShared(secret, static_cast<int>(group.fieldLen)) > 0;
}

bool LibcryptoExchange(const Group &group, const Octets &peerPoint, unsigned char *secret) {
  const Key own(EVP_EC_gen(group.curve)), peer(EVP_PKEY_new());
  unsigned char *point = nullptr;
  const size_t pointLen = EVP_PKEY_get1_encoded_public_key(own.get(), &point);
  OPENSSL_free(point);
  const Context context(EVP_PKEY_CTX_new(own.get(), nullptr));
  size_t len = group.fieldLen;
  return pointLen == peerPoint.size() && EVP_PKEY_copy_parameters(peer.get(), own.get()) == 1 &&
         EVP_PKEY_set1_encoded_public_key(peer.get(), peerPoint.data(), peerPoint.size()) == 1 &&
         EVP_PKEY_derive_init(context.get()) == 1 && EVP_PKEY_derive_set_peer(context.get(), peer.get()) == 1 &&
         EVP_PKEY_derive(context.get(), secret, &len) == 1 && len == group.fieldLen;
}

void Ours(benchmark::State &state, const Group &group, unsigned int maxAgeSec) {
  set_max_ephemeral_ec_key_age(maxAgeSec);
  Octets secret(group.fieldLen);
  const CountsAllocations counts(state);
  for (auto _ : state) {
    if (!Exchange(group, secret.data())) return state.SkipWithError("no secret");
    benchmark::DoNotOptimize(secret.data());
  }
}

void Libcrypto(benchmark::State &state, const Group &group) {
  Octets secret(group.fieldLen), peerPoint = {4};
  peerPoint.insert(peerPoint.end(), group.peer.begin(), group.peer.end());
  const CountsAllocations counts(state);
  for (auto _ : state) {
    if (!LibcryptoExchange(group, peerPoint, secret.data())) return state.SkipWithError("no secret");
    benchmark::DoNotOptimize(secret.data());
  }
}

void Register(const std::string &name, int number, const char *curve, size_t fieldLen) {
  Group &group = *new Group{number, curve, fieldLen, Octets(2 * fieldLen)};  // lent to the benchmarks for the process
  kxECDH peer(number);
  if (peer.generate() != 0) return;
  peer.getPublic4IKE(group.peer.data(), static_cast<int>(group.peer.size()));
  benchmark::RegisterBenchmark((name + "/libcrypto").c_str(), Libcrypto, group);
  benchmark::RegisterBenchmark((name + "/ours").c_str(), Ours, group, 10U);
  benchmark::RegisterBenchmark((name + "/fresh").c_str(), Ours, group, 0U);
}

const int kRegistered = [] {
  // No exchange is to have the peer's key.
  set_max_ephemeral_ec_key_age(0);
  Register("ecdh/p256", 19, "P-256", 32);
  Register("ecdh/p384", 20, "P-384", 48);
  return 0;
}();

}  // namespace
