// Chains of tests/data/chain/strict.txt, which says how a line is read.
#include <gmock/gmock.h>

#include <set>

#include "kxcert/trust/chainJudge.h"
#include "support/derOctets.h"
#include "support/scenario.h"
#include "support/testRoots.h"
#include "trust/rules.h"

namespace {

const Words kSettings = {"alone", "any", "curves", "depth", "digest", "host", "ip", "mail", "more", "policy", "purpose",
                         "rsa", "strict-way", "time", "way"};
constexpr sxRuleSet kNoRule = 0;
/// Of more names than a file should hold; strictGrowth_test.cc has it.
constexpr char kRuleOfCrowds[] = "nameConstraints.bound";

sx_md_type DigestOf(const std::string &text) {
  const std::map<std::string, sx_md_type> digests = {{"", sx_md_sha256}, {"sha1", sx_md_sha1}, {"sha384", sx_md_sha384}};
  return digests.at(text);
}

sxStrictQuestion Asked(const Scenario &scenario) {
  sxStrictQuestion asked;
  const std::string purpose = scenario.One("purpose"), depth = scenario.One("depth"), rsa = scenario.One("rsa");
  if (!purpose.empty() && !sxPurpose_Find(purpose, &asked.purpose)) asked.purpose = *OidOf(purpose.c_str());
  asked.anyPurpose = scenario.One("any") != "no";
  asked.host = scenario.One("host");
  asked.address = scenario.One("ip");
  asked.mail = scenario.One("mail");
  for (const std::string &policy : scenario.All("policy")) asked.policies.push_back(*OidOf(policy.c_str()));
  asked.requireExplicitPolicy = !asked.policies.empty();
  asked.minDigest = DigestOf(scenario.One("digest"));
  for (const std::string &curve : scenario.All("curves")) asked.curves.push_back(*OidOf(curve.c_str()));
  if (!depth.empty()) asked.maxDepth = std::stoi(depth);
  if (!rsa.empty()) asked.minRsaBits = std::stoi(rsa);
  return asked;
}

class Court {
 public:
  explicit Court(const Scenario &scenario) : m_asked(Asked(scenario)) {
    CertNames names;
    const Words files = Split(scenario[1]);
    m_chain = LoadCerts(files, names);
    if (m_chain.Count() != static_cast<int>(files.size())) throw std::runtime_error("unreadable: " + scenario[1]);
    const PkRef<sxRootCA> root(new sxRootCA(nullptr, m_chain.Get(m_chain.Top()), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0));
    m_holder.AddCA(root.get());
    m_pool = m_chain;
    const sxCerts more = LoadCerts(scenario.All("more"), names);
    for (int i = 0; i <= more.Top(); ++i) {
      sxSaveSigned(more.Get(i));
      m_pool.Add(more.Get(i));
    }
    m_now = scenario.Now();
  }

  // "expired at 1".
  std::string Ask(sxRuleSet deciding, sxRuleSet notes = kNoRule) {
    sxChainQuestion question;
    question.endEntity = m_chain.Get(0);
    question.pool = &m_pool;
    question.holder = &m_holder;
    question.flags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
    question.time = m_now;
    question.wantsFindings = true;
    question.strict = m_asked;
    question.strict.deciding = deciding;
    question.strict.notes = notes;
    sxJudgeChain(question, m_verdict);
    const std::string level = m_verdict.level >= 0 ? " at " + std::to_string(m_verdict.level) : "";
    return sxValidationName(m_verdict.code) + level;
  }

  const sxChainVerdict &Verdict() const { return m_verdict; }
  Octets Way() const {
    Octets way;
    for (int i = 0; i <= m_verdict.path.Top(); ++i) {
      const sxCert *const cert = m_verdict.path.Get(i);
      way.insert(way.end(), cert->GetBuf(), cert->GetBuf() + cert->BufLen());
    }
    return way;
  }
  void ExpectAbove(const std::string &label) const {
    CertNames names;
    if (!label.empty()) { EXPECT_TRUE(*LoadCerts({label}, names).Get(0) == *m_verdict.path.Get(1)) << label; }
  }

