/// @file
/// Inputs of the benchmarks, and the count of allocations.
#ifndef KXCERT_BENCH_SUPPORT_H_
#define KXCERT_BENCH_SUPPORT_H_

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

using Octets = std::vector<unsigned char>;

/// DER of the first certificate of a PEM file; ends the program when there is none.
Octets ReadPem(const std::string &path);
/// DER of every certificate of a PEM file.
std::vector<Octets> ReadPemBundle(const std::string &path);

/// A chain of bench/data.
struct BenchChain {
  Octets root, intermediate, leaf;
  explicit BenchChain(const std::string &kind);  ///< "rsa" or "ec"
};

/// Debian's roots, as many as it takes with one of our own to come to 140.
const std::vector<Octets> &OtherRoots();

/// Calls of malloc and its kin in this process so far, whoever made them, and the octets asked for.
uint64_t NumAllocations();
uint64_t AllocatedBytes();

/// Adds the counters "allocs" and "bytes" per iteration to a benchmark when it ends.
class CountsAllocations {
 public:
  explicit CountsAllocations(benchmark::State &state)
      : m_state(state), m_count(NumAllocations()), m_bytes(AllocatedBytes()) {}
  ~CountsAllocations() {
    const auto iterations = static_cast<double>(m_state.iterations());
    m_state.counters["allocs"] = static_cast<double>(NumAllocations() - m_count) / iterations;
    m_state.counters["bytes"] = static_cast<double>(AllocatedBytes() - m_bytes) / iterations;
  }

 private:
  benchmark::State &m_state;
  const uint64_t m_count;
  const uint64_t m_bytes;
};

#endif
