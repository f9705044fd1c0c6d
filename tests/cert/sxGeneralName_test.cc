// General names, lists of them, and lists of names.
#include "kxcert/cert/sxGeneralName.h"

#include <ctime>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "support/asnHex.h"
#include "support/printed.h"
#include "support/script.h"

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
sxGeneralNames DnsNames(const std::vector<std::string> &texts) {
  sxGeneralNames names;
  for (const std::string &text : texts) {
    const sxGeneralName name = Named(sxGN_dns, text);
    names.Add(&name);
  }
  return names;
}

// What a list encodes to; also when only measured, and not into an octet less.
template <class List>
Octets DerOfList(const List &list) {
  Octets der(200);
  const int len = list.DerEncode(der.data(), LenOf(der));
  EXPECT_EQ(len, list.DerEncode(nullptr, 0));
  EXPECT_EQ(-1, list.DerEncode(der.data(), len - 1));
  der.resize(static_cast<size_t>(len < 0 ? 0 : len));
  return der;
}

// What there is of it is its line without the label; and its encoding comes back in a list.
std::string Read(const CaseRow &row) {
  const sxGeneralName name = FromDer(row[1]);
  sxGeneralNames names;
  names.Add(&name);
  const std::string line = Sprinted(name, 0);
  name.Sprint(nullptr, 0);
  EXPECT_EQ("\t\t" + line, Sprinted(name, 2));
  if (name.GetType() < 0) {
    EXPECT_EQ(-1, names.DerEncode(nullptr, 0));
    EXPECT_EQ("", StrOf(name));
  } else {
    EXPECT_EQ(CaseOctets("30{" + row[1] + "}"), DerOfList(names));
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
}

// All that print a list.
template <class List>
Script &OnPrintsOf(Script &script, const std::string &ofWhat) {
  return script
      .On("print" + ofWhat, [](const List &list, const char *title, int indent) {
        list.Sprint(nullptr, title, indent);
        return OnOneLine(Fprinted(list, title, indent));
      })
      .On("herror" + ofWhat, [](const List &list, const char *title) { list.Herror(title); });
}

TEST(sxGeneralNames, DoWhatTheStepsSay) {
  using Name = sxGeneralName;
  using Names = sxGeneralNames;
  Script script;
  OnPrintsOf<Names>(script, "");
  OnPrintsOf<sxDNList>(script, "Dns")
      .OnCopiesOf<Name>()
      .On("Oid", [](const char *dotted) { return OidOf(dotted); })
      .On("principalOid", [] { return &sxASN_id_principalName; })
      .On("Dn", [](const char *text) { return sxDN(text); })
      .On("NoDn", [] { return sxDN(); })
      .On("None", [] { return Name(); })
      .On("Name", Named)
      .On("OfLen", [](sxGNtype type, const char *text, int len) { return Name(type, text, len); })
      .On("Other", [](const sxAsnOid *oid, const std::string &text) {
        return Name(oid, text.data(), static_cast<int>(text.size()));
      })
      .On("OfDn", [](const sxDN *dn) { return Name(dn); })
      .On("OfIp", [](unsigned long ip) { return Name(ip); })
      .On("Read", [](const std::string &notation) { return FromDer(notation); })
      .On("type", &Name::GetType)
      .On("text", StrOf)
      .On("line", [](const Name &name) { return OnOneLine(Sprinted(name, 0)); })
      .On("equal", &Name::Equal)
      .On("dn", &Name::GetDN)
      .On("ip", &Name::GetIP)
      .On("hasIp6", [](const Name &name) { return name.GetIP6() != nullptr; })
      .On("firstOfIp", [](const Name &name) { return int{name.GetIPAddr()->octets[0]}; })
      .On("otherOid", &Name::GetOtherOid)
      .On("Names", DnsNames)
      .On("add", &Names::Add)
      .On("addMissing", [](Names &names, const Names &more) { names.Add_IfNotExist(&more); })
      .On("count", &Names::Count)
      .On("get", &Names::Get)
      .On("match", [](const Names &names, const Name *name) { return names.Match(name); })
      .On("matchAny", [](const Names &names, const Names &others) { return names.Match(others); })
      .On("first", [](const Names &names, sxGNtype type) { return names.GetFirstOfType(type); })
      .On("firstOther", &Names::GetFirstOfType)
      .On("Dns", [] { return sxDNList(); })
      .On("addDn", &sxDNList::Add)
      .On("countDns", &sxDNList::Count)
      .On("getDn", &sxDNList::Get)
      .On("equalDns", [](const sxDN &a, const sxDN &b) { return a.Equal(b); })
      .On("recode", [](sxDNList &to, const sxDNList &from) {   // shorter prefixes leave it as it was
        const Octets der = DerOfList(from);
        EXPECT_EQ(0, to.DerDecode(der.data(), LenOf(der)));
        for (int len = -1; len < LenOf(der); ++len) EXPECT_EQ(-1, to.DerDecode(der.data(), len)) << len;
      })
      .On("measure", [](const sxDNList &list) { return list.DerEncode(nullptr, 0); })
      .Run("cert/general-names.steps");
}

TEST(sxGeneralName, ConstructorsAcceptTheirKindsAlone) {
  for (int kind = -1; kind <= 9; ++kind) {
    const bool isText = kind == 1 || kind == 2 || kind == 6;
    EXPECT_EQ(isText ? kind : -1, Named(static_cast<sxGNtype>(kind), "x").GetType()) << kind;
  }
}

TEST(sxGeneralName, OtherNameTextIsCutAt1255) {
  const std::string prefix = "principalName: ";
  for (const size_t len : {1255 - prefix.size(), 1256 - prefix.size(), size_t{5000}}) {
    const std::string value(len, 'v');
    EXPECT_EQ((prefix + value).substr(0, 1255), StrOf(Other(sxASN_id_principalName, value)));
  }
}

// Names of every kind that has equals, twice; many of them, as comparing each with each takes minutes.
TEST(sxGeneralNames, ManyAreAddedInLittleTime) {
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

}  // namespace
