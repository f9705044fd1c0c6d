#include "kxcert/keys/kxSDH.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/sxDhParams.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/fakeRandom.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

constexpr const char *kGroup14 = "Group 14 (2048 bit)";
using DhKeyRef = std::unique_ptr<kxDhKey, DropPubKey>;

std::unique_ptr<Num> Number(const std::string &cell) {
  const Octets octets = cell == "-" ? Octets() : CaseOctets(cell);
  return std::make_unique<Num>(cell == "-" ? nullptr : BN_bin2bn(octets.data(), LenOf(octets), nullptr));
}
std::string Hash(const Octets &octets) {
  unsigned char hash[32];
  EXPECT_EQ(0, kx_md_hashbuf(sx_md_sha256, octets.data(), octets.size(), hash, 32));
  return EncodeHex(hash, 32);
}

TEST(kxSDH, ComputesKnownValues) {
  const DhTable table(UsualDhGroups());
  for (const CaseRow &row : CaseRows("keys/dhValues.txt", 5)) {
    SCOPED_TRACE(row.where);
    const sxDhParams params(row[0] == "1024" ? "Group 2 (1024 bit)" : kGroup14);
    const Octets peer = CaseOctets(row[2]);
    Octets raw(peer.size()), secret(peer.size());
    kxSDH key(params, Number(row[1])->n, nullptr);
    EXPECT_EQ(LenOf(raw), key.GetDHRawPublic(raw.data(), LenOf(raw)));
    EXPECT_EQ(row[3], Hash(raw));
    EXPECT_EQ(LenOf(raw), key.Derive(sxPKop_raw, peer.data(), LenOf(peer), secret.data(), LenOf(secret)));
    EXPECT_EQ(row[4], Hash(secret));
    EXPECT_EQ(nullptr, key.MakeShared(nullptr));
    const auto negative = Number("05");
    BN_set_negative(negative->n, 1);
    EXPECT_EQ(nullptr, key.MakeShared(negative->n));
  }
}

TEST(kxSDH, RefusesNumbersThatAreNoKey) {
  for (const CaseRow &row : CaseRows("keys/dhNumbers.txt", 6, 5)) {
    SCOPED_TRACE(row.where);
    sxset object = DhObject("g", 40000, row[0], 8);
    object.SetText("root", row[1].c_str());
    object.SetInt("rootsize", 8);
    const DhTable table({object});
    const LogCapture log;
    const kxSDH made(sxDhParams("g"), 0), wrapped(sxDhParams("g"), Number(row[2])->n, Number(row[3])->n);
    EXPECT_EQ(row[4], std::to_string(made.OK()) + " " + std::to_string(wrapped.OK()));
    EXPECT_TRUE(log.Has(row[5]) || row[5].empty()) << testing::PrintToString(log.Lines());
    EXPECT_EQ(wrapped.OK() == 1, wrapped.Public() != nullptr);
    if (made.OK() == 1) { EXPECT_EQ(1, kxSDH(sxDhParams("g"), made.Private(), made.Public()).OK()) << "what is made fits"; }
  }
  const DhTable table(UsualDhGroups());
  const FakeRandom none([](unsigned char *, int) { return 0; });
  const LogCapture log;
  EXPECT_EQ(0, kxSDH(sxDhParams("toy"), 0).OK());
  EXPECT_TRUE(log.Has("kxSDH_imp: no key in group toy: no random octets, or libcrypto failed"));
}

TEST(kxSDH, DrawsThePrivateLengthThatFits) {
  const DhTable table(UsualDhGroups());
  const sxDhParams params("Group 2 (1024 bit)");
  for (const auto &[bits, octets] : std::vector<std::pair<int, int>>{
           {64, 20}, {120, 20}, {128, 16}, {129, 17}, {1024, 128}, {1032, 20}, {-8, 20}, {INT32_MAX, 20}}) {
    int longest = 0;   // all four begin with a zero octet once in four thousand million times
    for (int i = 0; i < 4; ++i) longest = std::max(longest, BN_num_bytes(kxSDH(params, bits).Private()));
    EXPECT_EQ(octets, longest) << bits;
  }
}

