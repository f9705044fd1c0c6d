// Asking responders, and what is remembered of their answers. The responders are libcrypto's, in a component of the
// test's own that reads the request as it would come over HTTP.
#include <gmock/gmock.h>

#include <openssl/evp.h>

#include "kxcert/platform/eventEnv.h"
#include "kxcert/trust/ocsp.h"
#include "kxcert/trust/sxOcspServer.h"
#include "kxcert/trust/sxPKObjects.h"
#include "support/fixedClock.h"
#include "support/onThreads.h"
#include "support/rows.h"
#include "support/testOcsp.h"
#include "support/testRoots.h"
#include "support/words.h"

namespace {

using testing::ElementsAre;

struct Pki {
  const TestCert ca{"O=Ask/CN=ca", nullptr, CaOptions()};
  const TestCert leaf{"O=Ask/CN=leaf", &ca};
  const TestCert other{"O=Ask/CN=other", &ca, {.serial = "02"}};
  const TestCert responder{"O=Ask/CN=responder", nullptr};
};

const Pki &ThePki() {
  static const auto *const pki = new Pki;
  return *pki;
}

Octets RequestOf(const kxFetchRequest &request) {
  if (!request.body.empty()) {
    EXPECT_EQ("application/ocsp-request", request.contentType);
    return Octets(request.body.begin(), request.body.end());
  }
  std::string text = request.url.substr(request.url.rfind('/') + 1);
  for (const auto &[code, plain] : {std::pair{"%2B", "+"}, {"%2F", "/"}, {"%3D", "="}}) {
    for (size_t at; (at = text.find(code)) != std::string::npos;) text.replace(at, 3, plain);
  }
  Octets octets(text.size());
  const int len = EVP_DecodeBlock(octets.data(), reinterpret_cast<const unsigned char *>(text.data()),
                                  static_cast<int>(text.size()));
  const auto padding = static_cast<size_t>(std::ranges::count(text, '='));
  octets.resize(len < 0 ? 0 : static_cast<size_t>(len) - padding);
  return octets;
}

// Does what the host of the URL is called.
class Responders : public kxFetcher {
 public:
  void Begin(const std::shared_ptr<kxFetchTask> &task) override {
    const kxFetchRequest &request = task->Request();
    const std::string host = request.url.substr(7, request.url.find_first_of("/?", 7) - 7);
    asked.push_back(host);
    EXPECT_EQ(kMaxOcspResponseLen, request.limits.maxLen);
    const TestOcspRequest read = ReadOcspRequest(RequestOf(request), ThePki().leaf, ThePki().ca);
    EXPECT_TRUE(read.isAboutFirst);
    nonces.push_back(read.nonce);
    if (host == "slow") return held.push_back(task);
    kxFetchAnswer answer;
    const Octets octets = Answer(host, !request.body.empty(), read);
    answer.result = host == "refused" ? kxFetch_refused : octets.empty() ? kxFetch_failed : kxFetch_OK;
    answer.octets = octets.data();
    answer.len = octets.size();
    task->Answer(answer);
  }
  void Cancel(kxFetchTask &) override { ++numCancelled; }

  Octets Answer(const std::string &host, bool posted, const TestOcspRequest &read) const {
    if (host == "down" || (host == "onlyPost" && !posted)) return {};
    if (host == "garbage") return {0x30, 0x80, 0x00};
    if (host == "tryLater") return {0x30, 3, 0x0A, 1, 3};
    if (host == "unauthorized") return {0x30, 3, 0x0A, 1, 6};
    if (host == "badGet" && !posted) return {0x30, 3, 0x0A, 1, 1};
    TestOcspSingle single{&ThePki().leaf, &ThePki().ca};
    single.thisUpdate = thisUpdate;
    if (host == "revoked" || host == "unknown") single.status = host;
    if (host == "stale") single.nextUpdate = kTestNow - 1;
    if (host == "other") single.cert = &ThePki().other;
    TestOcspOptions options;
    if (repeatsNonce) options.nonces[0] = read.nonce;
    return TestOcspResponse(host == "configured" ? ThePki().responder : ThePki().ca, {single}, options);
  }

