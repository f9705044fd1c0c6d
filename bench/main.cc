// Runs the benchmarks, then prints what matters: ratios within each group.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Side {
  std::string name;
  double nanoseconds;
};

bool IsBase(const std::string &side) {
  return side == "libcrypto" || side == "bare" || side == "first" || side == "small" || side == "without" ||
         side == "one-thread";
}

// The pairs that say something: ours over libcrypto, validation over bare signatures, again over first,
// as many octets in one large input over several small ones.
bool IsPair(const std::string &base, const std::string &side) {
  if (base == "libcrypto") return side != "bare" && side != "bare-libcrypto";
  if (base == "small") return side == "large";
  if (base == "without") return side == "with";
  if (base == "one-thread") return side == "two-threads";
  return base == "bare" ? side == "first" || side == "libcrypto" : side == "repeated";
}

// Prints as usual and keeps the median time of each benchmark.
class KeepingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (!median && run.run_type == Run::RT_Aggregate) continue;
      const std::string name = run.run_name.function_name;
      const size_t slash = name.rfind('/');
      if (slash == std::string::npos) continue;
      std::vector<Side> &sides = m_groups[name.substr(0, slash)];
      const Side side = {name.substr(slash + 1), run.GetAdjustedRealTime()};
      if (!sides.empty() && sides.back().name == side.name) {
        sides.back() = side;  // the median comes last
      } else {
        sides.push_back(side);
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintRatios() const {
    std::printf("\n%-44s %12s %12s %8s\n", "ratio", "base ns", "ns", "times");
    for (const auto &[group, sides] : m_groups) {
      for (const Side &base : sides) {
        if (!IsBase(base.name)) continue;
        for (const Side &side : sides) {
          if (side.name == base.name || !IsPair(base.name, side.name)) continue;
          const std::string label = group + ": " + side.name + " vs " + base.name;
          std::printf("%-44s %12.0f %12.0f %8.2f\n", label.c_str(), base.nanoseconds, side.nanoseconds,
                      base.nanoseconds / side.nanoseconds);
        }
      }
    }
  }

 private:
  std::map<std::string, std::vector<Side>> m_groups;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  KeepingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  return 0;
}
