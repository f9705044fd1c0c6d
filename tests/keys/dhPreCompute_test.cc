#include "kxcert/keys/dhPreCompute.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "kxcert/keys/dhGroups.h"
#include "kxcert/keys/kxSDH.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/mutex.h"
#include "platform/mutexFake.h"
#include "support/dhTestGroups.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

using Octets = std::vector<unsigned char>;
constexpr const char *kGroup2 = "Group 2 (1024 bit)";

std::string Power(const sxDhParams &params, const BIGNUM *x) {
  const Num p(BN_bin2bn(params.Mod(), params.ModLen(), nullptr)), g(2), y;
  BN_CTX *context = BN_CTX_new();
  BN_mod_exp(y.n, g.n, x, p.n, context);
  BN_CTX_free(context);
  return y.Hex();
}

TEST(kxDHPreCompute, AgreesWithExponentiation) {
  struct { const char *what; std::string modHex; int privBits; } const cases[] = {
      {"17 bits, three octets", "010001", 24},
      {"65 bits: the top word is nearly empty", "01000000000000000D", 72},   // 2^64 + 13, prime
      {"digits end within the first octet", DhModulusHex(768), 152},
      {"digits end with it", DhModulusHex(1024), 160},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const DhTable table({DhObject("g", 40000, c.modHex, c.privBits)});
    const sxDhParams params("g");
    const kxDHPreCompute preCompute(params);
    const size_t len = static_cast<size_t>(preCompute.NumBytes());
    ASSERT_EQ(static_cast<size_t>(c.privBits / 8), len);
    std::vector<Octets> exponents = {Octets(len, 0), Octets(len, 0xFF), Octets(len - 1, 0x5A), Octets(1, 3)};
    for (size_t bit = 0; bit < 8 * len; ++bit) {
      exponents.emplace_back(len, 0);
      exponents.back()[bit / 8] = static_cast<unsigned char>(0x80U >> (bit % 8));
    }
    for (const Octets &x : exponents) {
      const Num y, exponent(BN_bin2bn(x.data(), static_cast<int>(x.size()), nullptr));
      ASSERT_EQ(1, preCompute.GenPub(y.n, x.data(), static_cast<int>(x.size())));
      ASSERT_EQ(Power(params, exponent.n), y.Hex());
    }
    EXPECT_EQ(0, preCompute.GenPub(Num().n, Octets(len + 1).data(), static_cast<int>(len) + 1));
  }
}

TEST(DHPreCompute, IsUsedForItsOwnGroupOnly) {
  const DhTable table(UsualDhGroups());
  const auto expectKey = [](int privBits, const char *line) {
    const LogCapture log;
    const kxSDH key(sxDhParams(kGroup2), privBits);
    EXPECT_TRUE(log.Has(line)) << line;
    EXPECT_EQ(Power(sxDhParams(kGroup2), key.Private()), Num(BN_dup(key.Public())).Hex());
  };
  const char *with = "New DH public key was created with the pre computation";
  const char *without = "Cannot find DH pre computation for group - Group 2 (1024 bit). Will compute without ";
  expectKey(0, without);
  EXPECT_EQ(-1, DHPreCompute_AddGroup("nobody"));
  ASSERT_EQ(0, DHPreCompute_AddGroup(kGroup2));
  ASSERT_EQ(0, DHPreCompute_AddGroup("toy"));
  expectKey(0, with);
  expectKey(256, without);   // longer than the table is
  // Another group under the same name: the list still has the powers of the first.
  ASSERT_EQ(0, LoadDhGroups({DhObject(kGroup2, 2, DhModulusHex(768), 160)}));
  expectKey(0, without);
  EXPECT_EQ(-1, DHPreCompute_Reconf());   // "toy" is gone
  expectKey(0, with);
  EXPECT_EQ(nullptr, DHPreC_ByGroup("toy"));
  const auto held = DHPreCList::DhPreC_Bygroup(kGroup2);
  DHPreCList::Destroy();
  expectKey(0, without);
  EXPECT_EQ(20, held->NumBytes());   // goes with its last user
}

