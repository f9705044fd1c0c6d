// Text to names, and back to text.
#include <gtest/gtest.h>

#include <cstdlib>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

std::string TextOf(const sxDN &dn) { return dn.GetStr() == nullptr ? "(null)" : dn.GetStr(); }

// What prints as "(null)" is no name.
constexpr struct { const char *what; const char *text; const char *printed; } kParseCases[] = {
    {"keywords in any case, spaces around", "cn=Foo, o=Bar ,c=US", "CN=Foo,O=Bar,C=US"},
    {"spaces and line feeds between all parts", " \nCN \n= \nFoo \n, O=b", "CN=Foo,O=b"},
    {"semicolon and plus part assertions of one RDN", "CN=a+OU=b;O=c,C=d", "CN=a+OU=b+O=c,C=d"},
    {"a trailing semicolon", "CN=a;", "CN=a"},
    {"every keyword", "T=1,serialNumber=2,STREET=3,DC=4,Email=5,UID=6,principalName=7,ST=8,L=9",
     "T=1,serialNumber=2,STREET=3,DC=4,Email=5,UID=6,principalName=7,ST=8,L=9"},
    {"keywords are not cut", "serialnumbe=2", "(null)"},

    {"empty text is an empty name", "", ""},
    {"nothing but spaces", "  ", "(null)"},
    {"a trailing comma", "CN=a,", "CN=a"},
    {"a trailing comma and a space", "CN=a, ", "(null)"},
    {"two commas: the second begins a keyword", "CN=a,,O=b", "(null)"},
    {"no value at the end", "CN=", "(null)"},
    {"nor spaces for one", "CN=  ", "(null)"},
    {"no equals sign", "CN", "(null)"},
    {"no keyword", "=a", "(null)"},
    {"two words for a keyword", "C N=a", "(null)"},
    {"unknown keyword", "XX=a", "(null)"},
    {"an unknown keyword in the second RDN", "CN=a,XX=a", "(null)"},

    {"spaces before the comma go, those at the end stay", "CN=a  ,O=b  ", "CN=a,O=b  "},
    {"inner spaces stay", "CN=a  b,O=c", "CN=a  b,O=c"},
    {"what starts a value belongs to it", "CN=,O=b", "CN=\\,O\\=b"},
    {"also a semicolon", "CN= ;a,O=b", "CN=\\;a,O=b"},

    {"escaped comma and semicolon", "CN=a\\,b\\;c,O=d", "CN=a\\,b\\;c,O=d"},
    {"an escape that was not needed", "CN=\\a\\b,O=c", "CN=ab,O=c"},
    {"an escaped backslash escapes what follows", "CN=a\\\\,b", "CN=a\\,b"},
    {"a backslash at the end stays", "CN=a\\", "CN=a\\"},
    {"a quote inside is a character", "CN=a\"b", "CN=a\"b"},
    {"escaped quote first", "CN=\\\"a,O=b", "CN=\"a,O=b"},

    {"quoted comma", "CN=\"a,b\",O=c", "CN=a\\,b,O=c"},
    {"quoted spaces are not trimmed", "CN=\" a \",O=c", "CN= a ,O=c"},
    {"escaped quote in quotes", "CN=\"a\\\"b\",O=c", "CN=a\"b,O=c"},
    {"an empty quoted value", "CN=\"\",O=c", "CN=,O=c"},
    {"quoted value at the end", "CN=\"a\"", "CN=a"},
    {"one character behind the quote is dropped", "CN=\"a\" O=b,C=d", "CN=a+O=b,C=d"},
    {"any character", "CN=\"a\"xO=b", "CN=a+O=b"},
    {"but the key needs the rest", "CN=\"a\" x,O=b", "(null)"},
    {"no closing quote", "CN=\"a", "(null)"},

    {"five assertions", "CN=1+CN=2+CN=3+CN=4+CN=5,O=a", "CN=1+CN=2+CN=3+CN=4+CN=5,O=a"},
    {"six assertions", "CN=1+CN=2+CN=3+CN=4+CN=5+CN=6,O=a", "(null)"},

    {"a dotted type that has a keyword", "OID.2.5.4.3=a", "CN=a"},
    {"one that has none", "oid.1.2.3.4=a", "OID.1.2.3.4=a"},
    {"a trailing dot", "OID.1.2.3.=a", "OID.1.2.3=a"},
    {"no arcs", "OID.=a", "OID.0.0=a"},
    {"first arcs above 127 together", "OID.2.999.1=a", "OID.2.999.1=a"},
    {"eleven arcs", "OID.1.2.3.4.5.6.7.8.9.10.11=a", "OID.1.2.3.4.5.6.7.8.9.10.11=a"},
    {"twelve arcs", "OID.1.2.3.4.5.6.7.8.9.10.11.12=a", "(null)"},
    {"arcs wrap at 32 bits", "OID.1.2.4294967297=a", "OID.1.2.1=a"},
    {"the largest arc", "OID.1.2.4294967295=a", "OID.1.2.4294967295=a"},
    {"no digits between dots", "OID.1..2=a", "(null)"},
    {"a letter", "OID.1.2.x=a", "(null)"},
    {"no dot behind the word", "OID1.2.3=a", "(null)"},
};

TEST(DnParse, ReadsAndPrints) {
  for (const auto &c : kParseCases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.printed, TextOf(sxDN(c.text)));
  }
  EXPECT_EQ("(null)", TextOf(sxDN(static_cast<const char *>(nullptr))));
}

