// Chains of tests/data/chain/scenarios.txt, which says how a line is read.
#include <gmock/gmock.h>

#include <algorithm>

#include "kxcert/cert/signatureCache.h"
#include "kxcert/trust/sortCerts.h"
#include "support/chainJudge.h"
#include "support/logCapture.h"
#include "trust/rules.h"

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
  if (!scenario.All("tried").empty()) { EXPECT_EQ(scenario.All("tried"), named.tried); }
  const std::string json = scenario.One("json");
  if (!json.empty()) { EXPECT_EQ(CaseData("chain/" + json), named.text + "\n"); }
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
  LogCapture log;
  const ChainAnswer answer = JudgeChosen(scenario);
  for (const std::string &line : scenario.All("log")) { EXPECT_TRUE(log.Has(line)) << line; }
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

TEST(SortCerts, PutsSetsIntoPathOrder) {
  for (const CaseRow &row : CaseRows("chain/sorts.txt", 4, 3)) {
    SCOPED_TRACE(row.where);
    Words files = Split(row[0]);
    const bool inAllOrders = files[0] == "all";
    if (inAllOrders) files.erase(files.begin());
    if (inAllOrders) std::sort(files.begin(), files.end());
    do {
      CertNames names;
      const sxCerts in = LoadCerts(files, names);
      sxCerts out;
      const sxSignatureCacheStats before = sxSignatureCache_Stats();
      EXPECT_EQ(std::stoi(row[1]), sxCerts_Sort(in, out));
      const sxSignatureCacheStats after = sxSignatureCache_Stats();
      if (!row[3].empty()) { EXPECT_EQ(std::stoul(row[3]), after.hits + after.misses - before.hits - before.misses); }
      EXPECT_EQ(row[2], NamesOf(out, names));
      EXPECT_EQ(static_cast<int>(files.size()), in.Count());
    } while (inAllOrders && std::next_permutation(files.begin(), files.end()));
  }
}

TEST(ValidationRC, HasItsNameAndText) {
  for (const CaseRow &row : CaseRows("trust/codes.txt", 3)) {
    SCOPED_TRACE(row.where);
    const int rc = std::stoi(row[0]);
    EXPECT_EQ(row[1], sxValidationName(rc));
    EXPECT_EQ(CaseText(row[2]), sxValidationRC_GetString(rc));
    EXPECT_EQ(rc == -991, isCertificateRevoked(rc));
  }
}

}  // namespace
