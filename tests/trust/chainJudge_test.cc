// Questions about one named certificate; whole chains are in tests/data/chain.
#include "kxcert/trust/chainJudge.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

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

// A path is one way to trust among several: what fails on it need not fail on the next.
struct Ways : ChainJudge {
  sxValidationRC Judge(const TestCert &endEntity, std::initializer_list<const TestCert *> sent) {
    pool = SetOf(sent);
    question.endEntity = endEntity.Get();
    return sxJudgeChain(question, verdict);
  }
  std::vector<std::string> Ends() const {
    std::vector<std::string> ends;
    for (const sxTriedPath &path : verdict.tried) {
      ends.push_back(std::to_string(path.code) + " at " + std::to_string(path.level) + ": " + path.ended);
    }
    return ends;
  }

  const TestCertOptions expired = CaOptions({.notAfter = kTestNow - 1});
  const TestCert other{"O=Trust/CN=other", nullptr, CaOptions()};
};

// A holder that looks up in its cache has one root of a name.
TEST_F(Ways, AsksTheCacheWhereTheHolderDoes) {
  sxSWKeyHolder cached(4, 0, sxKeyHolder_cachedRoots);
  AddRoot(cached, root);
  question.holder = &cached;
  EXPECT_EQ(sxValidation_OK, Judge(leaf, {&sub}));
  EXPECT_EQ(verdict.tried.size(), static_cast<size_t>(verdict.judged) + 1);
}

TEST_F(Ways, AsksTheCallbackForMore) {
  static const TestCert *brought = nullptr;
  brought = &sub;
  sxCert_SetSubCAFunc([](sxCerts &chain) {
    chain.Add(brought->Ref());
    return 0;
  });
  EXPECT_EQ(sxValidation_OK, Judge(leaf, {}));
  EXPECT_THAT(Ends(), ElementsAre("-1001 at 0: no certificate has the issuer's name", "0 at -1: a trusted root"));
  sxCert_SetSubCAFunc([](sxCerts &) -> int { throw std::logic_error("asked for a self-issued one"); });
  const TestCert alone("O=Trust/CN=alone", nullptr);
  EXPECT_EQ(sxValidation_notTrusted, Judge(alone, {}));
  sxCert_SetSubCAFunc([](sxCerts &) { return -1; });
  EXPECT_EQ(sxValidation_notTrusted, Judge(leaf, {}));
  sxCert_SetSubCAFunc(nullptr);
}

TEST_F(Ways, FollowsAHundredLevels) {
  std::vector<std::unique_ptr<TestCert>> ladder;   // each issued by the one before
  for (int i = 0; i <= kMaxChainLevels; ++i) {
    ladder.push_back(std::make_unique<TestCert>("O=Trust/CN=" + std::to_string(i), i == 0 ? &root : ladder.back().get(),
                                                CaOptions()));
    if (i > 0) pool.Add(ladder[ladder.size() - 2]->Ref());
  }
  question.endEntity = ladder[kMaxChainLevels - 1]->Get();
  EXPECT_EQ(sxValidation_OK, sxJudgeChain(question, verdict));
  EXPECT_EQ(kMaxChainLevels + 1, verdict.path.Count());
  question.endEntity = ladder[kMaxChainLevels]->Get();
  EXPECT_EQ(sxValidation_notTrusted, sxJudgeChain(question, verdict));
  EXPECT_THAT(Ends(), ElementsAre("-1001 at 99: too many levels"));
}

// All orders of a pool in which CAs signed each other, and of the roots, give the same octets.
TEST_F(Ways, DoesNotDependOnAnyOrder) {
  const TestCert otherByRoot("O=Trust/CN=other", &root, CaOptions({.keyOf = &other}));
  const TestCert rootByOther("O=Trust/CN=root", &other, CaOptions({.keyOf = &root}));
  const TestCert subByOther("O=Trust/CN=sub", &other, CaOptions({.criticalUnknown = true, .keyOf = &sub}));
  const TestCert namesake("O=Trust/CN=sub", &root, CaOptions());
  TestCertOptions old = expired;
  old.keyOf = &sub;
  const TestCert expiredSub("O=Trust/CN=sub", &root, old);
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
TEST_F(Ways, FindsTheIssuerInACrowd) {
  const TestCert stranger("O=Trust/CN=stranger", nullptr);
  std::vector<std::unique_ptr<TestCert>> crowd;
  const auto add = [&](const TestCert &keyOf, int count) {
    for (int i = 0; i < count; ++i) {
      crowd.push_back(std::make_unique<TestCert>("O=Trust/CN=sub", &stranger, CaOptions({.keyOf = &keyOf})));
      pool.Add(crowd.back()->Ref());
      pool.Add(crowd.back()->Ref());
    }
  };
  std::vector<std::unique_ptr<TestCert>> keys;
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
