#include "kxcert/cert/sxDN.h"

#include <gtest/gtest.h>

#include <ctime>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/onThreads.h"

namespace {

std::string TextOf(const sxDN &dn) { return dn.GetStr() == nullptr ? "(null)" : dn.GetStr(); }

sxDN FromDer(const Octets &der) { return sxDN(der.data(), LenOf(der)); }

std::string DerOf(const sxDN &dn) {
  unsigned char *der = nullptr;
  int len = 0;
  return dn.DerEncode(&der, &len) == 0 ? EncodeHex(der, static_cast<size_t>(len)) : "-";
}

TEST(sxDN, EncodesTheRootMostRdnFirst) {
  const sxDN dn("cn=Foo, o=Bar ,c=US");
  EXPECT_EQ("3029310b3009060355040613025553310c300a060355040a1303426172310c300a06035504031303466f6f", DerOf(dn));
  EXPECT_EQ(3, dn.Count());
  EXPECT_EQ("3000", DerOf(sxDN("")));
  EXPECT_EQ("-", DerOf(sxDN()));
  const sxDN unsorted("OU=b+CN=a");   // an RDN is sorted in its encoding only
  EXPECT_EQ("OU=b+CN=a", TextOf(unsorted));
  EXPECT_EQ("OU=b+CN=a", TextOf(sxDN(unsorted.GetName())));
  EXPECT_EQ("CN=a+OU=b", TextOf(FromDer(DecodeHex(DerOf(unsorted).c_str()))));
}

TEST(sxDN, EncodesUpTo4096Octets) {
  const auto named = [](size_t valueLen) { return sxDN(("CN=" + std::string(valueLen, 'a')).c_str()); };
  // Five headers of four octets each but the type's five: 4096 - 4 * 4 - 5.
  EXPECT_EQ(4096U * 2, DerOf(named(4075)).size());
  EXPECT_EQ("-", DerOf(named(4076)));
  EXPECT_EQ(4076U + 3, TextOf(named(4076)).size());
}

TEST(sxDN, CopiesShareNothing) {
  auto first = std::make_unique<sxDN>("CN=a,O=b");
  const char *text = first->GetStr();
  EXPECT_EQ(text, first->GetStr());  // computed once
  sxDN copy(*first);
  sxDN assigned;
  assigned = copy;
  first.reset();
  EXPECT_EQ("CN=a,O=b", TextOf(copy));
  EXPECT_EQ(1, copy.RemoveCN());
  EXPECT_EQ("O=b", TextOf(copy));
  EXPECT_EQ("CN=a,O=b", TextOf(assigned));
  assigned = *&assigned;
  EXPECT_EQ("CN=a,O=b", TextOf(assigned));
  EXPECT_EQ(-1, assigned.Set(sxDN()));
  EXPECT_EQ("(null)", TextOf(assigned));
  EXPECT_EQ(0, assigned.Set(copy));
  EXPECT_EQ("O=b", TextOf(assigned));
}

struct RemoveCase { const char *name; int removed; const char *left; };

TEST(sxDN, RemoveCNLooksAtTheMostSpecificRdnOnly) {
  constexpr RemoveCase kCases[] = {
      {"CN=x,C=z", 1, "C=z"},
      {"CN=x+OU=u,C=z", 1, "C=z"},
      {"OU=u+CN=x,C=z", 1, "C=z"},
      {"OU=u,CN=x,C=z", 0, "OU=u,CN=x,C=z"},
      {"CN=x", 1, ""},
      {"", 0, ""},
      {"XX=y", 0, "(null)"},
      {"CN=x,CN=y", 1, "CN=y"},
  };
  for (const RemoveCase &c : kCases) {
    SCOPED_TRACE(c.name);
    sxDN dn(c.name);
    TextOf(dn), DerOf(dn), dn.Hash();  // what is kept must not outlive the change
    EXPECT_EQ(c.removed, dn.RemoveCN());
    EXPECT_EQ(c.left, TextOf(dn));
    EXPECT_EQ(DerOf(sxDN(c.left)), DerOf(dn));
    EXPECT_EQ(sxDN(c.left).Hash(), dn.Hash());
  }
}

TEST(sxDN, RemoveOidTakesTheRootMostRdnWithTheType) {
  constexpr RemoveCase kCases[] = {
      {"OU=a,OU=b,C=z", 1, "OU=a,C=z"},
      {"OU=a,CN=x+OU=b,C=z", 1, "OU=a,C=z"},
      {"CN=x", 0, "CN=x"},
      {"XX=y", 0, "(null)"},
  };
  for (const RemoveCase &c : kCases) {
    SCOPED_TRACE(c.name);
    sxDN dn(c.name);
    EXPECT_EQ(c.removed, dn.RemoveOid(&sxASN_id_at_organizationalUnitName));
    EXPECT_EQ(c.left, TextOf(dn));
    EXPECT_EQ(0, dn.RemoveOid(nullptr));
  }
}

// whole 7 and left "old" stand for untouched.
struct SubCase { const char *what; const char *name; const char *sub; int rc; int whole; const char *left; };
constexpr SubCase kSubCases[] = {
    {"anywhere", "CN=a,OU=b,O=c,C=d", "C=d,OU=B", 1, 1, "CN=a,O=c"},
    {"not all of them", "CN=a,O=c", "OU=x,CN=a", 1, 0, "O=c"},
    {"nothing to remove", "CN=a", "", 1, 1, "CN=a"},
    {"no name to remove", "CN=a", "XX=a", 1, 1, "CN=a"},
    {"all of it", "CN=a,O=c", "O=c,CN=a", 1, 1, ""},
    {"each RDN takes one, the root-most", "CN=a,O=x,CN=a", "CN=a", 1, 1, "CN=a,O=x"},
    {"two want two", "CN=a,O=x", "CN=a,CN=a", 1, 0, "O=x"},
    {"whole RDNs only", "CN=a+OU=b,O=x", "CN=a", 1, 0, "CN=a+OU=b,O=x"},
    {"from an empty name", "", "CN=a", 0, 7, "OU=old"},
    {"from no name", "XX=a", "CN=a", 0, 7, "OU=old"},
};

TEST(sxDN, RemoveSubDNIgnoresPlaces) {
  for (const SubCase &c : kSubCases) {
    SCOPED_TRACE(c.what);
    sxDN out("OU=old");
    int whole = 7;
    EXPECT_EQ(c.rc, sxDN(c.name).RemoveSubDN(sxDN(c.sub), out, whole));
    EXPECT_EQ(c.whole, whole);
    EXPECT_EQ(c.left, TextOf(out));
  }
  sxDN dn("CN=a,O=b");
  int whole = 0;
  EXPECT_EQ(1, dn.RemoveSubDN(sxDN("O=b"), dn, whole));  // the result may replace the name
  EXPECT_EQ("CN=a", TextOf(dn));
}

// Removing one by one from a tree, or comparing each with each, would take minutes here. Every second one
// is spelt otherwise in the other name, and all stand the other way round.
TEST(sxDN, RemoveSubDNOfManyRdnsIsQuick) {
  Octets rdns, backwards;
  for (int i = 0; i < 2 * 30000; ++i) {
    const int number = i < 30000 ? i : 2 * 30000 - 1 - i;
    const std::string text = (i < 30000 || number % 2 == 0 ? "A b" : " a  B") + std::to_string(number);
    const Octets rdn = Der(0x31, Ava(kCN, number % 3 == 0 ? kPrintable : kUtf8, Text(text)));
    Octets &to = i < 30000 ? rdns : backwards;
    to.insert(to.end(), rdn.begin(), rdn.end());
  }
  const sxDN dn = FromDer(Der(0x30, rdns)), sub = FromDer(Der(0x30, backwards));
  sxDN out;
  int whole = 0;
  const std::clock_t start = std::clock();
  EXPECT_EQ(1, dn.RemoveSubDN(sub, out, whole));
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
  EXPECT_EQ(1, whole);
  EXPECT_EQ(0, out.Count());
}

TEST(sxDN, FindsAttributesByType) {
  const sxDN dn("CN=\"a,b\"+OU=u,OU=v,O=\"\xC3\xA4\",C=d");
  char buf[8] = "old";
  EXPECT_EQ(0, dn.GetCN(buf, sizeof buf));
  EXPECT_STREQ("a\\,b", buf);
  EXPECT_EQ(-1, dn.GetCN(buf, 4));  // four characters and the NUL
  EXPECT_EQ(0, dn.GetCN(buf, 5));
  EXPECT_EQ(0, dn.GetOU(buf, sizeof buf));
  EXPECT_STREQ("u", buf);
  EXPECT_EQ(0, dn.GetO(buf, sizeof buf));
  EXPECT_STREQ("\xC3\xA4", buf);
  EXPECT_EQ(-1, dn.GetRDN(sxASN_id_at_localityName, buf, sizeof buf));
  EXPECT_EQ(-1, sxDN("").GetCN(buf, sizeof buf));
  EXPECT_EQ(-1, sxDN().GetCN(buf, sizeof buf));
  EXPECT_EQ(-1, dn.GetCN(nullptr, 5));
  EXPECT_EQ(-1, dn.GetCN(buf, -1));
  EXPECT_STREQ("\xC3\xA4", buf);

  EXPECT_EQ(0, dn.IsContain(&sxASN_id_at_organizationalUnitName));   // 0 is "found"
  EXPECT_EQ(-1, dn.IsContain(&sxASN_id_at_localityName));
  EXPECT_EQ(-1, dn.IsContain(nullptr));
  EXPECT_EQ(-1, sxDN("").IsContain(&sxASN_id_at_commonName));
  EXPECT_EQ(-1, sxDN().IsContain(&sxASN_id_at_commonName));
}

// Each of these stands for CN=ab,C=d in another encoding.
TEST(sxDN, BerTwinsAreTheSameName) {
  const sxDN plain("CN=ab,C=d");
  const Octets c = Ava(kC, kPrintable, Text("d"));
  const Octets type = DecodeHex("0603550403");
  const Octets cn = Ava(kCN, kPrintable, Text("ab"));
  const Octets segments = Joined({Der(kPrintable, Text("a")), Der(kPrintable, Text("b"))});
  const Octets octetSegments = Joined({Der(0x04, Text("a")), Der(0x04, Text("b"))});
  const struct { const char *what; Octets der; } kTwins[] = {
      {"plain", NameOf({c, cn})},
      {"indefinite name", Indefinite(0x30, Joined({Der(0x31, c), Der(0x31, cn)}))},
      {"indefinite RDN", Der(0x30, {Indefinite(0x31, c), Der(0x31, cn)})},
      {"indefinite AVA",
       Der(0x30, {Der(0x31, c), Der(0x31, Indefinite(0x30, Joined({type, Der(kPrintable, Text("ab"))})))})},
      {"long length", Der(0x30, {Der(0x31, c), {0x31, 0x84, 0, 0, 0, static_cast<unsigned char>(cn.size())}, cn})},
      {"constructed string", Der(0x30, {Der(0x31, c), Der(0x31, Der(0x30, {type, Der(0x33, octetSegments)}))})},
      {"indefinite string", Der(0x30, {Der(0x31, c), Der(0x31, Der(0x30, {type, Indefinite(0x33, octetSegments)}))})},
  };
  for (const auto &twin : kTwins) {
    SCOPED_TRACE(twin.what);
    const sxDN dn = FromDer(twin.der);
    EXPECT_EQ("CN=ab,C=d", TextOf(dn));
    EXPECT_TRUE(dn.Equal(plain));
    EXPECT_EQ(plain.Hash(), dn.Hash());
    EXPECT_EQ(DerOf(plain), DerOf(dn));
  }
}

// A value may be any element, in any encoding that the codec takes; the name's other parts stay.
TEST(sxDN, KeepsNamesWithValuesOfOtherTypes) {
  const Octets type = DecodeHex("0603550406");
  const struct { const char *what; Octets value; } kValues[] = {
      {"an indefinite element", Indefinite(0xA0, Der(0x05, Octets()))},
      {"a long length", {0x02, 0x84, 0, 0, 0, 1, 5}},
      {"a long identifier", {0x5F, 0x21, 0x01, 0x00}},
      {"an indefinite SEQUENCE", Indefinite(0x30, Der(0x05, Octets()))},
  };
  for (const auto &v : kValues) {
    SCOPED_TRACE(v.what);
    const sxDN dn = FromDer(Der(0x30, {Der(0x31, Der(0x30, {type, v.value})), Der(0x31, Ava(kCN, kUtf8, Text("a")))}));
    EXPECT_EQ(2, dn.Count());
    EXPECT_EQ("(null)", TextOf(dn));
    char cn[8];
    EXPECT_EQ(0, dn.GetCN(cn, sizeof cn));
    EXPECT_EQ(0, dn.IsContain(&sxASN_id_at_countryName));
    EXPECT_NE("-", DerOf(dn));
    sxDN shorter(dn);
    EXPECT_EQ(1, shorter.RemoveOid(&sxASN_id_at_countryName));
    EXPECT_EQ("CN=a", TextOf(shorter));
  }
}

TEST(sxDN, RefusesWhatIsNoName) {
  const Octets good = NameOf({Ava(kC, kPrintable, Text("d")), Ava(kCN, kUtf8, Text("a"))});
  ASSERT_EQ(2, FromDer(good).Count());
  for (int len = 0; len < LenOf(good); ++len) {  // in a block of its own, so that a read past it shows
    const Octets prefix(good.begin(), good.begin() + len);
    EXPECT_EQ(nullptr, FromDer(prefix).GetName()) << len;
  }
  EXPECT_EQ(nullptr, FromDer(Joined({good, {0x00}})).GetName());
  EXPECT_EQ(nullptr, sxDN(nullptr, 5).GetName());
  EXPECT_EQ(nullptr, sxDN(good.data(), -1).GetName());
  const char *const kBad[] = {
      "3100",                                   // no SEQUENCE
      "30023000",                               // an RDN that is no SET
      "3004 3102 3000",                         // an AVA without a type
      "3009 3107 3005 0603550403",              // without a value
      "3009 3107 3005 0600 130161",             // an empty type
      "300E 310C 300A 0603550403 130161 0500",  // with something behind the value
      "300C 310A 3008 0603550403 030108",       // a BIT STRING with eight unused bits
      "300C 310A 3008 0603550403 030101",       // or one unused bit of none
  };
  for (const char *hex : kBad) EXPECT_EQ(nullptr, FromDer(DecodeHex(hex)).GetName()) << hex;
}

TEST(sxDN, ManyThreadsReadOneName) {
  const Octets der = NameOf({Ava("1.2.3", kUtf8, Text("c")), Ava(kO, 0x1E, DecodeHex("006F")),
                             Ava(kCN, kUtf8, Text("\xC3\xA4"))});
  for (int round = 0; round < 20; ++round) {
    const sxDN dn = FromDer(der), other("CN=\xC3\xA4,O=o,OID.1.2.3=c");
    OnThreads(8, [&dn, &other](int) {
      char cn[8];
      EXPECT_EQ("CN=\xC3\xA4,O=o,OID.1.2.3=c", TextOf(dn));
      EXPECT_STREQ("CN=#c3a4,O=o,OID.1.2.3=c", dn.GetStr_ascii());
      EXPECT_TRUE(dn.Equal(other) && other.IsSub(dn) && dn.Hash() == other.Hash());
      EXPECT_TRUE(dn.GetCN(cn, sizeof cn) == 0 && dn.GetName()->Count() == 3 && DerOf(dn) != "-");
    });
  }
}

}  // namespace
