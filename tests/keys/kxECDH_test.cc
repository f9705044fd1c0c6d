#include "kxcert/keys/kxECDH.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rand.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/keys/keyTasks.h"
#include "support/derOctets.h"
#include "support/fixedClock.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

// Private value and point of both sides, and what they share. RFC 5903, 8.1 and 8.2; the third was computed
// apart from any library, such that each kind of value needs padding.
struct Vector { int group; const char *i, *gix, *giy, *r = "", *grx = "", *gry = "", *girx = ""; };
constexpr Vector kVectors[] = {
    {19, "c88f01f510d9ac3f70a292daa2316de544e9aab8afe84049c62a9c57862d1433",
     "dad0b65394221cf9b051e1feca5787d098dfe637fc90b9ef945d0c3772581180",
     "5271a0461cdb8252d61f1c456fa3e59ab1f45b33accf5f58389e0577b8990bb3",
     "c6ef9c5d78ae012a011164acb397ce2088685d8f06bf9be0b283ab46476bee53",
     "d12dfb5289c8d4f81208b70270398c342296970a0bccb74c736fc7554494bf63",
     "56fbf3ca366cc23e8157854c13c58d6aac23f046ada30f8353e74f33039872ab",
     "d6840f6b42f6edafd13116e0e12565202fef8e9ece7dce03812464d04b9442de"},
    {20, "099f3c7034d4a2c699884d73a375a67f7624ef7c6b3c0f160647b67414dce655e35b538041e649ee3faef896783ab194",
     "667842d7d180ac2cde6f74f37551f55755c7645c20ef73e31634fe72b4c55ee6de3ac808acb4bdb4c88732aee95f41aa",
     "9482ed1fc0eeb9cafc4984625ccfc23f65032149e0e144ada024181535a0f38eeb9fcff3c2c947dae69b4c634573a81c",
     "41cb0779b4bdb85d47846725fbec3c9430fab46cc8dc5060855cc9bda0aa2942e0308312916b8ed2960e4bd55a7448fc",
     "e558dbef53eecde3d3fccfc1aea08a89a987475d12fd950d83cfa41732bc509d0d1ac43a0336def96fda41d0774a3571",
     "dcfbec7aacf3196472169e838430367f66eebe3c6e70c416dd5f0c68759dd1fff83fa40142209dff5eaad96db9e6386c",
     "11187331c279962d93d604243fd592cb9d0a926f422e47187521287e7156c5c4d603135569b9e9d09cf5d4a270f59746"},
    {19, "0000000000000000000000000000000000000000000000000000000000001316",
     "00272386760051f91ac5baa280bedbdf4bbe4262ab53e873f86b8c50eec2ea8a",
     "89a1476e4bd1db419dfc0fe6550edc324df9887ddb6b4b9db16c347a7480a09a",
     "00000000000000000000000000000000000000000000000000000000000005ce",
     "a4548bdfa509d116887e2ed48bd842138d62f9d87ffd8dfbdf346faab68a51c2",
     "006457f2e507b2eee4d55b63c2dfdf4ec22f6337db5a3bbb46c474e88f4500f3",
     "000b80565060eb2aa50eac91f4da080206d12215b2d9a5f67cb1ccacb5103c58"},
};

