// Hostile certificates under strict rules: what a square would take many minutes for takes a second.
#include <gmock/gmock.h>
#include <openssl/x509v3.h>

#include <deque>

#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/trust/chainJudge.h"
#include "support/derOctets.h"
#include "support/notation.h"
#include "support/testRoots.h"
#include "trust/strict/nameConstraints.h"

namespace {

constexpr int kManyNames = 1 << 16, kManyBases = static_cast<int>(kMaxIssuedItems);
constexpr int kManyPolicies = 64, kManyLevels = 20;  // each policy mapped to each: a tree would have 64^20 leaves

using Extension = std::shared_ptr<X509_EXTENSION>;
Extension Extended(int nid, bool isCritical, const Octets &value) {
  const std::unique_ptr<ASN1_OCTET_STRING, decltype(&ASN1_OCTET_STRING_free)> octets(ASN1_OCTET_STRING_new(),
                                                                                     ASN1_OCTET_STRING_free);
  ASN1_OCTET_STRING_set(octets.get(), value.data(), LenOf(value));
  return {X509_EXTENSION_create_by_NID(nullptr, nid, isCritical, octets.get()), X509_EXTENSION_free};
}

/// A name of each of these kinds in turn.
Octets Name(int number) {
  const std::string text = std::to_string(number);
  switch (number % 5) {
    case 0: return Der(0x82, Text("h" + text + ".example"));
    case 1: return Der(0x81, Text("u" + text + "@example.net"));
    case 2: return Der(0x86, Text("https://u" + text + ".example/"));
    case 3: return Der(0x87, {10, static_cast<unsigned char>(number >> 16), static_cast<unsigned char>(number >> 8),
                              static_cast<unsigned char>(number)});
    default: return Der(0xA4, CaseOctets("30{31{30{06{550403} 0C{\"" + text + "\"}}}}"));
  }
}

/// The same as a base of constraints.
Octets Base(int number) {
  Octets name = Name(number);
  if (number % 5 == 2) name = Der(0x86, Text("u" + std::to_string(number) + ".example"));
  if (number % 5 == 3) name = Der(0x87, {Octets(name.begin() + 2, name.end()), Octets(4, 0xFF)});
  return Der(0x30, name);
}

Octets Many(int count, int step, Octets (*make)(int)) {
  Octets all;
  for (int i = 0; i < count; ++i) {
    const Octets one = make(step * i);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

Octets Policy(int number) { return Der(0x06, {0x2A, 3, static_cast<unsigned char>(number)}); }

class CostlyInputStrict : public testing::Test {
 protected:
  CostlyInputStrict() { AddRoot(m_holder, m_root); }

  TestCertOptions With(TestCertOptions options, std::vector<Extension> more) const {
    options.keyOf = &m_root;
    options.more = std::move(more);
    return options;
  }

  // A CA with such constraints, and who has these names.
  const char *RuleAgainst(const Octets &constraints, const Octets &names) {
    const TestCert ca("O=ca", &m_root, With(CaOptions(), {Extended(NID_name_constraints, true, Der(0x30, constraints))}));
    const TestCert leaf("O=leaf", &ca, With({}, {Extended(NID_subject_alt_name, false, Der(0x30, names))}));
    return Judge("nameConstraints", SetOf({&leaf, &ca}));
  }

  const char *Judge(const char *group, const sxCerts &certs) {
    sxChainQuestion question;
    question.endEntity = certs.Get(0);
    question.pool = &certs;
    question.holder = &m_holder;
    question.flags = sxValidate_path | sxValidate_signatures;
    question.time = kTestNow;
    sxRuleSet_Find(group, &question.strict.deciding);
    const sxValidationRC code = sxJudgeChain(question, m_verdict);
    return code == sxValidation_OK ? "OK" : m_verdict.rule != nullptr ? m_verdict.rule : "another";
  }

  const TestCert m_root{"O=root", nullptr, CaOptions()};
  sxSWKeyHolder m_holder;
  sxChainVerdict m_verdict;
};

// Neighbours of what is excluded, and at the end one that is.
TEST_F(CostlyInputStrict, ManyNamesAndManyConstraints) {
  const Octets bases = Many(kManyBases, 7, Base), excluded = Der(0xA1, bases);
  const Octets names = Many(kManyNames, 7, [](int number) { return Name(number + 1); });
  EXPECT_STREQ("OK", RuleAgainst(excluded, names));
  for (int last = 1; last <= 5; ++last) {
    EXPECT_STREQ("nameConstraints.names", RuleAgainst(excluded, Joined({names, Name(7 * (kManyBases - last))})));
  }
  const Octets ownName = CaseOctets("30{A4{30{31{30{06{55040A} 0C{\"leaf\"}}}}}}");
  const Octets inside = Many(kManyBases - 1, 7, Name);
  const auto permitted = [&](int count) { return Der(0xA0, Joined({Many(count - 1, 7, Base), ownName})); };
  EXPECT_STREQ("OK", RuleAgainst(permitted(kManyBases), inside));
  EXPECT_STREQ("nameConstraints.names", RuleAgainst(permitted(kManyBases - 1), inside));
  EXPECT_STREQ("nameConstraints.readable", RuleAgainst(permitted(kManyBases + 1), inside));
}

// The end entity's own name is one of them.
TEST_F(CostlyInputStrict, MoreNamesThanAreCompared) {
  const Octets permitted = CaseOctets("A0{30{82{\"a\"}}}");
  const auto name = [](int) { return Der(0x82, Text("a")); };
  EXPECT_STREQ("OK", RuleAgainst(permitted, Many(kMaxComparedNames - 1, 1, name)));
  EXPECT_STREQ("nameConstraints.bound", RuleAgainst(permitted, Many(kMaxComparedNames, 1, name)));
}

// RFC 9618, 3.2.
TEST_F(CostlyInputStrict, PoliciesMappedToEachOther) {
  const Octets said = Many(kManyPolicies, 1, [](int number) { return Der(0x30, Policy(number)); });
  const Octets mapped = Many(kManyPolicies * kManyPolicies, 1, [](int number) {
    return Der(0x30, {Policy(number / kManyPolicies), Policy(number % kManyPolicies)});
  });
  const std::vector<Extension> more = {Extended(NID_certificate_policies, false, Der(0x30, said)),
                                       Extended(NID_policy_mappings, true, Der(0x30, mapped)),
                                       Extended(NID_policy_constraints, true, CaseOctets("30{80{00}}"))};
  std::deque<TestCert> made;
  sxCerts certs;
  for (int i = 0; i < kManyLevels; ++i) {
    made.emplace_back("O=ca " + std::to_string(i), i == 0 ? &m_root : &made.back(), With(CaOptions(), more));
  }
  made.emplace_back("O=leaf", &made.back(), With({}, {more[0]}));
  for (auto one = made.rbegin(); one != made.rend(); ++one) certs.Add(one->Ref());
  EXPECT_STREQ("OK", Judge("policies", certs));
  EXPECT_EQ(static_cast<size_t>(kManyPolicies), m_verdict.policies.size());
}

}  // namespace