  int64_t thisUpdate = kTestNow - 60;
  bool repeatsNonce = true;
  std::vector<std::string> asked;
  std::vector<Octets> nonces;
  std::vector<std::shared_ptr<kxFetchTask>> held;
  int numCancelled = 0;
};

class Ocsp : public testing::Test {
 protected:
  Ocsp() {
    sxOcspMemory_SetLimits(4096, 1 << 24);
    kxFetcher_Set(responders);
  }
  ~Ocsp() override {
    kxFetcher_Set(nullptr);
    sxd_env_destroy(env);
    sxOcspMemory_Clear();
  }

  static sxOcspAsk Ask(const std::string &hosts) {
    sxOcspAsk ask;
    ask.cert = ThePki().leaf.Get();
    ask.issuer = ThePki().ca.Get();
    for (const std::string &host : Split(hosts)) {
      if (host != "-") ask.responders.emplace_back().url = "http://" + host;
    }
    return ask;
  }
  // Notes each answer, and calls what the test wants then.
  sxOcspDone Note(std::function<void()> then = nullptr) {
    return [this, then](const sxOcspOutcome &outcome) {
      outcomes.push_back(outcome);
      if (then != nullptr) then();
    };
  }
  sxOcspOutcome Get(const sxOcspAsk &ask) {
    outcomes.clear();
    EXPECT_EQ(sxOcsp_good, sxOcsp_Ask(env, ask, Note([this] { sxd_env_stop(env); })));
    EXPECT_TRUE(outcomes.empty()) << "never within the call";
    Run(20000);
    EXPECT_EQ(1U, outcomes.size());
    return outcomes.empty() ? sxOcspOutcome() : outcomes[0];
  }
  void Run(int maxMs) { EXPECT_EQ(0, sxd_env_run_for(env, maxMs)); }
  void RunUntil(const std::function<bool()> &isReached) {
    for (int i = 0; i < 4000 && !isReached(); ++i) Run(5);
    EXPECT_TRUE(isReached());
  }
  static sxOcspQuestion Question(int64_t timeSec = kTestNow) {
    sxOcspQuestion question;
    question.cert = ThePki().leaf.Get();
    question.issuer = ThePki().ca.Get();
    question.timeSec = timeSec;
    return question;
  }
  static Octets Response(const std::string &status, int64_t thisUpdate = kTestNow - 60) {
    return TestOcspResponse(ThePki().ca, {{&ThePki().leaf, &ThePki().ca, status, thisUpdate}});
  }
  static sxOcspResult Take(const Octets &octets, const sxOcspQuestion &question = Question()) {
    return sxOcspMemory_Take(octets.data(), octets.size(), question).result;
  }

