#include "kxcert/cert/issuedExtensions.h"

#include <random>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/printed.h"
#include "support/rows.h"

namespace {

using ExtPtr = std::unique_ptr<sxExtension>;

const std::map<std::string, const sxAsnOid *> kKinds = {
    {"policies", &sxASN_id_ce_certificatePolicies},
    {"mappings", &sxASN_id_ce_policyMappings},
    {"limits", &sxASN_id_ce_policyConstraints},
    {"inhibit", &sxASN_id_ce_inhibitAnyPolicy},
    {"constraints", &sxASN_id_ce_nameConstraints},
    {"issuerName", &sxASN_id_ce_issuerAltName},
    {"access", &sxASN_id_pe_subjectInfoAccess},
    {"features", &sxASN_id_pe_tlsFeature},
    {"noCheck", &sxASN_id_pkix_ocsp_nocheck},
    {"delta", &sxASN_id_ce_freshestCRL},
};

template <class Row>
const Row *RowOf(const Row *row, const sxAsnOid &oid) {
  while (!row->oid->OidEquiv(oid)) ++row;
  return row;
}

ExtPtr Parse(const sxAsnOid &oid, const Octets &value) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(oid);
  ext.extnValue = new sxAsnOcts(value.data(), LenOf(value));
  int understood = 0;
  ExtPtr made(RowOf(Get_IssuedExtParserTable(), oid)->parse(ext, understood));
  EXPECT_EQ(made != nullptr ? 1 : 0, understood);
  return made;
}

Octets Composed(const sxAsnOid &oid, const sxExtension &ext) {
  const std::unique_ptr<sxASN_Extension> made(RowOf(Get_IssuedExtComposerTable(), oid)->compose(ext, 0));
  if (made == nullptr) return {};
  EXPECT_TRUE(made->extnID->OidEquiv(oid));
  return Octets(made->extnValue->Data(), made->extnValue->Data() + made->extnValue->Len());
}

TEST(IssuedExtensions, EachKindReadsPrintsAndWrites) {
  ExpectRows("cert/issued-extensions.txt", 5, {{"read", [](const CaseRow &row) {
    const sxAsnOid &oid = *kKinds.at(row[1]);
    const ExtPtr ext = Parse(oid, CaseOctets(row[2]));
    if (ext == nullptr) return std::string("refused");
    EXPECT_EQ(CaseOctets(row[3] == "=" ? row[2] : row[3]), Composed(oid, *ext));
    const std::string printed = Sprinted(*ext, 0);
    EXPECT_EQ(Indented(printed, 2), Sprinted(*ext, 2));
    EXPECT_EQ(printed, Fprinted(sxExtension(*ext), 0));   // of a copy
    return OnOneLine(printed);
  }}});
}

sxASN_Certificate OpensslCert() {
  sxASN_Certificate cert;
  EXPECT_EQ(0, DecodeOctets(Text(CaseData("cert/issued-extensions.der")), cert));
  return cert;
}

// Every kind, as another implementation writes it, comes back octet by octet, also through a template; a table that
// knows all but one of a list makes nothing of it.
TEST(IssuedExtensions, AreWrittenAsAnotherImplementationDoes) {
  const sxASN_Certificate cert = OpensslCert();
  const sxASN_Extensions &extensions = *cert.tbsCertificate->extensions;
  sxExtensionsList list;
  ASSERT_EQ(nullptr, list.Parse(&extensions, Get_IssuedExtParserTable()));
  const sxExtensionsList copy(list);
  sxCertTemplate made;
  ASSERT_EQ(0, made.SetExtensions(&copy));
  EXPECT_EQ(EncodeHex(*cert.tbsCertificate->extensions), EncodeHex(*made.Tree().extensions));
  const std::string before = EncodeHex(*made.Tree().extensions);
  list.Add(&sxASN_id_kp_serverAuth, 0, new sxOcspNoCheck);   // no table has this type
  EXPECT_EQ(-1, made.SetExtensions(&list));
  EXPECT_EQ(-1, made.SetExtension(sxASN_id_pe_tlsFeature, false, sxOcspNoCheck()));
  EXPECT_EQ(-1, made.SetExtension(sxASN_id_kp_serverAuth, false, sxOcspNoCheck()));
  EXPECT_EQ(before, EncodeHex(*made.Tree().extensions));
  ASSERT_EQ(0, made.SetExtension(sxASN_id_ce_basicConstraints, true, sxBasicConstraint(true, 1)));
  ASSERT_EQ(0, made.SetExtension(sxASN_id_pe_tlsFeature, false, sxTlsFeature({5})));
  EXPECT_NE(std::string::npos, EncodeHex(*made.Tree().extensions).find("0603551d130101ff0408300601"));
  EXPECT_EQ(extensions.Count() + 1, made.Tree().extensions->Count());
}

