// Chains of tests/data/chain/scenarios.txt, which says how a line is read.
#include <gmock/gmock.h>

#include "support/chainJudge.h"

namespace {

struct ChainCases : testing::TestWithParam<CaseRow> {};

// The call that is told the end entity agrees, in any order, unless the scenario says what it finds.
void ExpectNamed(const Scenario &scenario, const ChainAnswer &chosen) {
  const ChainAnswer named = JudgeNamed(scenario, false);
  EXPECT_EQ(named.text, JudgeNamed(scenario, true).text);
  const std::string expected = scenario.One("named");
  if (expected.empty()) {
    EXPECT_EQ(chosen.verdict, named.verdict);
  } else {
    EXPECT_EQ(expected, named.verdict.substr(0, named.verdict.find(':')));
  }
}

void ExpectMessage(const Scenario &scenario, const ChainAnswer &answer) {
  const std::string head = std::string(sxValidationRC_GetString(answer.rc)) + "\nlevel: " +
                           std::to_string(answer.level) + "\nsubject: " + answer.subject +
                           "\nserial number: " + answer.serial;
  std::string facts;
  for (const std::string &fact : scenario.All("fact")) facts += "\n" + fact;
  if (facts.empty()) {
    EXPECT_THAT(answer.text, testing::StartsWith(head));
  } else {
    EXPECT_EQ(head + facts, answer.text);
  }
}

TEST_P(ChainCases, GetsItsVerdict) {
  SCOPED_TRACE(GetParam().where);
  const Scenario scenario(GetParam());
  const ChainAnswer answer = JudgeChosen(scenario);
  EXPECT_EQ(scenario.Expected(), answer.verdict);
  ExpectNamed(scenario, answer);
  if (answer.verdict.starts_with("OK")) {
    EXPECT_EQ("", answer.text);
    EXPECT_EQ(answer.chainExpirationSec, answer.expirationSec);
  } else if (answer.level >= 0) {
    ExpectMessage(scenario, answer);
  }
}

std::string NameOf(const testing::TestParamInfo<CaseRow> &row) { return CaseName(row); }

INSTANTIATE_TEST_SUITE_P(Data, ChainCases, testing::ValuesIn(CaseRows("chain/scenarios.txt", 6, 5)), NameOf);

}  // namespace
