// New RSA keys. One takes anything from a third to three times the mean, so the mean of many is compared.
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include "kxcert/keys/rsaGeneration.h"
#include "support.h"

namespace {

constexpr int kBits = 2048;
constexpr int kExponent = 65537;
constexpr int kNumKeys = 30;

void Ours(benchmark::State &state) {
  for (auto _ : state) {
    RSA *key = kxGenRSA(kBits, kExponent);
    if (key == nullptr) return state.SkipWithError("no key");
    RSA_free(key);
  }
}

void Libcryptos(benchmark::State &state) {
  BIGNUM *exponent = BN_new();
  BN_set_word(exponent, kExponent);
  for (auto _ : state) {
    RSA *key = RSA_new();
    if (RSA_generate_key_ex(key, kBits, exponent, nullptr) != 1) return state.SkipWithError("no key");
    RSA_free(key);
  }
  BN_free(exponent);
}

BENCHMARK(Libcryptos)->Name("generate/rsa-2048/libcrypto")->Iterations(kNumKeys)->Unit(benchmark::kMillisecond);
BENCHMARK(Ours)->Name("generate/rsa-2048/ours")->Iterations(kNumKeys)->Unit(benchmark::kMillisecond);

}  // namespace