std::string Material(const Vector &c) { return std::to_string(c.group) + ":" + c.i + ":" + c.gix + ":" + c.giy; }
Octets PeerOf(const Vector &c) { return DecodeHex((std::string(c.grx) + c.gry).c_str()); }

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
  for (const Vector &c : kVectors) {
    SCOPED_TRACE(c.i);
    kxECDH initiator(Material(c).c_str()), responder(c.group, c.r, c.grx, c.gry);
    EXPECT_EQ(c.group, initiator.getGroup());
    EXPECT_EQ(std::string(c.gix) + c.giy, EncodeHex(PublicOf(initiator)));
    EXPECT_EQ(c.girx, EncodeHex(SharedWith(initiator, PublicOf(responder))));
    EXPECT_EQ(c.girx, EncodeHex(SharedWith(responder, PublicOf(initiator))));
    sxString privateHex, x, y;
    EXPECT_EQ(0, initiator.getPrivate(privateHex));
    EXPECT_EQ(0, initiator.getPublic(x, y));
    EXPECT_TRUE(privateHex.IsSensitive());
    EXPECT_EQ(Material(c), Material({c.group, privateHex, x, y}));
    EXPECT_EQ(0, kxECDH(c.group, c.i, c.grx, c.gry).OK()) << "another point's";
    for (const std::string &line : m_log.Lines()) {
      for (const std::string secret : {c.i, c.r, c.girx}) {
        EXPECT_EQ(std::string::npos, line.find(secret.substr(secret.size() - 8))) << line;
      }
    }
  }
  EXPECT_TRUE(m_log.Has("[ec] kxECDH::setPeerPublic: Stored public key of peer"));
}

TEST_F(kxECDHTest, AgreesWithTheOpensslCommand) {
  const TempDir dir;
  for (const int group : {19, 20}) {
    SCOPED_TRACE(group);
    const std::string curve = group == 19 ? "prime256v1" : "secp384r1", keyFile = KeyFile(curve + ".pem");
    const Octets point = Exported(*EcTestKey(curve), sxPK_public);
    kxECDH ours(group);
    ASSERT_EQ(0, ours.generate());
    // SubjectPublicKeyInfo of our point: theirs with other octets at its end.
    std::string info = RunCommand("openssl pkey -pubout -outform DER -in " + keyFile);
    std::ranges::copy(PublicOf(ours), info.end() - LenOf(point) + 1);
    const std::string command = "openssl pkeyutl -derive -inkey " + keyFile + " -peerform DER -peerkey ";
    EXPECT_EQ(Text(RunCommand(command + dir.Write("peer", info))), SharedWith(ours, Octets(point.begin() + 1, point.end())));
  }
}

TEST_F(kxECDHTest, GoesThroughItsStages) {
  const Octets peer = PeerOf(kVectors[0]);
  unsigned char out[96];
  kxECDH exchange(19);
  EXPECT_EQ(-1, exchange.getPublic4IKE(out, 96));
  EXPECT_TRUE(m_log.Has("[ec] kxECDH::getPublic4IKE: Called when stage is 1. This is not valid."));
  EXPECT_EQ(0, exchange.generate());
  EXPECT_EQ(-1, exchange.derive());
  EXPECT_EQ(-1, exchange.getPublic4IKE(out, 63));
  EXPECT_TRUE(m_log.Has("kxECDH::getPublic4IKE: passed buffer is too small (63 < 64)"));
  EXPECT_EQ(0, exchange.setPeerPublic(peer.data(), 64));
  EXPECT_EQ(-1, exchange.getShared(out, 32));
  EXPECT_EQ(0, exchange.derive());
  EXPECT_EQ(-1, exchange.getShared(out, 31));
  EXPECT_EQ(-1, exchange.getShared(nullptr, 32));
  EXPECT_EQ(32, exchange.getShared(out, 32));
  EXPECT_EQ(0, exchange.setPeerPublic(peer.data(), 64));
  EXPECT_EQ(-1, exchange.getShared(out, 32)) << "back in stage 3";
  EXPECT_EQ(0, exchange.generate());
  EXPECT_EQ(-1, exchange.derive()) << "back in stage 2";
  EXPECT_TRUE(m_log.Has("kxECDH::getShared: passed buffer is too small (31 < 32)"));
  EXPECT_EQ(0, exchange.initialize(20));
  EXPECT_TRUE(m_log.Has("kxECDH::initialize: Initialized with group 20 at address 0x"));
  EXPECT_EQ(-1, exchange.getPublic4IKE(out, 96)) << "back in stage 1";
  EXPECT_EQ(-1, exchange.initialize(21));
  EXPECT_TRUE(m_log.Has("kxECDH::initialize: Got group number 21, which is invalid"));
  EXPECT_EQ(0, exchange.OK() + exchange.getGroup());
  EXPECT_EQ(-1, exchange.generate());
  EXPECT_TRUE(m_log.Has("kxECDH::generate: called when stage=4294967295"));
}

