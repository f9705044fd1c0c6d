#include "kxcert/keys/kxSDH.h"

#include <gtest/gtest.h>
#include <openssl/dh.h>
#include <openssl/evp.h>

#include <algorithm>

#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/sxDhParams.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

using Octets = std::vector<unsigned char>;
constexpr const char *kGroup14 = "Group 14 (2048 bit)";

std::string Text(const Octets &octets) { return std::string(octets.begin(), octets.end()); }

std::string RawPublic(const kxSDH &key) {
  Octets raw(static_cast<size_t>(key.GetDHRawPublic(nullptr, 0)));
  EXPECT_EQ(key.ModLen(), key.GetDHRawPublic(raw.data(), key.ModLen()));
  return EncodeHex(raw);
}

Octets Derived(kxSDH &key, const Octets &peer) {   // as many octets as the modulus has
  Octets secret(peer.size());
  const auto len = static_cast<int>(peer.size());
  EXPECT_EQ(len, key.Derive(sxPKop_raw, peer.data(), len, nullptr, 0));
  EXPECT_EQ(len, key.Derive(sxPKop_raw, peer.data(), len, secret.data(), len));
  return secret;
}

TEST(kxSDH, AgreesWithTheOpensslCommand) {
  const DhTable table(UsualDhGroups());
  const TempDir dir;
  const std::string theirs = RunCommand("openssl genpkey -algorithm DH -pkeyopt group:modp_2048 -outform DER");
  const std::string theirFile = dir.Write("theirs", theirs), theirPublicFile = dir.File("theirPublic");
  RunCommand("openssl pkey -inform DER -in " + theirFile + " -pubout -outform DER -out " + theirPublicFile);
  const auto *at = reinterpret_cast<const unsigned char *>(theirs.data());
  EVP_PKEY *theirKey = d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(theirs.size()));
  ASSERT_NE(nullptr, theirKey);
  Octets theirPublic(256);
  BN_bn2binpad(DH_get0_pub_key(EVP_PKEY_get0_DH(theirKey)), theirPublic.data(), 256);
  EVP_PKEY_free(theirKey);

  for (const bool withPreCompute : {false, true}) {
    ASSERT_EQ(0, withPreCompute ? DHPreCompute_AddGroup(kGroup14) : 0);
    kxSDH ours(sxDhParams(kGroup14), 320);
    const std::string secret = Text(Derived(ours, theirPublic));
    const std::string ourPublic = dir.Write("ourPublic", Text(Exported(ours, sxPK_public)));
    const std::string ourPrivate = dir.Write("ours", Text(Exported(ours, sxPK_private)));
    const std::string derive = "openssl pkeyutl -derive -pkeyopt pad:1 -keyform DER -peerform DER -inkey ";
    const auto derived = [&derive](const std::string &own, const std::string &peer) {
      std::string command = derive;
      return RunCommand(command.append(own).append(" -peerkey ").append(peer));
    };
    EXPECT_EQ(secret, derived(theirFile, ourPublic));
    EXPECT_EQ(secret, derived(ourPrivate, theirPublicFile));
  }
}

TEST(kxSDH, ComputesInTheGroup) {
  const DhTable table(UsualDhGroups());
  const Num three(3), sixteen(16);
  kxSDH key(sxDhParams("toy"), three.n, nullptr), other(sxDhParams("toy"), sixteen.n, nullptr);
  EXPECT_EQ("000008", RawPublic(key));
  EXPECT_EQ("010000", RawPublic(other));   // 2^16 = -1
  struct { const char *peer, *secret, *line; } const cases[] = {
      {"05", "00007d", ""},            // zeros up to the modulus
      {"010006", "00007d", ""},        // 5 + p: reduced, not refused
      {"00", "eeeeee", "kxSDH_imp::MakeShared: illegal shared secret :0"},
      {"01", "eeeeee", "kxSDH_imp::MakeShared: illegal shared secret :1"},
      {"010000", "eeeeee", "kxSDH_imp::MakeShared: illegal shared secret : -1"},
  };
  for (const auto &c : cases) {
    const LogCapture log;
    const Octets peer = DecodeHex(c.peer);
    Octets out(3, 0xEE);
    const int rc = key.Derive(sxPKop_raw, peer.data(), static_cast<int>(peer.size()), out.data(), 3);
    EXPECT_EQ(*c.line == '\0' ? 3 : -1, rc) << c.peer;
    EXPECT_EQ(c.secret, EncodeHex(out));
    EXPECT_TRUE(*c.line == '\0' || log.Has(c.line)) << c.peer;
  }
}

