#include "support/testCrl.h"

#include "support/caseFile.h"
#include "support/hexOctets.h"

namespace {

constexpr char kThisTime[] = " 17{\"300101000000Z\"}";

Octets CrlOf(const std::string &version, const std::string &nextUpdate, const std::string &rest) {
  const std::string algorithm = "30{06{2a8648ce3d040303}}";   // ECDSA with SHA-384
  return CaseOctets("30{30{" + version + algorithm + "30{31{30{06{550403} 0c{\"ca\"}}}}" + kThisTime + nextUpdate +
                    rest + "}" + algorithm + "03{00}}");
}

}  // namespace

Octets TestCrl(int numEntries, bool criticalEntries) {
  if (numEntries == 0) return CrlOf("", "", "");
  std::string entries;
  for (int i = 300; i < 300 + numEntries; ++i) {
    const unsigned char number[] = {static_cast<unsigned char>(i >> 8), static_cast<unsigned char>(i)};
    entries += "30{02{" + EncodeHex(number, 2) + "}" + kThisTime +
               (criticalEntries ? "30{30{06{551d1d} 0101ff 04{30{}}}}" : "") + "}";
  }
  return CrlOf("020101", "17{\"300102000000Z\"}", "30{" + entries + "}");
}

Octets TestCrlOf(const std::string &entries, const std::string &extensions) {
  return CrlOf("020101", "", (entries.empty() ? "" : "30{" + entries + "}") +
                                 (extensions.empty() ? "" : "a0{30{" + extensions + "}}"));
}
