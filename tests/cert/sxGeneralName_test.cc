#include "kxcert/cert/sxGeneralName.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "support/hexOctets.h"
#include "support/printed.h"

namespace {

sxGeneralName Text(sxGNtype type, const char *text) { return {type, text, static_cast<int>(std::strlen(text))}; }

sxGeneralName Principal(const sxAsnOid &oid, const std::string &text) {
  return {&oid, text.data(), static_cast<int>(text.size())};
}

sxGeneralName FromDer(const char *hex) {
  const std::vector<unsigned char> der = DecodeHex(hex);
  sxASN_GeneralName name;
  EXPECT_EQ(0, sxASN_DecodeBuf(name, reinterpret_cast<const char *>(der.data()), static_cast<int>(der.size())));
  return sxGeneralName(&name);
}

std::string StrOf(const sxGeneralName &name) {
  const sxString text = name.GetStr();
  return {text.getstr(), static_cast<size_t>(text.length())};
}

constexpr struct { const char *what; const char *hex; int kind; const char *text; } kDerCases[] = {
    {"e-mail", "8103614062", 1, "a@b"},
    {"DNS", "8203682e65", 2, "h.e"},
    {"DNS, empty", "8200", 2, ""},
    {"DNS, NUL inside", "8204670065 76", -1, ""},
    {"DNS, NUL at its end", "82026700", -1, ""},
    {"URI", "8603753a78", 6, "u:x"},
    {"directory name", "a40e 300c 310a 3008 0603550403 130161", 4, "CN=a"},
    {"directory name, empty", "a402 3000", 4, ""},
    {"IPv4", "8704c0000201", 7, "192.0.2.1"},
    {"IPv6", "8710 20010db8 00000000 00000000 00000001", 8, "2001:db8::1"},
    {"no address", "8700", -1, ""},
    {"address of 3 octets", "8703c00002", -1, ""},
    {"address and mask of IPv4", "8708c0000200ffffff00", -1, ""},
    {"address of 17 octets", "8711 20010db8 00000000 00000000 0000000100", -1, ""},
    {"principal name", "a013 060a2b060104018237140203 a005 0c03754078", 0, "principalName: u@x"},
    {"principal name, empty", "a010 060a2b060104018237140203 a002 0c00", 0, "principalName: "},
    {"principal name of another string type", "a013 060a2b060104018237140203 a005 1603754078", -1, ""},
    {"principal name, NUL inside", "a013 060a2b060104018237140203 a005 0c03750078", -1, ""},
    {"other name of another type", "a00b 06022a03 a005 0c03754078", -1, ""},
    {"X.400 address", "a3020500", -1, ""},
    {"EDI party", "a505 a103 130161", -1, ""},
    {"registered ID", "8803550403", -1, ""},
};

TEST(sxGeneralName, ReadsAsn1AndWritesItBack) {
  for (const auto &c : kDerCases) {
    SCOPED_TRACE(c.what);
    const sxGeneralName name = FromDer(c.hex);
    ASSERT_EQ(c.kind, name.GetType());
    EXPECT_EQ(c.text, StrOf(name));
    EXPECT_EQ(c.kind >= 0, name.Equal(&name));
    sxGeneralNames names;
    names.Add(&name);
    unsigned char der[100];
    const int derLen = names.DerEncode(der, sizeof der);
    if (c.kind < 0) {
      EXPECT_EQ(-1, derLen);
      continue;
    }
    const std::string content = EncodeHex(DecodeHex(c.hex));
    char header[12];
    std::snprintf(header, sizeof header, "30%02x", static_cast<unsigned>(content.size() / 2));
    ASSERT_LT(0, derLen);
    EXPECT_EQ(header + content, EncodeHex(der, static_cast<size_t>(derLen)));
    EXPECT_EQ(derLen, names.DerEncode(nullptr, 0));
    EXPECT_EQ(-1, names.DerEncode(der, derLen - 1));
  }
}

TEST(sxGeneralName, ConstructorsAcceptTheirKindsAlone) {
  for (int kind = -1; kind <= 9; ++kind) {
    const bool isText = kind == 1 || kind == 2 || kind == 6;
    EXPECT_EQ(isText ? kind : -1, Text(static_cast<sxGNtype>(kind), "x").GetType()) << kind;
  }
  EXPECT_EQ(-1, sxGeneralName().GetType());
  EXPECT_EQ(-1, sxGeneralName(sxGN_dns, nullptr, 1).GetType());
  EXPECT_EQ(-1, sxGeneralName(sxGN_dns, "x", -1).GetType());
  EXPECT_EQ(-1, sxGeneralName(static_cast<const sxAsnOid *>(nullptr), "x", 1).GetType());
  EXPECT_EQ(-1, sxGeneralName(static_cast<const sxDN *>(nullptr)).GetType());
  const sxDN noName;
  EXPECT_EQ(-1, sxGeneralName(&noName).GetType());
  EXPECT_EQ("host", StrOf(sxGeneralName(sxGN_dns, "hostname", 4)));
}

TEST(sxGeneralName, Ipv4NumberIsReadFromItsHighOctet) {
  const sxGeneralName name(0xC0000201UL);
  EXPECT_EQ("192.0.2.1", StrOf(name));
  EXPECT_EQ(0xC0000201UL, name.GetIP());
  ASSERT_NE(nullptr, name.GetIPAddr());
  EXPECT_EQ(192, name.GetIPAddr()->octets[0]);
  EXPECT_EQ(nullptr, name.GetIP6());
}

TEST(sxGeneralName, EqualityIsExact) {
  const sxGeneralName host = Text(sxGN_dns, "host.example");
  EXPECT_TRUE(host.Equal(&host));
  EXPECT_FALSE(host.Equal(nullptr));
  const sxGeneralName others[] = {Text(sxGN_dns, "Host.example"), Text(sxGN_uri, "host.example"),
                                  Text(sxGN_dns, "host.exampl"), sxGeneralName(sxGN_dns, "host.example\0", 13)};
  for (const sxGeneralName &other : others) EXPECT_FALSE(host.Equal(&other)) << Sprinted(other, 0);

  const sxGeneralName ip(0xC0000201UL), otherIp(0xC0000202UL);
  EXPECT_FALSE(ip.Equal(&otherIp));
  const sxGeneralName ip6 = FromDer("8710 20010db8 00000000 00000000 00000001");
  const sxGeneralName otherIp6 = FromDer("8710 20010db8 00000000 00000000 00000002");
  EXPECT_TRUE(ip6.Equal(&ip6));
  EXPECT_FALSE(ip6.Equal(&otherIp6));

  const sxDN upper("CN=A B,C=DE"), lower("cn=a  b,c=de");
  const sxGeneralName upperName(&upper), lowerName(&lower);
  EXPECT_TRUE(upperName.Equal(&lowerName));

  // Other names want the same OID object.
  const sxAsnOid ownOid(sxASN_id_principalName);
  const sxGeneralName one = Principal(sxASN_id_principalName, "u@x"), same = Principal(sxASN_id_principalName, "u@x");
  const sxGeneralName equalOid = Principal(ownOid, "u@x"), otherText = Principal(sxASN_id_principalName, "U@x");
  EXPECT_TRUE(one.Equal(&same));
  EXPECT_FALSE(one.Equal(&equalOid));
  EXPECT_FALSE(one.Equal(&otherText));
  EXPECT_EQ(&sxASN_id_principalName, FromDer("a013 060a2b060104018237140203 a005 0c03754078").GetOtherOid());
}

TEST(sxGeneralName, PrintsOneLineForEachKind) {
  const sxDN dn("CN=a,C=DE");
  const sxAsnOid unknown({1, 2, 3, 4});
  EXPECT_EQ("\tOther Name: principalName: u@x\n", Sprinted(Principal(sxASN_id_principalName, "u@x"), 1));
  EXPECT_EQ("Other Name: OID.1.2.3.4: u\n", Sprinted(Principal(unknown, "u"), 0));
  EXPECT_EQ("Email: a@b\n", Sprinted(Text(sxGN_email, "a@b"), 0));
  EXPECT_EQ("DNS: h\n", Sprinted(Text(sxGN_dns, "h"), 0));
  EXPECT_EQ("DN: CN=a,C=DE\n", Sprinted(sxGeneralName(&dn), 0));
  EXPECT_EQ("URI: u\n", Sprinted(Text(sxGN_uri, "u"), 0));
  EXPECT_EQ("\t\tIP: 1.2.3.4\n", Sprinted(sxGeneralName(0x01020304UL), 2));
  EXPECT_EQ("IP6: ::\n", Sprinted(sxGeneralName(in6_addr_kxt{}), 0));
  EXPECT_EQ("\tError in general name. type = -1\n", Sprinted(sxGeneralName(), 1));
  EXPECT_EQ("DNS: h.DNS: i.[2J\n", Sprinted(Text(sxGN_dns, "h\nDNS: i\x1b[2J"), 0));
}

TEST(sxGeneralName, OtherNameTextIsCutAt1255) {
  const std::string prefix = "principalName: ";
  for (const size_t len : {1255 - prefix.size(), 1256 - prefix.size(), size_t{5000}}) {
    const std::string value(len, 'v');
    EXPECT_EQ((prefix + value).substr(0, 1255), StrOf(Principal(sxASN_id_principalName, value)));
  }
}

TEST(sxGeneralName, CopiesShareNothing) {
  const sxDN dn("CN=a");
  sxGeneralName copy;
  {
    const sxGeneralName original(&dn);
    copy = original;
    EXPECT_NE(original.GetDN(), copy.GetDN());
  }
  EXPECT_EQ("CN=a", StrOf(copy));
  copy = *&copy;
  EXPECT_EQ("CN=a", StrOf(copy));
}

}  // namespace
