#include "kxcert/keys/kxECDH.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rand.h>

#include <algorithm>
#include <atomic>
#include <sstream>

#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/keys/keyTasks.h"
#include "support/caseFile.h"
#include "support/fixedClock.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/onThreads.h"

namespace {

const CaseBlock &Known(size_t number) {
  static const std::vector<CaseBlock> blocks = CaseBlocks("keys/exchanges.txt", {"group", "i", "gix", "giy", "r", "grx", "gry", "girx"});
  return blocks.at(number);
}
std::string Material(const std::string &group, const std::string &privateHex, const std::string &x, const std::string &y) {
  return group + ":" + privateHex + ":" + x + ":" + y;
}
Octets PeerOf(const CaseBlock &c) { return CaseOctets(c["grx"] + c["gry"]); }

Octets PublicOf(const kxECDH &exchange) {
  Octets value(exchange.getGroup() == 19 ? 64 : 96);
  EXPECT_EQ(LenOf(value), exchange.getPublic4IKE(value.data(), LenOf(value)));
  return value;
}
Octets SharedWith(kxECDH &exchange, const Octets &peer) {
  Octets secret(peer.size() / 2);
  EXPECT_EQ(0, exchange.setPeerPublic(peer.data(), LenOf(peer)));
  EXPECT_EQ(0, exchange.derive());
  EXPECT_EQ(LenOf(secret), exchange.getShared(secret.data(), LenOf(secret)));
  return secret;
}

// Each test begins with the default age, and late enough for new keys.
class kxECDHTest : public testing::Test {
 protected:
  ~kxECDHTest() override { set_max_ephemeral_ec_key_age(10); }
  FixedClock m_clock{s_nextSec += 1000};
  LogCapture m_log;