  FixedClock clock{kTestNow};
  const std::shared_ptr<Responders> responders = std::make_shared<Responders>();
  sxd_env *env = sxd_env_create();
  std::vector<sxOcspOutcome> outcomes;
};

TEST_F(Ocsp, AsksOneResponderAfterTheOther) {
  for (const CaseRow &row : CaseRows("revocation/ocspAsk.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    sxOcspMemory_Clear();
    sxOcspAsk ask = Ask(row[0]);
    ask.responderTimeoutMs = 20;
    const sxOcspOutcome outcome = Get(ask);
    EXPECT_EQ(row[1], std::to_string(outcome.answer.result));
    EXPECT_EQ(outcome.answer.result >= sxOcsp_good, outcome.octets != nullptr);
    std::string asked;
    for (const sxOcspAsked &each : outcome.asked) {
      asked += (asked.empty() ? "" : ", ") + std::string(each.posted ? "POST " : "GET ") + each.url.substr(7) + " " +
               std::to_string(each.result) + (each.fetch != kxFetch_OK ? " " + std::to_string(each.fetch) : "");
    }
    EXPECT_EQ(row[2], asked.empty() ? "-" : asked);
  }
}

TEST_F(Ocsp, AnswersInTimeWhoeverIsSilent) {
  sxOcspAsk ask = Ask("unknown slow slow good");
  ask.timeoutMs = 30;
  const sxOcspOutcome outcome = Get(ask);
  EXPECT_EQ(sxOcsp_unknown, outcome.answer.result);
  EXPECT_EQ(kxFetch_timedOut, outcome.asked.back().fetch);
  EXPECT_EQ(2U, outcome.asked.size());
  Run(5);
  EXPECT_EQ(1, responders->numCancelled);
  kxFetcher_Set(nullptr);
  const sxOcspOutcome none = Get(Ask("good"));
  EXPECT_EQ(sxOcsp_notFetched, none.answer.result);
  EXPECT_EQ(kxFetch_noFetcher, none.asked.at(0).fetch);
  sxOcspAsk wrong = Ask("good");
  wrong.issuer = ThePki().responder.Get();
  EXPECT_EQ(sxOcsp_badQuestion, sxOcsp_Ask(env, wrong, Note()));
  EXPECT_EQ(sxOcsp_badQuestion, sxOcsp_Ask(nullptr, Ask("good"), Note()));
  EXPECT_EQ(sxOcsp_badQuestion, sxOcsp_Ask(env, Ask("good"), nullptr));
}

TEST_F(Ocsp, WaitsWithoutAnEnvironment) {
  EXPECT_EQ(sxOcsp_revoked, sxOcsp_Wait(Ask("tryLater revoked")).answer.result);
  EXPECT_EQ(sxOcsp_badQuestion, sxOcsp_Wait({}).answer.result);
}

// A hundred who ask the same are one to the responder; those who ask otherwise are not among them.
TEST_F(Ocsp, AsksOnceForAllWhoAskTheSame) {
  sxOcspAsk ask = Ask("slow");
  std::shared_ptr<sxOcspTask> first, task;
  EXPECT_EQ(sxOcsp_good, sxOcsp_Ask(env, ask, Note(), &first));
  for (int i = 0; i < 99; ++i) EXPECT_EQ(sxOcsp_good, sxOcsp_Ask(env, ask, Note()));
  ask.timeoutMs = 40;
  EXPECT_EQ(sxOcsp_good, sxOcsp_Ask(env, ask, Note()));   // goes alone when its time is over
  ask.policy.certIdDigest = sx_md_sha256;
  EXPECT_EQ(sxOcsp_good, sxOcsp_Ask(env, ask, Note(), &task));
  RunUntil([&] { return responders->asked.size() == 2; });
  first->Cancel();
  task->Cancel();
  task->Cancel();
  RunUntil([&] { return !outcomes.empty(); });
  Run(20);
  EXPECT_THAT(responders->asked, ElementsAre("slow", "slow"));
  EXPECT_EQ(1U, outcomes.size());
  EXPECT_EQ(sxOcsp_timedOut, outcomes.at(0).answer.result);
  EXPECT_EQ(1, responders->numCancelled) << "nobody waits for it any more";
  kxFetchAnswer answer;
  const Octets octets = Response("revoked");
  answer.result = kxFetch_OK;
  answer.octets = octets.data();
  answer.len = octets.size();
  responders->held[0]->Answer(answer);
  RunUntil([&] { return outcomes.size() == 100; });
  EXPECT_EQ(sxOcsp_revoked, outcomes.back().answer.result);
}

TEST_F(Ocsp, SurvivesWhateverItsCompletionDoes) {
  std::shared_ptr<sxOcspTask> later;
  ASSERT_EQ(sxOcsp_good, sxOcsp_Ask(env, Ask("good"), Note([&] {
                                      later->Cancel();
                                      sxOcsp_Ask(env, Ask("revoked"), Note());
                                    })));
  ASSERT_EQ(sxOcsp_good, sxOcsp_Ask(env, Ask("good"), Note(), &later));
  RunUntil([&] { return outcomes.size() == 2; });
  Run(10);
  EXPECT_EQ(2U, outcomes.size());   // of the first, and of what it asked: from memory
  EXPECT_TRUE(outcomes[1].fromMemory);
  outcomes.clear();
  sxOcspMemory_Clear();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(sxOcsp_good, sxOcsp_Ask(env, Ask("good"), Note([this] { sxd_env_destroy(std::exchange(env, nullptr)); })));
  }
  while (env != nullptr && outcomes.empty()) sxd_env_run_for(env, 20);
  EXPECT_EQ(1U, outcomes.size()) << "the environment is gone";
  env = sxd_env_create();
  sxOcspMemory_Clear();
  ASSERT_EQ(sxOcsp_good, sxOcsp_Ask(env, Ask("slow"), Note(), &later));
  RunUntil([&] { return responders->held.size() == 1; });
  sxd_env_destroy(std::exchange(env, nullptr));
  later->Cancel();
  EXPECT_EQ(1, responders->numCancelled);
  EXPECT_EQ(1U, outcomes.size());
}

TEST_F(Ocsp, SendsANonceThatIsNew) {
  sxOcspAsk ask = Ask("good");
  ask.policy.nonce = sxOcspNonce::kRequire;
  ask.useMemory = false;
  EXPECT_TRUE(Get(ask).answer.hadNonce);
  EXPECT_TRUE(Get(ask).answer.hadNonce);
  EXPECT_EQ(32U, responders->nonces.at(0).size());
  EXPECT_NE(responders->nonces[0], responders->nonces.at(1));
  ask.useMemory = true;
  EXPECT_TRUE(Get(ask).fromMemory);
  sxOcspMemory_Clear();
  responders->repeatsNonce = false;
  EXPECT_EQ(sxOcsp_noNonce, Get(ask).answer.result);
  ask.policy.nonce = sxOcspNonce::kSend;
  EXPECT_FALSE(Get(ask).answer.hadNonce);
  ask.policy.nonce = sxOcspNonce::kRequire;
  EXPECT_FALSE(Get(ask).fromMemory) << "what came without one is no answer";
}

TEST_F(Ocsp, RemembersAnswersAsLongAsTheyHold) {
  EXPECT_FALSE(Get(Ask("good")).fromMemory);
  const sxOcspOutcome again = Get(Ask("revoked"));
  EXPECT_TRUE(again.fromMemory && again.asked.empty() && again.octets != nullptr);
  EXPECT_EQ(sxOcsp_good, Take(Octets(again.octets->begin(), again.octets->end()))) << "it can be stored";
  clock.Set(kTestNow + 3600);
  EXPECT_TRUE(Get(Ask("revoked")).fromMemory);
  clock.Set(kTestNow + 3601);
  EXPECT_EQ(sxOcsp_outOfDate, Get(Ask("good")).answer.result);
  clock.Set(kTestNow);
  EXPECT_TRUE(Get(Ask("unknown")).fromMemory);
  sxOcspMemory_Clear();
  Get(Ask("unknown"));
  EXPECT_EQ(0U, sxOcspMemory_Stats().entries) << "unknown is nothing to remember";
  // What a root's own responder says is for who believes it.
  sxOcspAsk ask = Ask("configured");
  ask.responders[0].cert.Add(ThePki().responder.Ref());
  EXPECT_EQ(sxOcspSigner::kConfigured, Get(ask).answer.signer);
  EXPECT_TRUE(Get(ask).fromMemory);
  EXPECT_EQ(sxOcsp_notAuthorized, Get(Ask("configured")).answer.result);
}

TEST_F(Ocsp, ForgetsNothingForAnOlderAnswer) {
  EXPECT_EQ(sxOcsp_revoked, Take(Response("revoked")));
  EXPECT_EQ(sxOcsp_revoked, Take(Response("good", kTestNow - 61))) << "rolled back";
  EXPECT_EQ(sxOcsp_revoked, Take(Response("good"))) << "of the same time";
  EXPECT_EQ(sxOcsp_good, Take(Response("good", kTestNow - 59)));
  sxOcspAnswer answer;
  EXPECT_TRUE(sxOcspMemory_Find(Question(), &answer));
  EXPECT_EQ(sxOcsp_good, answer.result);
  EXPECT_FALSE(sxOcspMemory_Find(Question(kTestNow + 3601), &answer));
  EXPECT_EQ(sxOcsp_outOfDate, Take(Response("good"), Question(kTestNow + 3601)));
}

TEST_F(Ocsp, KeepsNoMoreThanItMay) {
  sxOcspMemory_SetLimits(2, 1 << 20);
  std::vector<std::unique_ptr<TestCert>> leaves;
  sxOcspQuestion question = Question();
  sxOcspAnswer answer;
  for (int i = 0; i < 3; ++i) {
    leaves.push_back(std::make_unique<TestCert>("CN=l", &ThePki().ca, TestCertOptions{.serial = "1" + std::to_string(i)}));
    question.cert = leaves.back()->Get();
    EXPECT_EQ(sxOcsp_good, Take(TestOcspResponse(ThePki().ca, {{leaves.back().get(), &ThePki().ca}}), question));
    question.cert = leaves[0]->Get();
    EXPECT_TRUE(sxOcspMemory_Find(question, &answer));   // it is used, and stays
  }
  EXPECT_EQ(2U, sxOcspMemory_Stats().entries);
  question.cert = leaves[1]->Get();
  EXPECT_FALSE(sxOcspMemory_Find(question, &answer));
  const Octets good = Response("good");
  for (const size_t isRoom : {0, 1}) {
    sxOcspMemory_SetLimits(2, good.size() - 1 + isRoom);
    EXPECT_EQ(sxOcsp_good, Take(good));
    EXPECT_EQ(isRoom, sxOcspMemory_Stats().entries);
    EXPECT_EQ(isRoom * good.size(), sxOcspMemory_Stats().octets);
  }
}

TEST_F(Ocsp, RemembersForManyThreads) {
  sxPKobj::UseMutex();
  const Octets good = Response("good"), revoked = Response("revoked", kTestNow - 59);
  OnThreads(4, [&](int number) {
    for (int i = 0; i < 50; ++i) {
      if (number == 0) Take(i % 2 == 0 ? good : revoked);
      if (number == 1 && i % 10 == 0) sxOcspMemory_Clear();
      sxOcspAnswer answer;
      if (sxOcspMemory_Find(Question(), &answer)) { EXPECT_GE(answer.result, sxOcsp_good); }
    }
  });
}

TEST(OcspResponders, AreTheRootsThenThoseThatAreNamed) {
  const Pki &pki = ThePki();
  std::string access = "caIssuers;URI:http://ca/,OCSP;URI:ldap://no/,OCSP;URI:https://no/,OCSP;URI:http://twice/";
  for (const char *host : {"a", "b", "c", "d"}) access.append(",OCSP;URI:http://").append(host).append("/");
  const TestCert cert("O=Ask/CN=access", &pki.ca, {.access = access});
  auto *servers = new sxPKObjects;
  for (const char *url : {"https://first/", "", "http://twice/"}) {
    auto *server = new sxOcspServer(url, url, pki.responder.Get());
    servers->Add(server);
    sxFreePKobj(server);
  }
  const PkRef<sxRootCA> root(new sxRootCA(nullptr, pki.ca.Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0));
  root->SetOcspServers(servers);
  std::string urls;
  for (const sxOcspResponder &each : sxOcsp_RespondersOf(*cert.Get(), root.get())) {
    EXPECT_EQ(each.configured ? pki.responder.Get() : nullptr, each.cert.Get(0));
    urls += each.url + " ";
  }
  EXPECT_EQ("https://first/ http://twice/ http://a/ http://b/ http://c/ http://d/ ", urls);
  EXPECT_EQ(4U, sxOcsp_RespondersOf(*cert.Get(), nullptr).size());
  EXPECT_TRUE(sxOcsp_RespondersOf(*pki.leaf.Get(), nullptr).empty());
}

}  // namespace
