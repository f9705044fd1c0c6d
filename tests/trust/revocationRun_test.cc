// Questions about revocation that wait: who asks, who goes away, and what is asked for meanwhile.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "kxcert/platform/eventEnv.h"
#include "kxcert/trust/sxRootCA.h"
#include "platform/background.h"
#include "support/revocationWorld.h"
#include "support/testOcsp.h"

namespace {

class RevocationRun : public testing::Test {
 protected:
  RevocationRun() {
    world.Cert("root", "CN=root", {"ca"});
    world.Cert("leaf", "CN=leaf", {"by=root", "serial=05", "dp=fullname=URI:http://x/run"});
    world.Crl("good", "root", {"number=1"});
    world.Crl("bad", "root", {"number=2", "this=-0.5", "next=9", "revoke=05"});
    chain.Add(world.Of("leaf").Ref());
    root = new sxRootCA("root", world.Of("root").Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, sxCrlTo_memory);
    question.root = root;
    question.chain = &chain;
    question.params.Set_time(kTestNow);
  }
  ~RevocationRun() override {
    sxd_env_destroy(env);
    WaitForBackground();
    sxFreePKobj(root);
  }

  static void WaitForBackground() {
    std::promise<void> done;
    if (kxBackground_Post([&done] { done.set_value(); })) done.get_future().wait();
  }
  void Ask() {
    ASSERT_EQ(0, sxRevocation_CheckA(env, question, [this](const sxRevocationVerdict &verdict) {
      ++m_numAnswers;
      m_lastCode = verdict.code;
      if (m_numAnswers == m_numWanted) sxd_env_stop(env);
    }));
  }
  void RunUntil(int numAnswers) {
    m_numWanted = numAnswers;
    EXPECT_EQ(0, sxd_env_run_for(env, 20000));
    EXPECT_EQ(numAnswers, m_numAnswers);
  }

  RevocationWorld world;
  sxCerts chain;
  sxRootCA *root = nullptr;
  sxRevocationQuestion question;
  sxd_env *env = sxd_env_create();
  int m_numAnswers = 0, m_numWanted = 0;
  sxValidationRC m_lastCode = sxValidation_badInput;
};

TEST_F(RevocationRun, FetchesOnceForAllWhoAsk) {
  constexpr int kNumAskers = 1000;
  world.Serve("http://x/run", "good");
  for (int i = 0; i < kNumAskers; ++i) Ask();
  EXPECT_EQ(0, m_numAnswers) << "within the call";
  RunUntil(kNumAskers);
  EXPECT_EQ(sxValidation_OK, m_lastCode);
  EXPECT_EQ("http://x/run", world.Asked());
}

// What was asked for comes all the same, and harms nobody.
TEST_F(RevocationRun, LetsGoWhenTheEnvironmentGoes) {
  world.Serve("http://x/run", "never");
  Ask();
  EXPECT_EQ(0, sxd_env_run_for(env, 50));
  sxd_env_destroy(std::exchange(env, nullptr));
  WaitForBackground();
  EXPECT_EQ(0, m_numAnswers);
  world.AnswerHeld("bad");
  WaitForBackground();
  WaitForBackground();
  EXPECT_EQ(0, m_numAnswers);
  sxRevocationVerdict verdict;
  question.mayFetch = false;
  EXPECT_EQ(sxValidation_revoked, sxRevocation_Check(question, verdict));
}

TEST_F(RevocationRun, AnswersValidationsThatWait) {
  world.Serve("http://x/run", "bad");
  static std::atomic<int> code;
  code = 1;
  int level = 7;
  ASSERT_EQ(sxValidation_async,
            sxCert_ValCerts_e(env, root, &chain, nullptr, nullptr, question.params, nullptr, 0, &level,
                              [](sxValidationRC rc, const char *, int, long, void *waiting) {
                                code = rc;
                                sxd_env_stop(static_cast<sxd_env *>(waiting));
                              },
                              env, sxValidate_revocation));
  EXPECT_EQ(0, sxd_env_run_for(env, 20000));
  EXPECT_EQ(sxValidation_revoked, code);
  EXPECT_EQ(sxValidation_revoked, sxCert_ValCerts_e(env, root, &chain, nullptr, nullptr, question.params, nullptr, 0,
                                                    &level, nullptr, nullptr, sxValidate_revocation))
      << "at hand now";
}

// Whoever brings it, and in whatever order: neither is the end of a revocation hidden, nor a revocation.
TEST_F(RevocationRun, TakesTheNewestAnswerThatSaysSomething) {
  question.params.Set_crl_validation(0);
  question.params.Set_ocsp_validation(2);
  const auto check = [this](const std::vector<std::pair<std::string, int>> &said) {
    sxOcspResponses responses;
    for (const auto &[status, ageSec] : said) {
      TestOcspSingle single{&world.Of("leaf"), &world.Of("root"), status, kTestNow - ageSec};
      responses.push_back(TestOcspResponse(world.Of("root"), {single}));
    }
    question.ocspResponses = &responses;
    sxRevocationVerdict verdict;
    return sxRevocation_Check(question, verdict);
  };
  EXPECT_EQ(sxValidation_unknownStatus, check({{"unknown", 300}}));
  EXPECT_EQ(sxValidation_OK, check({{"good", 250}, {"unknown", 100}}));
  EXPECT_EQ(sxValidation_revoked, check({{"good", 220}, {"unknown", 100}, {"revoked", 200}}));
  EXPECT_EQ(sxValidation_revoked, check({{"good", 210}})) << "memory knows better";
  EXPECT_EQ(sxValidation_revoked, check({{"unknown", 100}})) << "memory knows better";
  EXPECT_EQ(sxValidation_OK, check({{"good", 150}}));
}

TEST_F(RevocationRun, RenewsWhatIsUsedBeforeItRunsOut) {
  world.Serve("http://x/run", "good");
  sxRevocationVerdict verdict;
  ASSERT_EQ(sxValidation_OK, sxRevocation_Check(question, verdict));
  world.Asked();
  sxRevocation_Prefetch(nullptr);
  WaitForBackground();
  EXPECT_EQ("", world.Asked()) << "too early";
  world.Serve("http://x/run", "nothing");
  world.clock.Set(kTestNow + 7 * kTestDay - 60);
  ASSERT_EQ(sxValidation_OK, sxRevocation_Check(question, verdict));
  for (const char *served : {"nothing", "bad"}) {
    world.Serve("http://x/run", served);
    sxRevocation_Prefetch(nullptr);
    for (int i = 0; i < 4; ++i) WaitForBackground();
    EXPECT_EQ("http://x/run", world.Asked());
    EXPECT_EQ(std::string(served) == "bad" ? sxValidation_revoked : sxValidation_OK, sxRevocation_Check(question, verdict));
  }
}

// Nobody sees half of an exchange: a verdict is that of one CRL or of the other.
TEST_F(RevocationRun, JudgesOnManyThreadsWhileCrlsAreReplaced) {
  world.Serve("http://x/run", "good");
  sxRevocationVerdict first;
  ASSERT_EQ(sxValidation_OK, sxRevocation_Check(question, first));
  std::atomic<bool> stops{false};
  std::atomic<int> numOdd{0}, numRevoked{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!stops) {
        sxRevocationVerdict verdict;
        const sxValidationRC rc = sxRevocation_Check(question, verdict);
        if (rc == sxValidation_revoked) ++numRevoked;
        else if (rc != sxValidation_OK) ++numOdd;
      }
    });
  }
  world.Push("bad");
  while (numRevoked < 100) std::this_thread::yield();
  stops = true;
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(0, numOdd);
}

}  // namespace