  // "rule at level: label: value, ..." of what failed.
  Words Failed(sxRuleSet rules) const {
    Words failed;
    for (const sxFinding &finding : m_verdict.findings) {
      sxRuleSet rule = kNoRule;
      const bool isAsked = sxRuleSet_Find(finding.rule, &rule) && (rule & rules) != 0;
      if (finding.result != sxFindingResult::kFailed || !isAsked) continue;
      std::string text = finding.rule + (" at " + std::to_string(finding.level)) + ":";
      for (const sxFact &fact : finding.facts) text += std::string(" ") + fact.label + ": " + fact.value + ";";
      EXPECT_NE(nullptr, finding.advice) << text;
      failed.push_back(text);
    }
    return failed;
  }

 private:
  const sxStrictQuestion m_asked;
  sxCerts m_chain, m_pool;
  sxSWKeyHolder m_holder;
  int64_t m_now = 0;
  sxChainVerdict m_verdict;
};

struct StrictChains : testing::TestWithParam<CaseRow> {};

TEST_P(StrictChains, GetTheirVerdict) {
  SCOPED_TRACE(GetParam().where);
  const Scenario scenario(GetParam(), kSettings);
  Court court(scenario);
  sxRuleSet rules = kNoRule;
  const bool isAlone = !scenario.One("alone").empty();
  ASSERT_TRUE(sxRuleSet_Find(isAlone ? scenario[0] : scenario[0].substr(0, scenario[0].find('.')), &rules));
  const std::string without = court.Ask(kNoRule);
  EXPECT_THAT(without, testing::StartsWith(scenario[2]));
  court.ExpectAbove(scenario.One("way"));
  // As a note it changes nothing but what is told.
  const Octets way = court.Way();
  EXPECT_EQ(without, court.Ask(kNoRule, rules));
  EXPECT_EQ(way, court.Way());
  const Words noted = court.Failed(rules);
  EXPECT_EQ(scenario[3], court.Ask(rules));
  court.ExpectAbove(scenario.One("strict-way"));
  const Octets strictWay = court.Way();
  EXPECT_EQ(scenario[3], court.Ask(rules, ~rules));
  EXPECT_EQ(strictWay, court.Way());
  const Words failed = court.Failed(rules);
  if (scenario.All("more").empty()) { EXPECT_EQ(noted, failed); }  // else another path may be the better one
  if (scenario[3] == "OK") {
    EXPECT_THAT(failed, testing::IsEmpty());
    EXPECT_EQ(nullptr, court.Verdict().rule);
    return;
  }
  if (isAlone) return;
  const std::string level = scenario[3].substr(scenario[3].find(" at "));
  const auto isIt = testing::AllOf(testing::HasSubstr(level + ":"), testing::HasSubstr(" " + scenario[4]));
  EXPECT_THAT(failed, testing::Contains(isIt));
  const bool isDecidedBefore = without == scenario[3];
  EXPECT_EQ(isDecidedBefore, court.Verdict().rule == nullptr);
  const bool isRule = scenario[0].find('.') != std::string::npos || scenario[0] == "depth";
  if (!isDecidedBefore && isRule) { EXPECT_STREQ(scenario[0].c_str(), court.Verdict().rule); }
}

std::string NameOf(const testing::TestParamInfo<CaseRow> &row) {
  return CaseName(row) + std::to_string(row.index);
}
INSTANTIATE_TEST_SUITE_P(Data, StrictChains, testing::ValuesIn(CaseRows("chain/strict.txt", 6, 4)), NameOf);

TEST(StrictRules, EachRefusesSomeChain) {
  std::set<std::string> shown = {kRuleOfCrowds};
  for (const CaseRow &row : CaseRows("chain/strict.txt", 6, 4)) {
    if (row[3] != "OK" && row[5].find("alone") == std::string::npos) shown.insert(row[0]);
  }
  sxStrictRuleInfo rule;
  for (int number = 0; sxStrictRule_Get(number, &rule); ++number) {
    EXPECT_TRUE(shown.contains(rule.name)) << "no line of chain/strict.txt breaks " << rule.name;
    sxRuleSet found = kNoRule;
    EXPECT_TRUE(sxRuleSet_Find(rule.name, &found));
    EXPECT_EQ(sxRuleSet{1} << number, found);
  }
}

}  // namespace