TEST(kxSDH, AnswersItsKindAndSizes) {
  const DhTable table(UsualDhGroups());
  const Num three(3), eight(8);
  kxSDH key(sxDhParams("toy"), three.n, eight.n), publicOnly(sxDhParams("toy"), nullptr, eight.n);
  kxSDH unusable(sxDhParams("nobody"), 160);
  Octets peer(kMaxDhPeerLen + 1, 5), out(3);
  EXPECT_EQ(1, key.algorithm());
  EXPECT_STREQ("kxSDH_imp", key.ClassName());
  EXPECT_EQ(1313, publicOnly.Flags());
  EXPECT_EQ(0, unusable.Flags());
  EXPECT_EQ(24, key.GetLen(sxPK_len_bits));
  EXPECT_EQ(-1, key.GetLen(sxPK_len_output));
  EXPECT_EQ(kKeyOutputShort, key.GetDHRawPublic(out.data(), 2));
  EXPECT_EQ(kKeyNotUsable, unusable.Export(sxPK_public, out.data(), 3));
  EXPECT_EQ(kKeyBadInput, publicOnly.Export(sxPK_private, nullptr, 0));
  EXPECT_EQ(1, sxPubKey_Equal(&key, &publicOnly));
  struct { kxSDH *key; int peerLen, outLen, rc; } const derivations[] = {
      {&key, kMaxDhPeerLen, 3, 3}, {&key, kMaxDhPeerLen + 1, 3, -1}, {&key, -1, 3, -1},
      {&key, 1, 2, -1},            {&publicOnly, 1, 3, -1},          {&unusable, 1, 3, -1}};
  for (const auto &d : derivations) {   // -1 whatever the reason
    EXPECT_EQ(d.rc, d.key->Derive(sxPKop_raw, peer.data(), d.peerLen, out.data(), d.outLen)) << d.peerLen;
  }
}

TEST(kxSDH, RefusesNumbersThatAreNoKey) {
  struct { const char *mod, *gen, *x, *y; int made, wrapped; } const cases[] = {
      {"0017", "02", "ff", "04", 1, 1},   // a zero before the modulus does no harm
      {"17", "16", "01", "01", 0, 0},     // p - 1
      {"17", "01", "01", "01", 0, 0},
      {"18", "02", "01", "01", 0, 0},     // even
      {"17", "02", "01", "00", 1, 0},
      {"17", "02", "01", "17", 1, 0},     // p
      {"17", "02", "0100", "01", 1, 0},   // x is longer than p
      {"17", "02", "00", "01", 1, 0},
      {"17", "02", "ff", "03", 1, 0},     // y is not g ^ x
  };
  for (const auto &c : cases) {
    sxset object = DhObject("g", 40000, c.mod, 8);
    object.SetText("root", c.gen);
    object.SetInt("rootsize", 8);
    const DhTable table({object});
    const Num x{std::string(c.x)}, y{std::string(c.y)};
    EXPECT_EQ(c.made, kxSDH(sxDhParams("g"), 0).OK()) << c.mod << " " << c.gen;
    EXPECT_EQ(c.wrapped, kxSDH(sxDhParams("g"), x.n, y.n).OK()) << c.mod << " " << c.y;
  }
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

TEST(kxSDH, PrintsNoSecret) {
  const DhTable table(UsualDhGroups());
  const LogCapture log;
  kxSDH key(sxDhParams(kGroup14), 0);
  const Octets secret = Derived(key, Octets(256, 7));
  key.Herror();
  std::string all;
  for (const std::string &line : log.Lines()) all += line;
  all.erase(std::remove(all.begin(), all.end(), ' '), all.end());
  Octets x(40);
  BN_bn2binpad(key.Private(), x.data(), 40);
  EXPECT_NE(std::string::npos, all.find(RawPublic(key).substr(0, 32)));
  EXPECT_EQ(std::string::npos, all.find(EncodeHex(x).substr(0, 16)));
  EXPECT_EQ(std::string::npos, all.find(EncodeHex(secret).substr(0, 16)));
}

TEST(sxNewDHKey, GoesThroughTheInstalledFunction) {
  const DhTable table(UsualDhGroups());
  sxSetNewDHKey_func([](const char *, int bits) -> sxPubKey * { return new kxSDH(sxDhParams("toy"), bits); });
  EXPECT_EQ(0, sxIsSW_DH());
  EXPECT_EQ(24, PubKeyRef(sxNewDHKey("nobody", 160))->GetLen(sxPK_len_bits));
  sxSetNewDHKey_func(nullptr);
  EXPECT_EQ(2048, PubKeyRef(sxNewDHKey(kGroup14, 0))->GetLen(sxPK_len_bits));
}

}  // namespace
