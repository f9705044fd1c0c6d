// Comparing whole names.
#include <gtest/gtest.h>

#include <random>

#include "kxcert/cert/sxDN.h"
#include "support/derOctets.h"

namespace {

constexpr struct { const char *what; const char *name; const char *suffix; int isSub; int equal; } kSuffixCases[] = {
    {"last RDNs of the text", "CN=x,O=y,C=z", "O=y,C=z", 1, 0},
    {"swapped", "O=y,C=z", "CN=x,O=y,C=z", 0, 0},
    {"another order", "CN=x,O=y,C=z", "C=z,O=y", 0, 0},
    {"the first RDNs", "CN=x,O=y,C=z", "CN=x,O=y", 0, 0},
    {"itself", "CN=x,C=z", "cn= X ,c=Z", 1, 1},
    {"nothing", "CN=x", "", 1, 0},
    {"nothing of nothing", "", "", 1, 1},
    {"no name", "CN=x", "XX=x", 0, 0},
    {"of no name", "XX=x", "", 0, 0},
    {"order within an RDN", "CN=a+OU=b,C=z", "OU=b+CN=a,C=z", 1, 1},
    {"part of an RDN", "CN=a+OU=b", "CN=a", 0, 0},
    {"more than the RDN has", "CN=a", "CN=a+OU=b", 0, 0},
    {"a repeated assertion has one partner", "CN=a+CN=a+CN=b", "CN=a+CN=b+CN=b", 0, 0},
    {"in the other direction", "CN=a+CN=b+CN=b", "CN=a+CN=a+CN=b", 0, 0},
    {"another type", "CN=a", "OU=a", 0, 0},
    {"spaces in the text", "CN=  Foo   Bar ", "cn=foo bar", 1, 1},
    {"a space that is not there", "CN=ab", "CN=a b", 0, 0},
};

TEST(DnCompare, SuffixAndEquality) {
  for (const auto &c : kSuffixCases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.isSub, sxDN_contains_suffix(c.name, c.suffix));
    EXPECT_EQ(c.equal, sxDN_cmp_strings(c.name, c.suffix));
    EXPECT_EQ(c.equal, sxDN_cmp_strings(c.suffix, c.name));
  }
  EXPECT_EQ(-1, sxDN_contains_suffix(nullptr, ""));
  EXPECT_EQ(-1, sxDN_contains_suffix("", nullptr));
  EXPECT_EQ(0, sxDN_cmp_strings(nullptr, ""));
  EXPECT_EQ(0, sxDN_cmp_strings("", nullptr));
}

TEST(DnCompare, NoNameEqualsNothing) {
  const sxDN none;
  EXPECT_FALSE(none.Equal(none));
  EXPECT_FALSE(none.Equal(sxDN("")));
  EXPECT_FALSE(none.IsSub(sxDN("")));
  EXPECT_EQ(0U, none.Hash());
  EXPECT_NE(0U, sxDN("").Hash());
}

// An RDN of so many AVAs that pairing them would cost is equal to none, and quickly so.
TEST(DnCompare, ManyAssertionsOfOneRdn) {
  const auto rdnOf = [](int numAvas) {
    Octets avas;
    for (int i = 0; i < numAvas; ++i) {
      const Octets ava = Ava(kCN, kUtf8, Text("a"));
      avas.insert(avas.end(), ava.begin(), ava.end());
    }
    const Octets der = Der(0x30, Der(0x31, avas));
    return sxDN(der.data(), LenOf(der));
  };
  EXPECT_TRUE(rdnOf(64).Equal(rdnOf(64)));
  EXPECT_FALSE(rdnOf(65).Equal(rdnOf(65)));
  EXPECT_FALSE(rdnOf(64).Equal(rdnOf(63)));
}

// Names of few parts, so that many pairs are equal: hashes agree, and equality has no direction.
TEST(DnCompare, EqualNamesHaveEqualHashes) {
  constexpr unsigned kSeed = 20240601;
  SCOPED_TRACE(kSeed);
  std::mt19937 random(kSeed);
  const auto pick = [&random](const char *const(&parts)[6]) { return std::string(parts[random() % 6]); };
  const auto name = [&] {
    std::string text;
    for (unsigned i = random() % 3 + 1; i > 0; --i) {
      text += pick({"CN", "cn", "O", "OID.2.5.4.3", "OID.1.2.3", "DC"}) + "=" +
              pick({"a", "A", " a", "b  c", "B C", "\\#"}) +
              (i == 1              ? ""
               : random() % 3 == 0 ? "+"
                                   : ",");
    }
    return sxDN(text.c_str());
  };
  int numEqual = 0;
  for (int i = 0; i < 20000; ++i) {
    const sxDN a = name(), b = name();
    ASSERT_NE(nullptr, a.GetStr());
    ASSERT_EQ(a.Equal(b), b.Equal(a)) << a.GetStr() << " and " << b.GetStr();
    if (!a.Equal(b)) continue;
    ++numEqual;
    ASSERT_EQ(a.Hash(), b.Hash()) << a.GetStr() << " and " << b.GetStr();
    ASSERT_TRUE(a.IsSub(b));
    ASSERT_EQ(a.Count(), b.Count());
  }
  EXPECT_GT(numEqual, 200);
}

}  // namespace