TEST(DnParse, SaysWhatItCannotRead) {
  LogCapture log;
  sxDN("CN=1+CN=2+CN=3+CN=4+CN=5+CN=6");
  EXPECT_TRUE(log.Has("dn_explode_prefix: Too many assertions in prefix. 5 5"));
  sxDN("OID.1.2.x.4=a");
  EXPECT_TRUE(log.Has("sxNUM2OID: parse error at x.4"));
  sxDN("OID.1.2.3.4.5.6.7.8.9.10.11.12=a");
  EXPECT_TRUE(log.Has("sxNUM2OID: parse error at 12"));
  log.Clear();
  sxDN("XX=a");
  EXPECT_TRUE(log.Lines().empty());
}

TEST(DnParse, TokenizerGivesOneRdnAndTheRest) {
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

// The alternative and octets of the value that a text becomes.
const struct { const char *what; const sxAsnOid *type; const char *text; int choice; } kValueCases[] = {
    {"letters and digits", &sxASN_id_at_commonName, "azAZ09", sxASN_AttributeValue::printableStringCid},
    {"the other printable characters", &sxASN_id_at_commonName, "'\"()+,-./:=? ",
     sxASN_AttributeValue::printableStringCid},
    {"nothing", &sxASN_id_at_commonName, "", sxASN_AttributeValue::printableStringCid},
    {"at sign", &sxASN_id_at_commonName, "a@b", sxASN_AttributeValue::utf8StringCid},
    {"asterisk", &sxASN_id_at_commonName, "*", sxASN_AttributeValue::utf8StringCid},
    {"underscore", &sxASN_id_at_commonName, "a_b", sxASN_AttributeValue::utf8StringCid},
    {"beyond ASCII", &sxASN_id_at_organizationName, "\xC3\xA4", sxASN_AttributeValue::utf8StringCid},
    {"mail addresses always", &sxASN_emailAddress, "a@b", sxASN_AttributeValue::ia5StringCid},
    {"domain components always", &sxASN_id_dc, "\xC3\xA4", sxASN_AttributeValue::ia5StringCid},
};

TEST(DnParse, ChoosesTheStringTypeByTheText) {
  for (const auto &c : kValueCases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<sxASN_AttributeValue> value(sxStr2AttrVal(*c.type, c.text));
    ASSERT_NE(nullptr, value);
    EXPECT_EQ(c.choice, value->ChoiceId());
    const auto *string = static_cast<const sxAsnOcts *>(value->Value());
    EXPECT_EQ(c.text, std::string(reinterpret_cast<const char *>(string->Data()), static_cast<size_t>(string->Len())));
  }
  EXPECT_EQ(nullptr, sxStr2AttrVal(sxASN_id_dc, nullptr));
}

TEST(DnParse, KeywordsMapBothWays) {
  for (const char *keyword : {"CN", "C", "ST", "O", "OU", "L", "T", "serialNumber", "STREET", "DC", "Email", "UID",
                              "principalName", "OID.1.2.3"}) {
    SCOPED_TRACE(keyword);
    const std::unique_ptr<sxAsnOid> type(sxDN_Str2OID(keyword));
    ASSERT_NE(nullptr, type);
    char text[32];
    EXPECT_EQ(static_cast<int>(std::string(keyword).size()), sxDN_OID2Str(*type, text, sizeof text));
    EXPECT_STREQ(keyword, text);
    EXPECT_EQ(-1, sxDN_OID2Str(*type, text, static_cast<int>(std::string(keyword).size())));
  }
  const std::unique_ptr<sxAsnOid> mail(sxDN_Str2OID("EMAIL"));
  ASSERT_NE(nullptr, mail);
  EXPECT_EQ("2a864886f70d010901", EncodeHex(mail->Data(), static_cast<size_t>(mail->Len())));
  EXPECT_EQ(nullptr, sxDN_Str2OID(nullptr));
  EXPECT_EQ(nullptr, sxDN_Str2OID(""));
}

// The setting is read once per process, so each case runs in one of its own.
// Without value there is no file.
constexpr struct { const char *what; const char *value; int choice; const char *logged; } kSettingCases[] = {
    {"no file", nullptr, sxASN_AttributeValue::utf8StringCid,
     "get_bc_ds_choiceID: Failed to open registry;  using default"},
    {"no such value", "(:other (1))", sxASN_AttributeValue::utf8StringCid, ""},
    {"zero", "(:bc_DirectoryString_choiceID (0))", sxASN_AttributeValue::utf8StringCid, ""},
    {"one", "(:bc_DirectoryString_choiceID (1))", sxASN_AttributeValue::teletexStringCid, ""},
    {"two", "(:bc_DirectoryString_choiceID (2))", sxASN_AttributeValue::utf8StringCid,
     "get_bc_ds_choiceID: Invalid value in registry; using default"},
};

[[noreturn]] void ExitWithTheChoice() {
  dodebugprt = 1;
  const std::unique_ptr<sxASN_AttributeValue> value(sxStr2AttrVal(sxASN_id_at_commonName, "a_b"));
  std::_Exit(value->ChoiceId() == get_bc_ds_choiceID() ? value->ChoiceId() : 99);
}

TEST(DnParseDeathTest, TheRegistryChoosesTheStringType) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const auto &c : kSettingCases) {
    SCOPED_TRACE(c.what);
    const TempDir dir;
    const ScopedEnv env("KXCERT_CONF_DIR", dir.Path().c_str());
    if (c.value != nullptr) {
      dir.Write("registry", "(:SOFTWARE (:Norvane (:Tarnel " + std::string(c.value) + ")))");
    }
    EXPECT_EXIT(ExitWithTheChoice(), testing::ExitedWithCode(c.choice), c.logged);
  }
}

}  // namespace
