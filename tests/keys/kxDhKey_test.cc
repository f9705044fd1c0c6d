#include "kxcert/keys/kxDhKey.h"

#include <gtest/gtest.h>

#include <memory>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

struct DropDhKey {
  void operator()(kxDhKey *key) const { DhKey_destroy(key); }
};
using DhKeyRef = std::unique_ptr<kxDhKey, DropDhKey>;
using SetRef = std::unique_ptr<sxset>;

TEST(kxDhKey, IsTheSameAfterItsTextForm) {
  SxStream text;
  DhKeyRef key;
  {
    const DhTable table(UsualDhGroups());
    key.reset(DhKey_create("Group 2 (1024 bit)", 200));
    ASSERT_NE(nullptr, key);
    SetRef(DhKey_toset(key.get()))->Write(&text);
  }   // from here on no group is loaded
  const SetRef read(sio_sread(text.GetBuf(), nullptr));
  const DhKeyRef again(DhKey_fromset(read.get()));
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(Exported(*key, sxPK_private), Exported(*again, sxPK_private));
  EXPECT_EQ(1, sxPubKey_Equal(key.get(), again.get()));

  sxset *exported = nullptr;
  ASSERT_EQ(0, again->Export(sxPK_set, reinterpret_cast<unsigned char *>(&exported), kKeySetCapacity));
  EXPECT_EQ(*read, *SetRef(exported));

  const DhKeyRef other(DhKey_genkey(again.get()));
  ASSERT_NE(nullptr, other);
  long long bits = 0;
  EXPECT_TRUE(SetRef(other->ToSet())->FindInt("private_key_length", &bits));
  EXPECT_EQ(200, bits);
  EXPECT_EQ(0, sxPubKey_Equal(key.get(), other.get()));

  const auto octets = Exported(*key, sxPK_public);
  unsigned char expected[kDhKeyHashLen];
  ASSERT_EQ(0, kx_md_hashbuf(sx_md_sha256, octets.data(), octets.size(), expected, kDhKeyHashLen));
  sxString hashText;
  kxBinBuf hash;
  EXPECT_EQ(0, DhKey_gethash(key.get(), hashText));
  EXPECT_EQ(EncodeHex(expected, kDhKeyHashLen), hashText.getstr());
  read->Remove("private");   // of a public key it is the same
  EXPECT_EQ(0, DhKey_binaryhash_fromset(read.get(), hash));
  EXPECT_EQ(hashText.getstr(), EncodeHex(hash.Data(), hash.Len()));
}

TEST(kxDhKey, RefusesBrokenSets) {
  const DhTable table(UsualDhGroups());
  const DhKeyRef key(DhKey_create("toy", 0));
  ASSERT_NE(nullptr, key);
  const SetRef good(key->ToSet());
  EXPECT_NE(nullptr, DhKeyRef(DhKey_fromset(good.get())));
  const std::string tooLong(2050, 'f');
  struct { const char *member, *value, *line; } const cases[] = {   // numbers in little-endian order
      {"modulus", tooLong.c_str(), "modulus or generator is missing"},
      {"modulus", "000001", "modulus is even or below 5"},
      {"generator", "000001", "generator is not from 2 to p - 2"},
      {"public", "010001", "public value is missing, or not from 1 to p - 1"},
      {"public", "", "public value is missing, or not from 1 to p - 1"},
      {"private", "", "private value cannot be read"},
      {"private", "00000001", "private value is not positive, or longer than the modulus"},
      {"public", "03", "private value does not belong to the public one"},
      {"private_key_length", "25", "private key length is missing, or not from 1 to the modulus"},
      {"group", tooLong.c_str(), "group name is missing or too long"},
  };
  for (const auto &c : cases) {
    sxset broken = *good;
    sxset *number = broken.FindSet(c.member);
    (number != nullptr ? number : &broken)->SetText(number != nullptr ? "value" : c.member, c.value);
    const LogCapture log;
    EXPECT_EQ(nullptr, DhKeyRef(DhKey_fromset(&broken)));
    EXPECT_TRUE(log.Has(std::string("DhKey_fromset: ") + c.line)) << c.line;
  }
}

}  // namespace
