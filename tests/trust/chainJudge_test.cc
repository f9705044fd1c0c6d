// Questions about one named certificate; whole chains are in tests/data/chain.
#include "kxcert/trust/chainJudge.h"

#include <gmock/gmock.h>

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

  const TestCert root{"O=Trust/CN=root", nullptr, CaOptions()};
  // Its length makes it the last one of its name to be tried.
  const TestCert sub{"O=Trust/CN=sub", &root, CaOptions({.serial = "7F0102030405060708090A0B0C0D0E0F10111213"})};
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

// The chain of an own key may bring the missing sub-CA, but no trust of its own.
TEST_F(ChainJudge, TrustsNoRootThatTheHolderGaveUp) {
  const TestCert own("O=Trust/CN=own", &sub);
  sxRootCA *const ca = holder.CAByDN(root.Get()->Subject());
  AddKey(holder, SetOf({&own, &sub}), ca);
  question.pool = nullptr;
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict));
  EXPECT_EQ(0, holder.RemoveCA(ca));
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
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

// Namesakes that did not sign, and some with the issuer's own key that lead nowhere, all before the issuer.
TEST_F(ChainJudge, FindsTheIssuerInACrowd) {
  const TestCert stranger("O=Trust/CN=stranger", nullptr);
  std::vector<std::unique_ptr<TestCert>> crowd;
  for (int i = 0; i < kMaxDetours; ++i) {
    crowd.push_back(std::make_unique<TestCert>("O=Trust/CN=sub", &stranger,
                                               CaOptions({.keyOf = i % 2 == 0 ? &stranger : &sub})));
    pool.Add(crowd.back()->Ref());
    pool.Add(crowd.back()->Ref());
  }
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict)) << verdict.text.getstr();
  EXPECT_THAT(Members(verdict.path), ElementsAre(leaf.Get(), sub.Get(), root.Get()));
  const TestCert tooMany("O=Trust/CN=sub", &stranger, CaOptions());
  pool.Add(tooMany.Ref());
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
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