TEST(DHPreCompute, RefusesWhatIsNoGroup) {
  const DhTable table(UsualDhGroups());
  LogCapture log;
  for (const char *name : {static_cast<const char *>(nullptr), ""}) {
    log.Clear();
    EXPECT_EQ(-1, DHPreCompute_AddGroup(name));
    EXPECT_TRUE(log.Has("DHPreCompute_AddGroup: Got no group"));
  }
  EXPECT_EQ(-1, DHPreCompute_AddGroup("nobody"));
  EXPECT_TRUE(log.Has("DHPreCompute_AddGroup: Cannot pre compute or this group. Unknown group: nobody"));
  EXPECT_EQ(nullptr, DHPreCList::DhPreC_Bygroup(nullptr));
  EXPECT_EQ(0, DHPreCompute_AddGroup("toy"));
  EXPECT_EQ(0, DHPreCompute_AddGroup("toy"));   // in place of the first
  EXPECT_EQ(0, DHPreCompute_Reconf());
  EXPECT_NE(nullptr, DHPreC_ByGroup("toy"));
  const kxDHPreCompute none(sxDhParams("nobody")), toy(sxDhParams("toy"));
  const Num p(65537u), g(2u), other(3u), result;
  const unsigned char x[4] = {0, 0, 3, 0};
  EXPECT_TRUE(none.OK() == 0 && none.NumBytes() == 0 && !none.IsFor(p.n, g.n) && toy.OK() == 1);
  EXPECT_TRUE(toy.IsFor(p.n, g.n) && !toy.IsFor(g.n, g.n) && !toy.IsFor(p.n, other.n) && !toy.IsFor(nullptr, g.n) && !toy.IsFor(p.n, nullptr));
  EXPECT_EQ(0, none.GenPub(result.n, x, 0) + toy.GenPub(nullptr, x, 3) + toy.GenPub(result.n, nullptr, 3) + toy.GenPub(result.n, x, -1) + toy.GenPub(result.n, x, 4));
  EXPECT_EQ(1, toy.GenPub(result.n, x, 3));
  EXPECT_EQ("08", result.Hex());
  EXPECT_EQ(1, toy.GenPub(result.n, x, 0));
  EXPECT_EQ("01", result.Hex());
  MtMutex_SetFake({nullptr, [] { return false; }, nullptr});
  EXPECT_EQ(nullptr, DHPreCList::DhPreC_Bygroup("toy"));
  EXPECT_EQ(-1, DHPreCompute_Reconf());
  DHPreCList::Destroy();
  MtMutex_SetFake({});
  EXPECT_TRUE(log.Has("DHPreCList::Destroy: Can't lock mutex, operation failed"));
  EXPECT_NE(nullptr, DHPreCList::DhPreC_Bygroup("toy"));
  EXPECT_EQ(0, LoadDhGroups({DhObject("even", 40000, "010000", 24)}));
  EXPECT_EQ(-1, DHPreCompute_AddGroup("even"));
  EXPECT_TRUE(log.Has("kxDHPreCompute: even: modulus is even or below 5") && log.Has("DHPreCompute_AddGroup: Cannot create new kxDHPreCompute"));
}

// Each sees a whole table of groups, and powers that belong to its own group.
TEST(DHPreCompute, KeysAreMadeWhileGroupsAndPowersChange) {
  const std::vector<sxset> odd = {DhObject("g", 40001, DhModulusHex(768), 160)};
  const std::vector<sxset> even = {DhObject("g", 40001, DhModulusHex(1024), 168)};
  const DhTable table(odd);
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    for (int i = 0; i < 40; ++i) {
      EXPECT_EQ(0, LoadDhGroups(i % 2 == 0 ? even : odd));
      EXPECT_EQ(0, i % 4 < 2 ? DHPreCompute_AddGroup("g") : DHPreCompute_Reconf());
      if (i % 10 == 0) DHPreCList::Destroy();
    }
    stop = true;
  });
  while (!stop) {
    const sxDhParams params("g");
    EXPECT_EQ(params.ModLen() == 96 ? 160 : 168, params.PrivBits());
    const kxSDH key(params, 0);
    EXPECT_EQ(Power(params, key.Private()), Num(BN_dup(key.Public())).Hex());
  }
  changer.join();
}

}  // namespace
