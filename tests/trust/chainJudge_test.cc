// Questions about one named certificate; whole chains are in tests/data/chain.
#include "kxcert/trust/chainJudge.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "kxcert/trust/fixChain.h"
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

// Nor may it change what is judged, drop what the search goes on with, or answer what is no answer.
TEST_F(ChainJudge, BelievesRevocationAsFarAsItCanBeTrue) {
  static sxCerts *sent = nullptr;
  static sxKeyHolder *asked = nullptr;
  sent = &pool;
  const TestCert other("O=Trust/CN=sub", &root, CaOptions({.keyOf = &sub}));
  pool = SetOf({&sub, &other});
  question.flags = sxValidate_all;
  asked = sxKeyHolder_New();
  AddRoot(*asked, root);
  question.holder = asked;
  sxCertValidate_SetRevocationFunc([](sxd_env *, sxRootCA *, sxCerts &chain, const ValidateParams &,
                                      sxValidationCallback, void *, int, int &level) {
    chain.ClearAll();
    sent->ClearAll();
    sxFreePKobj(std::exchange(asked, nullptr));
    level = 1;
    return sxValidation_revoked;
  });
  EXPECT_EQ(sxValidation_revoked, sxJudgeChain(question, verdict));
  EXPECT_EQ(2u, verdict.tried.size());
  EXPECT_EQ(3, verdict.path.Count());
  question.holder = &holder;
  sxCertValidate_SetRevocationFunc([](sxd_env *, sxRootCA *, sxCerts &, const ValidateParams &, sxValidationCallback,
                                      void *, int, int &level) {
    level = INT_MAX;
    return static_cast<sxValidationRC>(12345);
  });
  pool = SetOf({&sub});
  EXPECT_EQ(sxValidation_unknownStatus, sxJudgeChain(question, verdict));
  EXPECT_EQ(0, verdict.level);
  sxCertValidate_SetRevocationFunc(nullptr);
}

// All orders of a pool in which CAs signed each other, and of the roots, give the same octets.
TEST_F(ChainJudge, DoesNotDependOnAnyOrder) {
  const TestCert other("O=Trust/CN=other", nullptr, CaOptions());
  const TestCert otherByRoot("O=Trust/CN=other", &root, CaOptions({.keyOf = &other}));
  const TestCert rootByOther("O=Trust/CN=root", &other, CaOptions({.keyOf = &root}));
  const TestCert subByOther("O=Trust/CN=sub", &other, CaOptions({.criticalUnknown = true, .keyOf = &sub}));
  const TestCert namesake("O=Trust/CN=sub", &root, CaOptions());
  const TestCert expiredSub("O=Trust/CN=sub", &root, CaOptions({.notAfter = kTestNow - 1, .keyOf = &sub}));
  std::vector<const TestCert *> sent = {&expiredSub, &namesake, &subByOther, &rootByOther, &otherByRoot};
  question.wantsFindings = true;
  std::string first;
  for (const bool isReversed : {false, true}) {
    sxSWKeyHolder roots;
    for (const TestCert *cert : {&root, &other}) AddRoot(roots, isReversed ? (cert == &root ? other : root) : *cert);
    question.holder = &roots;
    std::sort(sent.begin(), sent.end());
    do {
      pool = SetOf({});
      for (const TestCert *cert : sent) pool.Add(cert->Ref());
      EXPECT_EQ(sxValidation_unhandledCritExt, sxJudgeChain(question, verdict));
      if (first.empty()) first = verdict.Json().getstr();
      ASSERT_EQ(first, verdict.Json().getstr());
    } while (std::next_permutation(sent.begin(), sent.end()));
  }
  EXPECT_LE(3u, verdict.tried.size());
  EXPECT_EQ(std::string::npos, first.find('\n'));
}

// Namesakes that did not sign, and some with the issuer's own key that lead nowhere, cost a bounded search.
TEST_F(ChainJudge, FindsTheIssuerInACrowd) {
  const TestCert stranger("O=Trust/CN=stranger", nullptr);
  std::vector<std::unique_ptr<TestCert>> crowd;
  const auto add = [&](const TestCert &keyOf, int count) {
    for (int i = 0; i < count; ++i) {
      crowd.push_back(std::make_unique<TestCert>("O=Trust/CN=sub", &stranger, CaOptions({.keyOf = &keyOf})));
      pool.Add(crowd.back()->Ref());
      pool.Add(crowd.back()->Ref());
    }
  };
  add(sub, kMaxJudgePaths - 1);
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict)) << verdict.text.getstr();
  EXPECT_THAT(Members(verdict.path), ElementsAre(leaf.Get(), sub.Get(), root.Get()));
  pool.Del(0);
  add(sub, 2);
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
  EXPECT_EQ(sxSearchBound::kPaths, verdict.bound);
  EXPECT_EQ(static_cast<size_t>(kMaxJudgePaths), verdict.tried.size());
  EXPECT_NE(nullptr, std::strstr(verdict.text.getstr(), "\nsearch ended after: 64 paths"));
  EXPECT_NE(nullptr, std::strstr(verdict.Json().getstr(), "\"bound\":\"paths\""));
  pool = SetOf({});
  crowd.clear();
  for (int i = 0; i < kMaxJudgeVerifications; ++i) {
    crowd.push_back(std::make_unique<TestCert>("O=Trust/CN=sub", &stranger, CaOptions()));
    pool.Add(crowd.back()->Ref());
  }
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
  EXPECT_EQ(sxSearchBound::kNone, verdict.bound);
  const TestCert last("O=Trust/CN=sub", &stranger, CaOptions());
  pool.Add(last.Ref());
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
  EXPECT_EQ(sxSearchBound::kVerifications, verdict.bound);
  EXPECT_NE(nullptr, std::strstr(verdict.text.getstr(), "\nsearch ended after: 256 verifications"));
  pool = SetOf({});
  add(last, 2 * kMaxJudgeVerifications);   // one key, one verification
  pool.Add(sub.Ref());
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict)) << verdict.text.getstr();
}

}  // namespace
