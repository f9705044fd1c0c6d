// General names, lists of them, and lists of names.
#include "kxcert/cert/sxGeneralName.h"

#include <gmock/gmock.h>

#include <ctime>

#include "support/rows.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "support/asnHex.h"
#include "support/printed.h"

using testing::ElementsAre;

namespace {

sxGeneralName Named(sxGNtype type, const std::string &text) { return {type, text.data(), static_cast<int>(text.size())}; }
sxGeneralName Other(const sxAsnOid &oid, const std::string &text) {
  return {&oid, text.data(), static_cast<int>(text.size())};
}
sxGeneralName FromDer(const std::string &notation) {
  sxASN_GeneralName name;
  EXPECT_EQ(0, DecodeOctets(CaseOctets(notation), name));
  return sxGeneralName(&name);
}
std::string StrOf(const sxGeneralName &name) {
  const sxString text = name.GetStr();
  return {text.getstr(), static_cast<size_t>(text.length())};
}
sxGeneralNames DnsNames(const std::vector<const char *> &texts) {
  sxGeneralNames names;
  for (const char *text : texts) {
    const sxGeneralName name = Named(sxGN_dns, text);
    names.Add(&name);
  }
  return names;
}

// What there is of it is its line without the label; and its encoding comes back in a list.
std::string Read(const CaseRow &row) {
  const sxGeneralName name = FromDer(row[1]);
  sxGeneralNames names;
  names.Add(&name);
  Octets der(100);
  const int derLen = names.DerEncode(der.data(), LenOf(der));
  const std::string line = Sprinted(name, 0);
  name.Sprint(nullptr, 0);
  EXPECT_EQ("\t\t" + line, Sprinted(name, 2));
  if (name.GetType() < 0) {
    EXPECT_EQ(-1, derLen);
    EXPECT_EQ("", StrOf(name));
  } else {
    EXPECT_EQ(derLen, names.DerEncode(nullptr, 0));
    EXPECT_EQ(-1, names.DerEncode(der.data(), derLen - 1));
    der.resize(static_cast<size_t>(derLen));
    EXPECT_EQ(CaseOctets("30{" + row[1] + "}"), der);
    const bool isPlain = StrOf(name).find('\n') == std::string::npos;
    EXPECT_TRUE(!isPlain || line.ends_with(": " + StrOf(name) + "\n")) << StrOf(name);
  }
  return std::to_string(name.GetType()) + " " + OnOneLine(line);
}

TEST(sxGeneralName, ReadsComparesAndPrints) {
  ExpectRows("cert/general-names.txt", 4, {
      {"read", Read},
      {"equal", [](const CaseRow &row) {
         const sxGeneralName a = FromDer(row[1]), b = FromDer(row[2]);
         EXPECT_EQ(a.Equal(&b), b.Equal(&a));
         return std::to_string(a.Equal(&b));
       }},
  });
  const sxGeneralName host = Named(sxGN_dns, "host");
  const sxGeneralName withNul = Named(sxGN_dns, std::string("host\0", 5));
  EXPECT_FALSE(host.Equal(nullptr));
  EXPECT_FALSE(host.Equal(&withNul));
  // Other names want the same OID object.
  const sxAsnOid ownOid(sxASN_id_principalName), unknown({1, 2, 3, 4});
  const sxGeneralName one = Other(sxASN_id_principalName, "u@x"), equalOid = Other(ownOid, "u@x");
  EXPECT_FALSE(one.Equal(&equalOid));
  EXPECT_EQ(&sxASN_id_principalName, FromDer("a0{06{2b060104018237140203} a0{0c{\"u\"}}}").GetOtherOid());
  EXPECT_EQ("Other Name: OID.1.2.3.4: u\n", Sprinted(Other(unknown, "u"), 0));
}

TEST(sxGeneralName, ConstructorsAcceptTheirKindsAlone) {
  for (int kind = -1; kind <= 9; ++kind) {
    const bool isText = kind == 1 || kind == 2 || kind == 6;
    EXPECT_EQ(isText ? kind : -1, Named(static_cast<sxGNtype>(kind), "x").GetType()) << kind;
  }
  const sxDN noName;
  const sxGeneralName none[] = {{}, {sxGN_dns, nullptr, 1}, {sxGN_dns, "x", -1},
                                {static_cast<const sxAsnOid *>(nullptr), "x", 1},
                                sxGeneralName(static_cast<const sxDN *>(nullptr)), sxGeneralName(&noName)};
  for (const sxGeneralName &name : none) EXPECT_EQ(-1, name.GetType());
  EXPECT_EQ("host", StrOf(sxGeneralName(sxGN_dns, "hostname", 4)));
  const sxGeneralName address(0xC0000201UL);   // read from its high octet
  EXPECT_EQ("192.0.2.1", StrOf(address));
  EXPECT_EQ(0xC0000201UL, address.GetIP());
  ASSERT_NE(nullptr, address.GetIPAddr());
  EXPECT_EQ(192, address.GetIPAddr()->octets[0]);
  EXPECT_EQ(nullptr, address.GetIP6());
}

TEST(sxGeneralName, OtherNameTextIsCutAt1255) {
  const std::string prefix = "principalName: ";
  for (const size_t len : {1255 - prefix.size(), 1256 - prefix.size(), size_t{5000}}) {
    const std::string value(len, 'v');
    EXPECT_EQ((prefix + value).substr(0, 1255), StrOf(Other(sxASN_id_principalName, value)));
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
  copy = *&copy;
  EXPECT_EQ("CN=a", StrOf(copy));
}

TEST(sxGeneralNames, AddsCopiesOnlyOnceWhenAsked) {
  sxGeneralNames names = DnsNames({"a", "b"});
  const sxGeneralName *first = names.Get(0);
  names.Add(nullptr);
  names.Add(names.Get(0));
  EXPECT_EQ(3, names.Count());
  const sxGeneralNames more = DnsNames({"b", "c", "c", "A"});
  names.Add_IfNotExist(&more);
  EXPECT_EQ(5, names.Count());
  EXPECT_EQ(first, names.Get(0));   // what was lent stays where it is
  for (const int outside : {-1, 5}) EXPECT_EQ(nullptr, names.Get(outside));

  sxGeneralNames itself = DnsNames({"a"});
  const sxGeneralName equalsNothing;
  itself.Add(&equalsNothing);
  itself.Add_IfNotExist(&itself);   // ends
  EXPECT_EQ(3, itself.Count());

  // Names of every kind that has equals, twice; many of them, as comparing each with each takes minutes.
  const sxAsnOid oid({1, 2, 3});
  sxGeneralNames all;
  const std::clock_t start = std::clock();
  for (int i = 0; i < 2 * 20000; ++i) {
    const unsigned number = static_cast<unsigned>(i % 20000);
    const std::string text = std::to_string(number);
    const in6_addr_kxt ip6 = {{static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)}};
    const sxDN dn(((i < 20000 ? "CN=a,O=" : "cn=A,o= ") + text).c_str());
    const sxGeneralName kinds[] = {Named(sxGN_dns, text), sxGeneralName(number), sxGeneralName(ip6),
                                   sxGeneralName(&dn), Other(oid, text)};
    all.Add_IfNotExist(&kinds[number % 5]);
  }
  EXPECT_EQ(20000, all.Count());
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

TEST(sxGeneralNames, MatchesAnyWithAnyAndFindsTheFirstOfAKind) {
  sxGeneralNames names = DnsNames({"a", "b"});
  const sxGeneralName b = Named(sxGN_dns, "b"), c = Named(sxGN_dns, "c");
  EXPECT_EQ(1, names.Match(&b));
  EXPECT_EQ(0, names.Match(&c));
  EXPECT_EQ(1, names.Match(DnsNames({"c", "b"})));
  EXPECT_EQ(0, names.Match(DnsNames({"c"})));
  EXPECT_EQ(0, names.Match(sxGeneralNames()));
  EXPECT_EQ(0, sxGeneralNames().Match(names));

  const sxAsnOid otherOid({1, 2, 3}), principalOid(sxASN_id_principalName);   // equal by value, another object
  const sxGeneralName other = Other(otherOid, "o"), principal = Other(sxASN_id_principalName, "p");
  names.Add(&other);
  names.Add(&principal);
  EXPECT_EQ(names.Get(0), names.GetFirstOfType(sxGN_dns));
  EXPECT_EQ(names.Get(3), names.GetFirstOfType(sxGN_other, &principalOid));
  EXPECT_EQ(nullptr, names.GetFirstOfType(sxGN_other, nullptr));
  EXPECT_EQ(nullptr, names.GetFirstOfType(sxGN_other, &sxASN_id_ad_ocsp));
  EXPECT_EQ(nullptr, names.GetFirstOfType(sxGN_uri));
}

TEST(sxGeneralNames, PrintsTitleAndNamesAtOneIndent) {
  const sxGeneralNames names = DnsNames({"a", "b"}), empty;
  EXPECT_EQ("\tNames:\n\tDNS: a\n\tDNS: b\n", Fprinted(names, "Names", 1));
  EXPECT_EQ("DNS: a\nDNS: b\n", Fprinted(names, nullptr, 0));
  EXPECT_EQ("", Fprinted(empty, "Names", 1));
  names.Sprint(nullptr, "Names", 1);
  EXPECT_EQ("", Fprinted(sxDNList(), "Names", 1));
  LogCapture log;
  empty.Herror("Names");
  sxDNList().Herror("Names");
  names.Herror("Names");
  EXPECT_THAT(log.Lines(), ElementsAre("Names:\nDNS: a\nDNS: b\n"));
}

TEST(sxDNList, EncodesDecodesAndPrints) {
  sxDNList list;
  const sxDN first("CN=a,C=DE"), second("O=b"), noName;
  for (const sxDN *dn : {&first, static_cast<const sxDN *>(nullptr), &second}) list.Add(dn);
  unsigned char der[200];
  const int derLen = list.DerEncode(der, sizeof der);
  ASSERT_LT(0, derLen);
  EXPECT_EQ(derLen, list.DerEncode(nullptr, 0));
  EXPECT_EQ(-1, list.DerEncode(der, derLen - 1));
  sxDNList decoded;
  ASSERT_EQ(0, decoded.DerDecode(der, derLen));
  ASSERT_EQ(2, decoded.Count());
  EXPECT_TRUE(decoded.Get(0)->Equal(first) && decoded.Get(1)->Equal(second));
  EXPECT_EQ(nullptr, decoded.Get(2));
  EXPECT_EQ("\tDNs:\n\tCN=a,C=DE\n\tO=b\n", Fprinted(decoded, "DNs", 1));
  EXPECT_EQ("CN=a,C=DE\nO=b\n", Fprinted(decoded, nullptr, 0));
  decoded.Sprint(nullptr, "DNs", 1);
  LogCapture log;
  decoded.Herror("DNs");
  EXPECT_THAT(log.Lines(), ElementsAre("DNs:", "CN=a,C=DE", "O=b"));
  for (int len = -1; len < derLen; ++len) EXPECT_EQ(-1, decoded.DerDecode(der, len)) << len;
  EXPECT_EQ(2, decoded.Count());   // as it was
  list.Add(&noName);
  EXPECT_EQ(-1, list.DerEncode(nullptr, 0));
}

}  // namespace
