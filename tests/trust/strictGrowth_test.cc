// Hostile certificates under strict rules: what a square would take many minutes for takes a second.
#include <gmock/gmock.h>
#include <openssl/x509v3.h>

#include "kxcert/cert/issuedExtensions.h"
#include "support/costlyChains.h"
#include "support/notation.h"
#include "trust/strict/nameConstraints.h"

namespace {

constexpr int kManyNames = 1 << 16, kManyBases = static_cast<int>(kMaxIssuedItems);

// A CA with such constraints, and who has these names.
std::string RuleAgainst(const Octets &constraints, const Octets &names) {
  CostlyChain chain;
  chain.Add("O=ca", true, {{NID_name_constraints, Der(0x30, constraints)}});
  chain.Add("O=leaf", false, {{NID_subject_alt_name, Der(0x30, names)}});
  sxChainVerdict verdict;
  return chain.Judge("nameConstraints", &verdict);
}

// Neighbours of what is excluded, and at the end one that is.
TEST(CostlyInputStrict, ManyNamesAndManyConstraints) {
  const Octets bases = CostlyMany(kManyBases, 7, CostlyBase), excluded = Der(0xA1, bases);
  const Octets names = CostlyMany(kManyNames, 7, [](int number) { return CostlyName(number + 1); });
  EXPECT_EQ("OK", RuleAgainst(excluded, names));
  for (int last = 1; last <= 5; ++last) {
    EXPECT_EQ("nameConstraints.names", RuleAgainst(excluded, Joined({names, CostlyName(7 * (kManyBases - last))})));
  }
  const Octets ownName = CaseOctets("30{A4{30{31{30{06{55040A} 0C{\"leaf\"}}}}}}");
  const Octets inside = CostlyMany(kManyBases - 1, 7, CostlyName);
  const auto permitted = [&](int count) { return Der(0xA0, Joined({CostlyMany(count - 1, 7, CostlyBase), ownName})); };
  EXPECT_EQ("OK", RuleAgainst(permitted(kManyBases), inside));
  EXPECT_EQ("nameConstraints.names", RuleAgainst(permitted(kManyBases - 1), inside));
  EXPECT_EQ("nameConstraints.readable", RuleAgainst(permitted(kManyBases + 1), inside));
}

// The end entity's own name is one of them.
TEST(CostlyInputStrict, MoreNamesThanAreCompared) {
  const Octets permitted = CaseOctets("A0{30{82{\"a\"}}}");
  const auto name = [](int) { return Der(0x82, Text("a")); };
  EXPECT_EQ("OK", RuleAgainst(permitted, CostlyMany(kMaxComparedNames, 1, name)));
  EXPECT_EQ("nameConstraints.bound", RuleAgainst(permitted, CostlyMany(kMaxComparedNames + 1, 1, name)));
}

// RFC 9618, 3.2.
TEST(CostlyInputStrict, PoliciesMappedToEachOther) {
  constexpr int kManyPolicies = 64, kManyLevels = 20;
  sxChainVerdict verdict;
  EXPECT_STREQ("OK", CostlyPolicies(kManyPolicies, kManyLevels)->Judge("policies", &verdict));
  EXPECT_EQ(static_cast<size_t>(kManyPolicies), verdict.policies.size());
}

}  // namespace