// Whatever one octet is changed to: what is read and may be issued says the same once it was.
TEST(IssuedExtensions, SurviveChangedOctets) {
  const sxASN_Certificate cert = OpensslCert();
  int numRead = 0, numRefused = 0, numWritten = 0;
  for (const sxASN_Extension &ext : *cert.tbsCertificate->extensions) {
    Octets value(ext.extnValue->Data(), ext.extnValue->Data() + ext.extnValue->Len());
    for (unsigned char &octet : value) {
      const unsigned char before = octet;
      for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 0xFF}) {
        octet = static_cast<unsigned char>(before ^ change);
        const ExtPtr made = Parse(*ext.extnID, value);
        ++(made == nullptr ? numRefused : numRead);
        if (made == nullptr) continue;
        const Octets written = Composed(*ext.extnID, *made);
        if (written.empty()) continue;
        ++numWritten;
        const ExtPtr again = Parse(*ext.extnID, written);
        ASSERT_NE(nullptr, again) << EncodeHex(value);
        EXPECT_EQ(Sprinted(*made, 0), Sprinted(*again, 0));
        EXPECT_EQ(written, Composed(*ext.extnID, *again));
      }
      octet = before;
    }
  }
  EXPECT_LT(1000, numRefused);
  EXPECT_LT(1000, numWritten);
  EXPECT_LT(numWritten, numRead);
}

// Values at random that must be issued, and whose facts must come back.
class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : m_random(seed) {}

  int Below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
  std::string Word() {
    std::string word;
    for (int left = 1 + Below(20); left > 0; --left) word += static_cast<char>('!' + Below(94));
    return word;
  }
  std::string Host() {
    std::string host;
    for (int left = 1 + Below(20); left > 0; --left) host += std::string(Below(4) == 0 ? "a." : "") + "09azAZ"[Below(6)];
    return host;
  }
  Octets Some(int count) {
    Octets octets;
    while (count-- > 0) octets.push_back(static_cast<unsigned char>(m_random()));
    return octets;
  }
  sxAsnOid Oid(int number) { return sxAsnOid({1, 2, 3, static_cast<unsigned>(number), static_cast<unsigned>(m_random()) >> 1}); }
  sxAnyName Name(sxNameUse use) {
    constexpr sxNameKind kTexts[] = {sxNameKind::kEmail, sxNameKind::kDns, sxNameKind::kUri};
    sxAnyName name;
    switch (Below(4)) {
      case 0:
        name.kind = kTexts[Below(3)], name.text = Host();
        if (use == sxNameUse::kName && name.kind == sxNameKind::kEmail) name.text = "x@" + name.text;
        if (use == sxNameUse::kName && name.kind == sxNameKind::kUri) name.text = "urn:x" + Host();
        break;
      case 1: name.kind = sxNameKind::kDn, name.dn.emplace(("CN=x,O=y" + std::to_string(Below(99))).c_str()); break;
      case 2: name.kind = sxNameKind::kIp, name.octets = Some((Below(2) + 1) * (Below(2) * 12 + 4)); break;
      default: name.kind = sxNameKind::kOid, name.oid = Oid(1);
    }
    if (name.kind == sxNameKind::kIp) name.octets = Some(Below(2) * 12 + 4);
    if (name.kind == sxNameKind::kIp && use == sxNameUse::kBase) {
      Octets mask(name.octets.size());
      for (int bit = Below(static_cast<int>(8 * mask.size()) + 1); bit-- > 0;) mask[static_cast<size_t>(bit / 8)] |= 0x80 >> bit % 8;
      name.octets.insert(name.octets.end(), mask.begin(), mask.end());
    }
    return name;
  }
  std::vector<sxPolicy> Policies() {
    std::vector<sxPolicy> policies;
    for (int i = Below(4); i >= 0; --i) {
      policies.push_back({Oid(i), {}});
      for (int left = Below(4); left > 0; --left) {
        sxPolicyQualifier &qualifier = policies.back().qualifiers.emplace_back();
        const bool isNotice = Below(2) == 0;
        qualifier.type = isNotice ? sxASN_id_qt_unotice : sxASN_id_qt_cps;
        if (!isNotice) qualifier.cpsUri = Word();
        if (isNotice) qualifier.explicitText = Word() + "\xc3\xa4 " + Word();
        if (isNotice && Below(2) == 0) qualifier.organization = Word(), qualifier.noticeNumbers = {Below(9), Below(999999)};
      }
    }
    return policies;
  }

 private:
  std::mt19937 m_random;
};

