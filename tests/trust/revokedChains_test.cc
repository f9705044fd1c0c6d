// Chains with CRLs: tests/data/chain/revoked.txt, which says how a line is read.
#include <gtest/gtest.h>

#include "kxcert/cert/sxCRLs.h"
#include "kxcert/trust/chainJudge.h"
#include "support/derOctets.h"
#include "support/fixedClock.h"
#include "support/scenario.h"
#include "support/testRoots.h"
#include "trust/rules.h"

namespace {

const Words kSettings = {"deltas", "more", "reason"};

struct RevokedChains : testing::TestWithParam<CaseRow> {
  ~RevokedChains() override { sxRevocation_Remove(); }
};

// @return false: one of them is none
bool Push(const Scenario &scenario) {
  sxCRLs crls;
  for (const std::string &name : Split(scenario[2])) {
    const std::string pem = CaseData("chain/crls/" + (name == "." ? scenario[0] : name) + ".pem");
    sxCRL *const crl =
        sxCRL_Decode(reinterpret_cast<const unsigned char *>(pem.data()), static_cast<int>(pem.size()));
    if (crl == nullptr) return false;
    crls.Add(crl);
  }
  sxRevocation_Push(crls, sxCrlTo_memory);
  return true;
}

std::string Judge(const Scenario &scenario) {
  const FixedClock clock(scenario.Now());
  sxRevocationSettings settings;
  settings.useDeltas = !scenario.One("deltas").empty();
  EXPECT_EQ(0, sxRevocation_Install(settings));
  Words names = Split(scenario[1]);
  CertNames files;
  const sxCerts roots = LoadCerts({names.back()}, files);
  names.pop_back();
  const sxCerts chain = LoadCerts(names, files);
  sxCerts pool = LoadCerts(Split(scenario.One("more")), files);
  for (int i = 0; i <= chain.Top(); ++i) {
    pool.Add(chain.Get(i));
    sxSaveSigned(chain.Get(i));
  }
  if (!Push(scenario)) return "unreadable";
  const PkRef<sxKeyHolder> holder(sxKeyHolder_New());
  const PkRef<sxRootCA> root(new sxRootCA(nullptr, roots.Get(0), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0));
  holder->AddCA(root.get());
  sxChainQuestion question;
  question.endEntity = chain.Get(0);
  question.pool = &pool;
  question.holder = holder.get();
  question.params.Set_crl_validation(1);
  question.params.Set_crl_start_grace(0);
  question.flags = sxValidate_path | sxValidate_signatures | sxValidate_revocation;
  question.time = scenario.Now();
  question.mayFetch = false;
  sxChainVerdict verdict;
  std::string text = sxValidationName(sxJudgeChain(question, verdict));
  if (verdict.level >= 0) text += " at " + files[StringOf(DerOf(*verdict.path.Get(verdict.level)))];
  return text;
}

TEST_P(RevokedChains, GetTheirVerdict) {
  SCOPED_TRACE(GetParam().where);
  const Scenario scenario(GetParam(), kSettings);
  EXPECT_EQ(scenario[3], Judge(scenario));
}

INSTANTIATE_TEST_SUITE_P(Data, RevokedChains, testing::ValuesIn(CaseRows("chain/revoked.txt", 6, 5)),
                         [](const auto &row) { return CaseName(row); });

}  // namespace