TEST_F(kxECDHTest, TakesPeerPointsOfTheCurveOnly) {
  const std::string x = kVectors[0].grx, y = kVectors[0].gry, zeros(64, '0');
  const std::string p = "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff";
  const std::string rootB = "66485c780e2f83d72433bd5d84a06bb6541c2af31dae871728bf856a174f93f4";
  const struct { const char *what; std::string hex, why; } cases[] = {
      {"zeros", zeros + zeros, "Peer point is at infinity or not on curve"},
      {"of order 2 on another curve", zeros.substr(1) + "5" + zeros, "Peer point is at infinity or not on curve"},
      {"0 and a root of b, but x is p", p + rootB, "Peer point is at infinity or not on curve"},
      {"with the octet of the form", "04" + x + y, "size of input is incorrect (65 != 64)"},
      {"infinity", "00", "size of input is incorrect (1 != 64)"},
  };
  kxECDH exchange(Material(kVectors[0]).c_str());
  for (const auto &test : cases) {
    SCOPED_TRACE(test.what);
    const Octets bad = DecodeHex(test.hex.c_str());
    EXPECT_EQ(-1, exchange.setPeerPublic(bad.data(), LenOf(bad)));
    EXPECT_TRUE(m_log.Has("[ec] kxECDH::setPeerPublic: " + test.why)) << testing::PrintToString(m_log.Lines());
    EXPECT_EQ(-1, exchange.derive()) << "still in stage 2";
    m_log.Clear();
  }
  EXPECT_EQ(0u, ERR_peek_error());
}

TEST_F(kxECDHTest, RefusesOtherKeyMaterial) {
  const Vector &c = kVectors[0];
  const std::string good = Material(c), point = good.substr(67);
  const std::string cases[] = {"", good + "0", "20" + good.substr(2), good.substr(0, 66) + "g" + point,
                               good.substr(0, 66) + "::" + point.substr(1), "19:" + std::string(c.r) + point,
                               "19:" + std::string(64, 'f') + point};
  EXPECT_EQ(1, kxECDH(good.c_str()).OK());
  for (const std::string &text : cases) {
    SCOPED_TRACE(text);
    m_log.Clear();
    kxECDH exchange(text.c_str());
    EXPECT_EQ(-1, exchange.generate()) << "no other key takes its place";
    EXPECT_TRUE(m_log.Has("[ec] kxECDH::kxECDH: "));
  }
  EXPECT_EQ(0, kxECDH(nullptr).OK());
  EXPECT_EQ(0, kxECDH(19, c.i, c.gix, nullptr).OK());
  EXPECT_EQ(0, kxECDH(19, c.i, c.gix, (std::string(c.giy) + "0").c_str()).OK());
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
  const Octets peer = PeerOf(kVectors[0]);
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
  const Octets secret = SharedWith(first, PeerOf(kVectors[0]));
  EXPECT_FALSE(isShared(first));
  EXPECT_TRUE(m_log.Has(
      "[ec] EC_KEY_new_semi_ephemeral: Semi-ephemeral key for NID 415 has expired. Generated 11 seconds ago."));
  EXPECT_EQ(secret, SharedWith(first, PeerOf(kVectors[0]))) << "who has it keeps it";
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
    std::vector<std::thread> threads;
    for (int t = 0; t < kNumThreads; ++t) {
      threads.emplace_back([&, t] {
        kxECDH exchange(20);
        ++numReady;
        while (numReady < kNumThreads) std::this_thread::yield();
        EXPECT_EQ(0, exchange.generate());
        secrets[t] = SharedWith(exchange, PeerOf(kVectors[1]));
      });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(48u, secrets[0].size());
    EXPECT_EQ(kNumThreads, std::count(secrets, secrets + kNumThreads, secrets[0]));
    m_clock.Advance(11);
  }
}

}  // namespace