std::string Facts(const sxAnyName &name) {
  return std::string(name.Label()) + name.text + (name.dn ? name.dn->GetStr() : "") + EncodeHex(name.octets) + name.Str();
}
std::string Facts(const std::vector<sxPolicy> &policies) {
  std::string all;
  for (const sxPolicy &policy : policies) {
    all += "|" + EncodeHex(Octets(policy.id.Data(), policy.id.Data() + policy.id.Len()));
    for (const sxPolicyQualifier &q : policy.qualifiers) {
      all += "/" + q.cpsUri + "," + q.explicitText + "," + q.organization + testing::PrintToString(q.noticeNumbers);
    }
  }
  return all;
}

TEST(IssuedExtensions, RandomValuesRoundTrip) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomValues random(seed);
  for (int round = 0; round < 2000; ++round) {
    const std::vector<sxPolicy> policies = random.Policies();
    const ExtPtr policiesAgain =
        Parse(sxASN_id_ce_certificatePolicies, Composed(sxASN_id_ce_certificatePolicies, sxCertPolicies(policies)));
    ASSERT_NE(nullptr, policiesAgain);
    ASSERT_EQ(Facts(policies), Facts(static_cast<const sxCertPolicies &>(*policiesAgain).Policies()));
    sxNameSpace space;
    for (int left = random.Below(4); left >= 0; --left) space.permitted.emplace_back().base = random.Name(sxNameUse::kBase);
    for (int left = random.Below(4); left > 0; --left) space.excluded.emplace_back().base = random.Name(sxNameUse::kBase);
    const ExtPtr spaceAgain =
        Parse(sxASN_id_ce_nameConstraints, Composed(sxASN_id_ce_nameConstraints, sxNameConstraints(space)));
    ASSERT_NE(nullptr, spaceAgain);
    const sxNameSpace &read = static_cast<const sxNameConstraints &>(*spaceAgain).Space();
    ASSERT_EQ(space.permitted.size(), read.permitted.size());
    ASSERT_EQ(space.excluded.size(), read.excluded.size());
    for (size_t i = 0; i < read.permitted.size(); ++i) ASSERT_EQ(Facts(space.permitted[i].base), Facts(read.permitted[i].base));
    for (size_t i = 0; i < read.excluded.size(); ++i) ASSERT_EQ(Facts(space.excluded[i].base), Facts(read.excluded[i].base));
    const sxAnyName name = random.Name(sxNameUse::kName);
    const ExtPtr nameAgain = Parse(sxASN_id_ce_issuerAltName, Composed(sxASN_id_ce_issuerAltName, sxIssuerAltName({name})));
    ASSERT_NE(nullptr, nameAgain);
    ASSERT_EQ(Facts(name), Facts(static_cast<const sxIssuerAltName &>(*nameAgain).Names()[0]));
  }
}

TEST(IssuedExtensions, ListsAreBounded) {
  for (const auto &[count, isRead] : {std::pair<size_t, bool>{kMaxIssuedItems, true}, {kMaxIssuedItems + 1, false}}) {
    Octets policies;
    for (size_t i = 0; i < count; ++i) policies.insert(policies.end(), {0x30, 3, 6, 1, 0x2A});
    EXPECT_EQ(isRead, Parse(sxASN_id_ce_certificatePolicies, Der(0x30, policies)) != nullptr);
    sxAnyName name;
    name.kind = sxNameKind::kDns, name.text = "a.example";
    const Octets names = Composed(sxASN_id_ce_issuerAltName, sxIssuerAltName(std::vector(count, name)));
    EXPECT_EQ(isRead, !names.empty() && Parse(sxASN_id_ce_issuerAltName, names) != nullptr);
    EXPECT_EQ(isRead, !names.empty());
  }
  const std::string longest(kMaxNoticeChars, 'x');
  sxPolicyQualifier notice{sxASN_id_qt_unotice, "", longest, "", {}};
  EXPECT_NE(Octets(), Composed(sxASN_id_ce_certificatePolicies, sxCertPolicies({{sxASN_anyPolicy, {notice}}})));
  notice.explicitText += 'x';
  EXPECT_EQ(Octets(), Composed(sxASN_id_ce_certificatePolicies, sxCertPolicies({{sxASN_anyPolicy, {notice}}})));
}

}  // namespace
