// Input made to cost much, at two sizes: as many octets are decoded, copied and encoded in each, so that
// time which grows with the input gives a ratio of 1 and time which grows with its square one of 1/4.
#include <memory>
#include <string>

#include "kxcert/foundation/kxBinBuf.h"
#include "support.h"
#include "support/costlyChains.h"
#include "support/costlyInputs.h"

namespace {

constexpr int kNumParts = 25000;
constexpr int kTimes = 4;

void Run(benchmark::State &state, const CostlyInput &input, int numParts, int rounds) {
  const Octets octets = input.make(numParts);
  for (auto _ : state) {
    for (int i = 0; i < rounds; ++i) {
      const std::unique_ptr<sxAsnType> value(input.type->create());
      const int rc =
          sxASN_DecodeBuf(*value, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size()));
      if ((rc == 0) != input.decodes) return state.SkipWithError("decodes, or does not, against what is known");
      if (rc != 0) continue;
      const std::unique_ptr<sxAsnType> copy(value->Dup());
      kxBinBuf der;
      if (sxASN_EncodeBuf(*copy, der, 1) != 0) return state.SkipWithError("does not encode");
    }
  }
  state.SetBytesProcessed(state.iterations() * rounds * static_cast<int64_t>(octets.size()));
}

// As much is said in each: in few certificates or lists, some times over, or in one that is longer.
void Judge(benchmark::State &state, const char *rules, const std::unique_ptr<CostlyChain> &chain, int rounds) {
  for (auto _ : state) {
    for (int i = 0; i < rounds; ++i) {
      sxChainVerdict verdict;
      if (chain->Judge(rules, &verdict) != std::string_view("OK")) return state.SkipWithError("not valid");
    }
  }
}

void Constraints(benchmark::State &state, int numEach, int rounds) {
  Judge(state, "nameConstraints", CostlyConstraints(numEach, numEach), rounds);
}
void PolicyLevels(benchmark::State &state, int numLevels, int rounds) {
  constexpr int kNumPolicies = 32;
  Judge(state, "policies", CostlyPolicies(kNumPolicies, numLevels), rounds);
}
void PolicyMappings(benchmark::State &state, int numPolicies, int rounds) {
  constexpr int kNumLevels = 5;
  Judge(state, "policies", CostlyPolicies(numPolicies, kNumLevels), rounds);
}

const int kRegistered = [] {
  // Twice the policies are four times the mappings.
  constexpr int kNumConstraints = 1024, kNumLevels = 5, kNumPolicies = 32, kTwice = 2;
  const auto add = [](const char *name, auto run, int small, int large) {
    const std::string group = std::string("growth/") + name;
    benchmark::RegisterBenchmark((group + "/small").c_str(), run, small, kTimes);
    benchmark::RegisterBenchmark((group + "/large").c_str(), run, large, 1);
  };
  add("name constraints", Constraints, kNumConstraints, kNumConstraints * kTimes);
  add("policies: levels", PolicyLevels, kNumLevels, kNumLevels * kTimes);
  add("policies: mappings", PolicyMappings, kNumPolicies, kNumPolicies * kTwice);
  for (const CostlyInput &input : CostlyInputs()) {
    const std::string name = std::string("growth/") + input.name;
    benchmark::RegisterBenchmark((name + "/small").c_str(),
                                 [&input](benchmark::State &state) { Run(state, input, kNumParts, kTimes); });
    benchmark::RegisterBenchmark((name + "/large").c_str(),
                                 [&input](benchmark::State &state) { Run(state, input, kNumParts * kTimes, 1); });
  }
  return 0;
}();

}  // namespace
