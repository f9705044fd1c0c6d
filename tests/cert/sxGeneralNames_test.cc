#include <gmock/gmock.h>

#include <cstring>
#include <ctime>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/printed.h"

using testing::ElementsAre;

namespace {

sxGeneralName Dns(const char *text) { return {sxGN_dns, text, static_cast<int>(std::strlen(text))}; }

sxGeneralNames DnsNames(const std::vector<const char *> &texts) {
  sxGeneralNames names;
  for (const char *text : texts) {
    const sxGeneralName name = Dns(text);
    names.Add(&name);
  }
  return names;
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
    const sxGeneralName kinds[] = {Dns(text.c_str()), sxGeneralName(number), sxGeneralName(ip6), sxGeneralName(&dn),
                                   sxGeneralName(&oid, text.c_str(), static_cast<int>(text.size()))};
    all.Add_IfNotExist(&kinds[number % 5]);
  }
  EXPECT_EQ(20000, all.Count());
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

TEST(sxGeneralNames, MatchesAnyWithAny) {
  const sxGeneralNames names = DnsNames({"a", "b"});
  const sxGeneralName b = Dns("b"), c = Dns("c");
  EXPECT_EQ(1, names.Match(&b));
  EXPECT_EQ(0, names.Match(&c));
  EXPECT_EQ(1, names.Match(DnsNames({"c", "b"})));
  EXPECT_EQ(0, names.Match(DnsNames({"c"})));
  EXPECT_EQ(0, names.Match(sxGeneralNames()));
  EXPECT_EQ(0, sxGeneralNames().Match(names));
}

TEST(sxGeneralNames, FindsTheFirstOfAKind) {
  const sxAsnOid otherOid({1, 2, 3});
  const sxAsnOid principalOid(sxASN_id_principalName);   // equal by value, another object
  sxGeneralNames names = DnsNames({"a", "b"});
  const sxGeneralName other(&otherOid, "o", 1), principal(&sxASN_id_principalName, "p", 1);
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
  EXPECT_EQ("", Fprinted(sxDNList(), "Names", 1));
  LogCapture log;
  empty.Herror("Names");
  sxDNList().Herror("Names");
  names.Herror("Names");
  EXPECT_THAT(log.Lines(), ElementsAre("Names:\nDNS: a\nDNS: b\n"));
}

TEST(sxDNList, EncodesDecodesAndPrints) {
  sxDNList list;
  const sxDN first("CN=a,C=DE"), second("O=b");
  list.Add(&first);
  list.Add(nullptr);
  list.Add(&second);
  unsigned char der[200];
  const int derLen = list.DerEncode(der, sizeof der);
  ASSERT_LT(0, derLen);
  EXPECT_EQ(derLen, list.DerEncode(nullptr, 0));
  EXPECT_EQ(-1, list.DerEncode(der, derLen - 1));
  sxDNList decoded;
  ASSERT_EQ(0, decoded.DerDecode(der, derLen));
  ASSERT_EQ(2, decoded.Count());
  EXPECT_TRUE(decoded.Get(0)->Equal(first));
  EXPECT_TRUE(decoded.Get(1)->Equal(second));
  EXPECT_EQ(nullptr, decoded.Get(2));
  EXPECT_EQ("\tDNs:\n\tCN=a,C=DE\n\tO=b\n", Fprinted(decoded, "DNs", 1));
  EXPECT_EQ("CN=a,C=DE\nO=b\n", Fprinted(decoded, nullptr, 0));
  LogCapture log;
  decoded.Herror("DNs");
  EXPECT_THAT(log.Lines(), ElementsAre("DNs:", "CN=a,C=DE", "O=b"));

  for (int len = -1; len < derLen; ++len) EXPECT_EQ(-1, decoded.DerDecode(der, len)) << len;
  EXPECT_EQ(2, decoded.Count());   // as it was
  const sxDN noName;
  list.Add(&noName);
  EXPECT_EQ(-1, list.DerEncode(nullptr, 0));
}

}  // namespace
