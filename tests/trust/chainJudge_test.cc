// Questions about one named certificate; whole chains are in tests/data/chain.
#include "kxcert/trust/chainJudge.h"

#include <gmock/gmock.h>

#include "support/logCapture.h"
#include "support/testRoots.h"

using testing::ElementsAre;

namespace {

class ChainJudge : public testing::Test {
 protected:
  ChainJudge() {
    AddRoot(holder, root);
    question.endEntity = leaf.Get();
    question.pool = &pool;
    question.holder = &holder;
    question.flags = sxValidate_path | sxValidate_signatures;
    question.time = kTestNow;
  }

  const TestCert root{"O=Trust/CN=root", nullptr, CaOptions()}, sub{"O=Trust/CN=sub", &root, CaOptions()};
  const TestCert leaf{"O=Trust/CN=leaf", &sub};
  sxSWKeyHolder holder;
  sxCerts pool = SetOf({&sub});
  sxChainQuestion question;
  sxChainVerdict verdict;
};

TEST_F(ChainJudge, AnswersAgainFromItsOwnVerdict) {
  ASSERT_EQ(sxValidation_OK, sxJudgeChain(question, verdict)) << verdict.text.getstr();
  question.endEntity = verdict.path.Get(1);
  question.pool = &verdict.path;
  question.time = kTestNow + 366 * kTestDay;
  EXPECT_EQ(sxValidation_expired, sxJudgeChain(question, verdict));
  EXPECT_THAT(Members(verdict.path), ElementsAre(sub.Get(), root.Get()));
  question.holder = nullptr;
  EXPECT_EQ(sxValidation_badInput, sxJudgeChain(question, verdict));
  EXPECT_EQ(nullptr, verdict.root);
  EXPECT_EQ(0, verdict.path.Count());
}

// Revocation is asked as of the question's time, and has nobody to call back.
TEST_F(ChainJudge, TakesNoPromiseOfRevocation) {
  static int64_t asked = 0;
  question.flags = sxValidate_all;
  EXPECT_EQ(sxValidation_unknownStatus, sxJudgeChain(question, verdict));
  sxCertValidate_SetRevocationFunc([](sxd_env *, sxRootCA *, sxCerts &, const ValidateParams &params,
                                      sxValidationCallback, void *, int, int &) {
    asked = params.Time();
    return sxValidation_async;
  });
  EXPECT_EQ(sxValidation_unknownStatus, sxJudgeChain(question, verdict));
  sxCertValidate_SetRevocationFunc(nullptr);
  EXPECT_EQ(kTestNow, asked);
}

// A pool of forged namesakes, as the peer would have to order them if order counted for anything.
TEST_F(ChainJudge, FindsTheIssuerInACrowd) {
  std::vector<std::unique_ptr<TestCert>> crowd;
  const TestCert stranger("O=Trust/CN=root", nullptr);
  for (int i = 0; i < kMaxDetours; ++i) {
    const std::string serial = std::to_string(100 + i);
    crowd.push_back(std::make_unique<TestCert>("O=Trust/CN=sub", &stranger,
                                               CaOptions({.serial = serial, .keyOf = &stranger})));
    pool.Add(crowd.back()->Ref());
    pool.Add(crowd.back()->Ref());
  }
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict)) << verdict.text.getstr();
  // Without the genuine one it is a namesake that did not sign.
  ASSERT_EQ(sub.Get(), pool.Get(0));
  pool.Del(0);
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
  EXPECT_THAT(Members(verdict.path), ElementsAre(leaf.Get()));
}

// No signature stays unverified because nobody asked for the check.
TEST_F(ChainJudge, VerifiesSignaturesWhateverTheFlags) {
  const TestCert stranger("O=Trust/CN=sub", nullptr);
  const TestCert forged("O=Trust/CN=forged", &stranger);
  question.endEntity = forged.Get();
  question.flags = 0;
  EXPECT_EQ(sxValidation_badSignature, sxJudgeChain(question, verdict));
  EXPECT_EQ(0, verdict.level);
  EXPECT_THAT(Members(verdict.path), ElementsAre(forged.Get(), sub.Get(), root.Get()));
}

}  // namespace