 private:
  static inline int64_t s_nextSec = 2'000'000'000;
};

TEST_F(kxECDHTest, AgreesWithKnownExchangesAndLogsNoSecret) {
  for (size_t i = 0; i < 3; ++i) {
    const CaseBlock &c = Known(i);
    SCOPED_TRACE(testing::PrintToString(c));
    const int group = std::stoi(c["group"]);
    const std::string material = Material(c["group"], c["i"], c["gix"], c["giy"]);
    kxECDH initiator(material.c_str()), responder(group, c["r"].c_str(), c["grx"].c_str(), c["gry"].c_str());
    EXPECT_EQ(group, initiator.getGroup());
    EXPECT_EQ(c["gix"] + c["giy"], EncodeHex(PublicOf(initiator)));
    EXPECT_EQ(c["girx"], EncodeHex(SharedWith(initiator, PublicOf(responder))));
    EXPECT_EQ(c["girx"], EncodeHex(SharedWith(responder, PublicOf(initiator))));
    sxString privateHex, x, y;
    EXPECT_EQ(0, initiator.getPrivate(privateHex) + initiator.getPublic(x, y) + initiator.isKeyShared());
    EXPECT_TRUE(privateHex.IsSensitive());
    EXPECT_EQ(material, Material(c["group"], privateHex.getstr(), x.getstr(), y.getstr()));
    for (const std::string &line : m_log.Lines()) {
      for (const char *secret : {"i", "r", "girx"}) EXPECT_EQ(std::string::npos, line.find(c[secret].substr(c[secret].size() - 8))) << line;
    }
  }
}

TEST_F(kxECDHTest, GoesThroughItsStages) {
  kxECDH exchange(20);
  Octets out(96);
  sxString text, other;
  const auto room = [](const std::string &word) { return word == "null" ? 96 : std::stoi(word); };
  for (const CaseRow &row : CaseRows("keys/exchangeStages.txt", 3, 2)) {
    SCOPED_TRACE(row.where + ": " + row[0].substr(0, 40));
    const std::string call = row[0].substr(0, row[0].find(' ')), rest = row[0].size() > call.size() ? row[0].substr(call.size() + 1) : "";
    unsigned char *const area = rest == "null" ? nullptr : out.data();
    m_log.Clear();
    int rc = 12345;
    if (call == "initialize") rc = exchange.initialize(std::stoi(rest));
    if (call == "generate") rc = exchange.generate();
    if (call == "derive") rc = exchange.derive();
    if (call == "group") rc = exchange.getGroup() + exchange.OK();
    if (call == "public") rc = exchange.getPublic4IKE(area, room(rest));
    if (call == "shared") rc = exchange.getShared(area, room(rest));
    if (call == "texts") rc = exchange.getPublic(text, other);
    if (call == "private") rc = exchange.getPrivate(text);
    if (call == "peer") {
      const Octets peer = rest == "null" ? Octets(64) : CaseOctets(rest);
      rc = exchange.setPeerPublic(rest == "null" ? nullptr : peer.data(), LenOf(peer));
    }
    if (call == "text") {
      kxECDH made(rest.c_str());
      EXPECT_EQ(made.OK(), 1 + made.generate()) << "no other key takes its place";
      rc = made.getGroup();
    }
    if (call == "parts") {
      std::istringstream words(rest);
      std::string parts[3];
      for (std::string &part : parts) words >> part;
      const auto given = [](const std::string &part) { return part == "null" ? nullptr : part.c_str(); };
      rc = kxECDH(19, given(parts[0]), given(parts[1]), given(parts[2])).getGroup();
    }
    EXPECT_EQ(row[1], std::to_string(rc));
    EXPECT_TRUE(row[2].empty() || m_log.Has(row[2])) << testing::PrintToString(m_log.Lines());
    EXPECT_EQ(0u, ERR_peek_error());
  }
  EXPECT_EQ(0, kxECDH(nullptr).OK());
}

struct Completion {
  int numCalls = 0, rc = 0, len = 0;
  void *result = nullptr;
  std::string text;
  kxECDH *doomed = nullptr;
  sxd_env *env = nullptr;
  bool operator==(const Completion &) const = default;
};

void Complete(void *opaque, int rc, void *result, int len, const char *text) {
  auto *const done = static_cast<Completion *>(opaque);
  delete done->doomed;
  *done = {done->numCalls + 1, rc, len, result, text, nullptr, done->env};
  sxd_env_stop(done->env);
}

// With workers, and where the start said that there are none.
class kxECDHAsync : public kxECDHTest, public testing::WithParamInterface<int> {
 protected:
  ~kxECDHAsync() override {
    KeyTaskMngmnt_destroy();
    sxd_env_destroy(m_env);
  }
  sxd_env *const m_env = sxd_env_create();
  Completion m_done{0, 0, 0, nullptr, "", nullptr, m_env};
};
INSTANTIATE_TEST_SUITE_P(Workers, kxECDHAsync, testing::Values(1, 0));

TEST_P(kxECDHAsync, CompletesOnTheLoopAndNeverWithinTheCall) {
  const Octets peer = PeerOf(Known(0));
  auto *const exchange = new kxECDH(19);
  EXPECT_EQ(kKeyLibraryFailed, exchange->generateA(nullptr, nullptr));
  EXPECT_EQ(TASK_NOT_INITIALIZED, exchange->generateA(Complete, &m_done));
  KeyTaskMngmnt_init(m_env, GetParam());
  EXPECT_EQ(0, exchange->generateA(Complete, &m_done));
  EXPECT_EQ(-4, exchange->generate() + exchange->initialize(20) + exchange->generateA(Complete, &m_done) +
                    exchange->setPeerPublic(peer.data(), 64)) << "nothing changes it meanwhile";
  EXPECT_TRUE(m_log.Has("kxECDH::initialize: Called while an asynchronous call is under way."));
  EXPECT_EQ(0, m_done.numCalls);
  EXPECT_EQ(0, sxd_env_run_for(m_env, 20000));
  EXPECT_EQ(Completion({1, 0, 0, exchange, "None", nullptr, m_env}), m_done);

  const Octets secret = SharedWith(*exchange, peer);
  EXPECT_EQ(0, exchange->setPeerPublic(peer.data(), 64));
  unsigned char out[32] = {};
  EXPECT_EQ(-1, exchange->deriveA(out, 31, Complete, &m_done));
  EXPECT_TRUE(m_log.Has("kxECDH::deriveA: passed buffer is too small (31 < 32)"));
  EXPECT_EQ(-1, exchange->deriveA(nullptr, 32, Complete, &m_done));
  m_done.doomed = exchange;   // the callback deletes it
  EXPECT_EQ(0, exchange->deriveA(out, 32, Complete, &m_done));
  EXPECT_EQ(-1, exchange->derive());
  EXPECT_EQ(1, m_done.numCalls);
  EXPECT_EQ(0, sxd_env_run_for(m_env, 20000));
  EXPECT_EQ(Completion({2, 0, 32, out, "None", nullptr, m_env}), m_done);
  EXPECT_EQ(secret, Octets(out, out + 32));
}

TEST_P(kxECDHAsync, CallsMayBeOvertakenAndDropped) {
  KeyTaskMngmnt_init(m_env, GetParam());
  kxECDH exchange(19);
  call_kxecdh_generate(&exchange);
  EXPECT_TRUE(m_log.Has("call_kxecdh_generate: No such call is under way"));
  EXPECT_EQ(0, exchange.generateA(Complete, &m_done));
  call_kxecdh_derive(&exchange);
  EXPECT_EQ(0, m_done.numCalls);
  call_kxecdh_generate(&exchange);
  EXPECT_EQ(Completion({1, 0, 0, &exchange, "None", nullptr, m_env}), m_done);
  auto *const deleted = new kxECDH(19);
  EXPECT_EQ(0, deleted->generateA(Complete, &m_done));
  delete deleted;
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(0, sxd_env_run_for(m_env, 50));
  EXPECT_EQ(1, m_done.numCalls);
}

TEST_F(kxECDHTest, ExchangesShareAKeyForSomeSeconds) {
  const auto isShared = [](const kxECDH &with) {
    kxECDH exchange(19);
    EXPECT_EQ(0, exchange.generate());
    return PublicOf(exchange) == PublicOf(with);
  };
  kxECDH first(19), second(19), own(19);
  EXPECT_EQ(0, first.generate());
  EXPECT_EQ(1, first.isKeyShared());
  m_clock.Advance(10);
  EXPECT_TRUE(isShared(first)) << "as old as it may be";
  m_clock.Advance(1);
  const Octets secret = SharedWith(first, PeerOf(Known(0)));
  EXPECT_FALSE(isShared(first));
  EXPECT_TRUE(m_log.Has(
      "[ec] EC_KEY_new_semi_ephemeral: Semi-ephemeral key for NID 415 has expired. Generated 11 seconds ago."));
  EXPECT_EQ(secret, SharedWith(first, PeerOf(Known(0)))) << "who has it keeps it";
  EXPECT_EQ(0, second.generate());
  EXPECT_TRUE(isShared(second));
  m_clock.Advance(-1);
  EXPECT_FALSE(isShared(second)) << "the clock was set back";
  set_max_ephemeral_ec_key_age(0);
  EXPECT_EQ(0, own.generate());
  EXPECT_EQ(0, own.isKeyShared());
  EXPECT_FALSE(isShared(own));
}

TEST_F(kxECDHTest, SaysWhenThereIsNoKey) {
  bool isShared = true;
  EXPECT_EQ(nullptr, EC_KEY_new_semi_ephemeral(714, &isShared));
  EXPECT_FALSE(isShared);
  EXPECT_TRUE(m_log.Has("[ec] EC_KEY_new_semi_ephemeral: Could not allocate entry"));
  RAND_METHOD broken = {};
  broken.bytes = [](unsigned char *, int) { return 0; };
  ASSERT_EQ(1, RAND_set_rand_method(&broken));
  kxECDH exchange(20);
  EXPECT_EQ(-1, exchange.generate());
  EXPECT_TRUE(m_log.Has("[ec] EC_KEY_new_semi_ephemeral: key-pair generation failed"));
  ASSERT_EQ(1, RAND_set_rand_method(nullptr));
  EXPECT_EQ(0, exchange.generate());
  EXPECT_EQ(0u, ERR_peek_error());
}

TEST_F(kxECDHTest, ThreadsThatAskAtOnceGetTheSameKey) {
  constexpr int kNumThreads = 8;
  for (int round = 0; round < 5; ++round) {
    std::atomic<int> numReady{0};
    Octets secrets[kNumThreads];
    OnThreads(kNumThreads, [&](int t) {
      kxECDH exchange(20);
      ++numReady;
      while (numReady < kNumThreads) std::this_thread::yield();
      EXPECT_EQ(0, exchange.generate());
      secrets[t] = SharedWith(exchange, PeerOf(Known(1)));
    });
    EXPECT_EQ(48u, secrets[0].size());
    EXPECT_EQ(kNumThreads, std::count(secrets, secrets + kNumThreads, secrets[0]));
    m_clock.Advance(11);
  }
}

}  // namespace