int g_numZeros = 0;

TEST(kxSDH, DrawsAgainWhatIsZero) {
  const DhTable table(UsualDhGroups());
  const FakeRandom zeros([](unsigned char *out, int len) { return std::fill_n(out, len, g_numZeros-- > 0 ? 0 : 9), 1; });
  g_numZeros = 15;
  EXPECT_EQ("090909", Num(BN_dup(kxSDH(sxDhParams("toy"), 0).Private())).Hex());
  g_numZeros = 16;
  EXPECT_EQ(0, kxSDH(sxDhParams("toy"), 0).OK()) << "sixteen times at the most";
}

TEST(sxNewDHKey, GoesThroughTheInstalledFunction) {
  const DhTable table(UsualDhGroups());
  sxSetNewDHKey_func([](const char *, int bits) -> sxPubKey * { return new kxSDH(sxDhParams("toy"), bits); });
  EXPECT_EQ(0, sxIsSW_DH());
  EXPECT_EQ(24, PubKeyRef(sxNewDHKey("nobody", 160))->GetLen(sxPK_len_bits));
  sxSetNewDHKey_func(nullptr);
  EXPECT_EQ(1, sxIsSW_DH());
  EXPECT_EQ(2048, PubKeyRef(sxNewDHKey(kGroup14, 0))->GetLen(sxPK_len_bits));
  EXPECT_EQ(nullptr, sxNewDHKey("nobody", 0));
}

TEST(kxDhKey, HasAHashAndSuccessors) {
  DhKeyRef key;
  const DhKeyRef none;
  {
    const DhTable table(UsualDhGroups());
    key.reset(DhKey_create("Group 2 (1024 bit)", 200));
    ASSERT_NE(nullptr, key);
    EXPECT_EQ(nullptr, DhKey_create("nobody", 200));
  }   // from here on no group is loaded
  const DhKeyRef other(DhKey_genkey(key.get()));
  ASSERT_NE(nullptr, other);
  EXPECT_EQ(0, sxPubKey_Equal(key.get(), other.get()));
  long long bits = 0;
  const std::unique_ptr<sxset> set(key->ToSet()), exported([&] {
    sxset *made = nullptr;
    EXPECT_EQ(0, key->Export(sxPK_set, reinterpret_cast<unsigned char *>(&made), kKeySetCapacity));
    return made;
  }());
  EXPECT_EQ(*set, *exported);
  EXPECT_TRUE(std::unique_ptr<sxset>(other->ToSet())->FindInt("private_key_length", &bits));
  EXPECT_EQ(200, bits);
  sxString hashText;
  kxBinBuf hash;
  EXPECT_EQ(0, DhKey_gethash(key.get(), hashText));
  EXPECT_EQ(Hash(Exported(*key, sxPK_public)), hashText.getstr());
  const DhKeyRef again(DhKey_fromset(set.get())), third(DhKey_genkey(again.get()));
  EXPECT_TRUE(std::unique_ptr<sxset>(third->ToSet())->FindInt("private_key_length", &bits));
  EXPECT_EQ(200, bits) << "kept in the set";
  set->Remove("private");   // of a public key it is the same
  EXPECT_EQ(0, DhKey_binaryhash_fromset(set.get(), hash));
  EXPECT_EQ(hashText.getstr(), EncodeHex(hash.Data(), hash.Len()));
  kxDhKey unusable(sxDhParams("nobody"), 0);
  EXPECT_EQ(-1, unusable.GetHash(hash));
  EXPECT_EQ(-1, DhKey_gethash(nullptr, hashText));
  EXPECT_EQ(-1, DhKey_binaryhash_fromset(nullptr, hash));
  EXPECT_EQ(nullptr, unusable.ToSet());
  EXPECT_EQ(nullptr, unusable.GenKey());
  EXPECT_EQ(nullptr, DhKey_toset(nullptr));
  EXPECT_EQ(nullptr, DhKey_genkey(nullptr));
  EXPECT_EQ(32u, hash.Len());
}

}  // namespace
