#include "support.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace {

std::atomic<uint64_t> g_allocations{0};
std::atomic<uint64_t> g_bytes{0};

void Count(size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  g_bytes.fetch_add(size, std::memory_order_relaxed);
}

constexpr size_t kNumRoots = 140;

}  // namespace

// The program's own definitions come first for every library that it loads.
extern "C" void *malloc(size_t size) {
  Count(size);
  return __libc_malloc(size);
}
extern "C" void *calloc(size_t count, size_t size) {
  Count(count * size);
  return __libc_calloc(count, size);
}
extern "C" void *realloc(void *block, size_t size) {
  Count(size);
  return __libc_realloc(block, size);
}

uint64_t NumAllocations() { return g_allocations.load(std::memory_order_relaxed); }
uint64_t AllocatedBytes() { return g_bytes.load(std::memory_order_relaxed); }

std::vector<Octets> ReadPemBundle(const std::string &path) {
  std::vector<Octets> all;
  FILE *file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    std::fprintf(stderr, "cannot open %s\n", path.c_str());
    std::exit(1);
  }
  while (X509 *cert = PEM_read_X509(file, nullptr, nullptr, nullptr)) {
    unsigned char *der = nullptr;
    const int len = i2d_X509(cert, &der);
    all.emplace_back(der, der + len);
    OPENSSL_free(der);
    X509_free(cert);
  }
  std::fclose(file);
  return all;
}

Octets ReadPem(const std::string &path) {
  std::vector<Octets> all = ReadPemBundle(path);
  if (all.empty()) {
    std::fprintf(stderr, "no certificate in %s\n", path.c_str());
    std::exit(1);
  }
  return all[0];
}

BenchChain::BenchChain(const std::string &kind) {
  const std::string prefix = std::string(KXCERT_BENCH_DATA) + "/" + kind + "-";
  root = ReadPem(prefix + "root.pem");
  intermediate = ReadPem(prefix + "intermediate.pem");
  leaf = ReadPem(prefix + "leaf.pem");
}

const std::vector<Octets> &OtherRoots() {
  static const std::vector<Octets> roots = [] {
    std::vector<Octets> all = ReadPemBundle("/etc/ssl/certs/ca-certificates.crt");
    if (all.size() > kNumRoots - 1) all.resize(kNumRoots - 1);
    return all;
  }();
  return roots;
}
