// What is no row about names: ownership, bounds, threads, chance, and settings of the process.
#include "kxcert/cert/sxDN.h"

#include <cstdlib>
#include <ctime>
#include <random>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/platform/log.h"
#include "support/onThreads.h"
#include "support/scopedEnv.h"
#include "support/script.h"

namespace {

std::string TextOf(const sxDN &dn) { return dn.GetStr() == nullptr ? "(null)" : dn.GetStr(); }
sxDN FromDer(const Octets &der) { return sxDN(der.data(), LenOf(der)); }
sxDN FromDer(const std::string &notation) { return FromDer(CaseOctets(notation)); }

int DerLen(const sxDN &dn) {
  unsigned char *der = nullptr;
  int len = 0;
  return dn.DerEncode(&der, &len) == 0 ? len : -1;
}

TEST(sxDN, EncodesUpTo4096Octets) {
  const auto named = [](size_t valueLen) { return sxDN(("CN=" + std::string(valueLen, 'a')).c_str()); };
  // Five headers of four octets each but the type's five: 4096 - 4 * 4 - 5.
  EXPECT_EQ(4096, DerLen(named(4075)));
  EXPECT_EQ(-1, DerLen(named(4076)));
  EXPECT_EQ(4076U + 3, TextOf(named(4076)).size());
}

TEST(sxDN, DoesWhatTheStepsSay) {
  Script()
      .OnCopiesOf<sxDN>()
      .On("Dn", [](const char *text) { return sxDN(text); })
      .On("None", [] { return sxDN(); })
      .On("OfTree", [](const sxDN &dn) { return sxDN(dn.GetName()); })
      .On("set", [](sxDN &dn, const sxDN &other) { return dn.Set(other); })
      .On("text", TextOf)
      .On("textIsKept", [](const sxDN &dn) { return dn.GetStr() == dn.GetStr(); })
      .On("hasHash", [](const sxDN &dn) { return dn.Hash() != 0; })
      .On("isSub", [](const sxDN &dn, const sxDN &of) { return dn.IsSub(of); })
      .On("removeCN", &sxDN::RemoveCN)
      .On("removeSub", [](sxDN &dn, const sxDN &sub, sxDN &out) {
        int whole = 0;
        return dn.RemoveSubDN(sub, out, whole);
      })
      .On("flatDecode", [](const unsigned char *der, int len) {
        return std::unique_ptr<sxDN, decltype(&sxDN_Free)>(sxDN_DER_Decode(der, len), sxDN_Free);
      })
      .On("flatText", [](sxDN &dn) { return sxDN_GetStr(&dn); })
      .On("hasValueOf", [](const char *text) {
        return std::unique_ptr<sxASN_AttributeValue>(sxStr2AttrVal(sxASN_id_dc, text)) != nullptr;
      })
      .On("keyword", [](const char *text) {   // dotted
        const std::unique_ptr<sxAsnOid> oid(sxDN_Str2OID(text));
        char dotted[64] = "none";
        if (oid != nullptr) oid->GetStr(dotted, sizeof dotted);
        return std::string(dotted);
      })
      .Run("cert/sxDN.steps");
}

// Removing one by one from a tree, or comparing each with each, would take minutes here. Every second one
// is spelt otherwise in the other name, and all stand the other way round.
TEST(sxDN, RemoveSubDNOfManyRdnsIsQuick) {
  Octets rdns, backwards;
  for (int i = 0; i < 2 * 30000; ++i) {
    const int number = i < 30000 ? i : 2 * 30000 - 1 - i;
    const std::string text = (i < 30000 || number % 2 == 0 ? "A b" : " a  B") + std::to_string(number);
    const Octets rdn = Der(0x31, Der(0x30, {{6, 3, 0x55, 4, 3}, Der(number % 3 == 0 ? 0x13 : 0x0C, Text(text))}));
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

// An RDN of so many AVAs that pairing them would cost is equal to none, and quickly so.
TEST(sxDN, ManyAssertionsOfOneRdn) {
  const auto rdnOf = [](int numAvas) {
    return FromDer("30{31{30{06{550403}0C{\"a\"}}*" + std::to_string(numAvas) + "}}");
  };
  EXPECT_TRUE(rdnOf(64).Equal(rdnOf(64)));
  EXPECT_FALSE(rdnOf(65).Equal(rdnOf(65)));
  EXPECT_FALSE(rdnOf(64).Equal(rdnOf(63)));
}

TEST(sxDN, RefusesEveryPrefix) {
  const Octets good = CaseOctets("30{31{30{06{550406}13{\"d\"}}} 31{30{06{550403}0C{\"a\"}}}}");
  ASSERT_EQ(2, FromDer(good).Count());
  for (int len = 0; len < LenOf(good); ++len) {  // in a block of its own, so that a read past it shows
    EXPECT_EQ(nullptr, FromDer(Octets(good.begin(), good.begin() + len)).GetName()) << len;
  }
  EXPECT_EQ(nullptr, sxDN(nullptr, 5).GetName());
  EXPECT_EQ(nullptr, sxDN(good.data(), -1).GetName());
}

TEST(sxDN, TokenizerGivesOneRdnAndTheRest) {
  char *keys[2], *values[2];
  int count = 2;
  // The space behind the quote is the one character that is dropped, so that the comma begins a key.
  char text[] = "CN=a\\,b + OU = \"c d\" ,O=e";
  EXPECT_EQ(nullptr, kxdn_explode_prefix(text, keys, values, &count));
  char again[] = "CN=a\\,b + OU = \"c d\",O=e";
  count = 2;
  ASSERT_STREQ("O=e", kxdn_explode_prefix(again, keys, values, &count));
  ASSERT_EQ(2, count);
  EXPECT_EQ("CN a,b OU c d", std::string(keys[0]) + " " + values[0] + " " + keys[1] + " " + values[1]);
  char whole[] = "CN=a,";
  count = 1;
  EXPECT_STREQ("", kxdn_explode_prefix(whole, keys, values, &count));
  EXPECT_EQ(1, count);
  EXPECT_EQ(nullptr, kxdn_explode_prefix(nullptr, keys, values, &count));
}

// Names of few parts, so that many pairs are equal: hashes agree, and equality has no direction.
TEST(sxDN, EqualNamesHaveEqualHashes) {
  std::mt19937 random(20240601);
  const auto pick = [&random](const char *const(&parts)[6]) { return std::string(parts[random() % 6]); };
  const auto name = [&] {
    std::string text;
    for (unsigned i = random() % 3 + 1; i > 0; --i) {
      text += pick({"CN", "cn", "O", "OID.2.5.4.3", "OID.1.2.3", "DC"}) + "=" +
              pick({"a", "A", " a", "b  c", "B C", "\\#"}) + (i == 1 ? "" : random() % 3 == 0 ? "+" : ",");
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
    ASSERT_TRUE(a.Hash() == b.Hash() && a.IsSub(b) && a.Count() == b.Count()) << a.GetStr() << " and " << b.GetStr();
  }
  EXPECT_GT(numEqual, 200);
}

TEST(sxDN, ManyThreadsReadOneName) {
  for (int round = 0; round < 20; ++round) {
    const sxDN dn = FromDer("30{31{30{06{2A03}0C{\"c\"}}} 31{30{06{55040A}1E{006F}}} 31{30{06{550403}0C{\"\xC3\xA4\"}}}}");
    const sxDN other("CN=\xC3\xA4,O=o,OID.1.2.3=c");
    OnThreads(8, [&dn, &other](int) {
      char cn[8];
      EXPECT_EQ("CN=\xC3\xA4,O=o,OID.1.2.3=c", TextOf(dn));
      EXPECT_STREQ("CN=#c3a4,O=o,OID.1.2.3=c", dn.GetStr_ascii());
      EXPECT_TRUE(dn.Equal(other) && other.IsSub(dn) && dn.Hash() == other.Hash());
      EXPECT_TRUE(dn.GetCN(cn, sizeof cn) == 0 && dn.GetName()->Count() == 3 && DerLen(dn) > 0);
    });
  }
}

// The setting is read once per process, so each case runs in one of its own; without it there is no file.
constexpr struct { const char *setting; int choice; const char *logged; } kSettingCases[] = {
    {"", sxASN_AttributeValue::utf8StringCid, "get_bc_ds_choiceID: Failed to open registry;  using default"},
    {"other (1)", sxASN_AttributeValue::utf8StringCid, ""},
    {"bc_DirectoryString_choiceID (0)", sxASN_AttributeValue::utf8StringCid, ""},
    {"bc_DirectoryString_choiceID (1)", sxASN_AttributeValue::teletexStringCid, ""},
    {"bc_DirectoryString_choiceID (2)", sxASN_AttributeValue::utf8StringCid,
     "get_bc_ds_choiceID: Invalid value in registry; using default"},
};

[[noreturn]] void ExitWithTheChoice() {
  dodebugprt = 1;
  const std::unique_ptr<sxASN_AttributeValue> value(sxStr2AttrVal(sxASN_id_at_commonName, "a_b"));
  std::_Exit(value->ChoiceId() == get_bc_ds_choiceID() ? value->ChoiceId() : 99);
}

TEST(sxDNDeathTest, TheRegistryChoosesTheStringType) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const auto &c : kSettingCases) {
    SCOPED_TRACE(c.setting);
    const TempDir dir;
    const ScopedEnv env("KXCERT_CONF_DIR", dir.Path().c_str());
    if (*c.setting != '\0') {
      dir.Write("registry", "(:SOFTWARE (:Norvane (:Tarnel (:" + std::string(c.setting) + "))))");
    }
    EXPECT_EXIT(ExitWithTheChoice(), testing::ExitedWithCode(c.choice), c.logged);
  }
}

}  // namespace
