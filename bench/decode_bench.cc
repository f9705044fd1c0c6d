// Octets to a usable certificate: issuer and subject text, times, serial number, key, extensions.
#include <malloc.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "support.h"

namespace {

// Octets of heap that each of many kept objects takes.
template <class Make, class Drop>
double HeldBytes(Make make, Drop drop) {
  constexpr size_t kNumKept = 4096;  // far more than the lists of freed blocks can lend
  std::vector<decltype(make())> kept;
  kept.reserve(kNumKept);
  const size_t before = mallinfo2().uordblks;
  for (size_t i = 0; i < kNumKept; ++i) kept.push_back(make());
  const size_t after = mallinfo2().uordblks;
  for (auto *object : kept) drop(object);
  return static_cast<double>(after - before) / kNumKept;
}

void Ours(benchmark::State &state, const Octets &der) {
  state.counters["held"] = HeldBytes([&der] { return sxCert_Decode(der.data(), static_cast<int>(der.size())); },
                                     [](sxCert *cert) { sxCert_Free(cert); });
  const CountsAllocations counts(state);
  for (auto _ : state) {
    sxCert cert(der.data(), static_cast<unsigned int>(der.size()));
    int serialLen = 0;
    benchmark::DoNotOptimize(cert.Issuer()->GetStr());
    benchmark::DoNotOptimize(cert.Subject()->GetStr());
    benchmark::DoNotOptimize(cert.SerialNum(serialLen));
    benchmark::DoNotOptimize(cert.notBefore() + cert.notAfter());
    benchmark::DoNotOptimize(cert.PubKey());
    benchmark::DoNotOptimize(cert.GetBasicConstraint());
    if (cert.OK() == 0) state.SkipWithError("does not decode");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

void Libcrypto(benchmark::State &state, const Octets &der) {
  const auto decode = [&der] {
    const unsigned char *pos = der.data();
    return d2i_X509(nullptr, &pos, static_cast<long>(der.size()));
  };
  state.counters["held"] = HeldBytes(decode, [](X509 *cert) { X509_free(cert); });
  const CountsAllocations counts(state);
  for (auto _ : state) {
    const unsigned char *pos = der.data();
    X509 *cert = d2i_X509(nullptr, &pos, static_cast<long>(der.size()));
    char text[512];
    tm time;
    benchmark::DoNotOptimize(X509_NAME_oneline(X509_get_issuer_name(cert), text, sizeof text));
    benchmark::DoNotOptimize(X509_NAME_oneline(X509_get_subject_name(cert), text, sizeof text));
    benchmark::DoNotOptimize(X509_get0_serialNumber(cert));
    benchmark::DoNotOptimize(ASN1_TIME_to_tm(X509_get0_notBefore(cert), &time));
    benchmark::DoNotOptimize(ASN1_TIME_to_tm(X509_get0_notAfter(cert), &time));
    benchmark::DoNotOptimize(X509_get0_pubkey(cert));
    benchmark::DoNotOptimize(X509_get_extension_flags(cert));  // parses the extensions
    X509_free(cert);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

// The tree alone.
void OursTree(benchmark::State &state, const Octets &der) {
  const CountsAllocations counts(state);
  for (auto _ : state) {
    sxASN_Certificate cert;
    if (sxASN_DecodeBuf(cert, reinterpret_cast<const char *>(der.data()), static_cast<int>(der.size())) != 0) {
      state.SkipWithError("does not decode");
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(der.size()));
}

const int kRegistered = [] {
  for (const char *kind : {"rsa", "ec"}) {
    static std::vector<BenchChain *> chains;  // lent to the benchmarks for the process
    chains.push_back(new BenchChain(kind));
    const BenchChain &chain = *chains.back();
    const std::pair<const char *, const Octets *> inputs[] = {{"root", &chain.root}, {"leaf", &chain.leaf}};
    for (const auto &[role, der] : inputs) {
      const std::string group = std::string("decode/") + kind + "-" + role;
      benchmark::RegisterBenchmark((group + "/libcrypto").c_str(), Libcrypto, *der);
      benchmark::RegisterBenchmark((group + "/ours").c_str(), Ours, *der);
      benchmark::RegisterBenchmark((group + "/tree").c_str(), OursTree, *der);
    }
  }
  return 0;
}();

}  // namespace
