#include <gmock/gmock.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "support/asnHex.h"
#include "support/logCapture.h"
#include "support/printed.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Extensions as they stand in a certificate.
constexpr const char *kBasic = "300c0603551d130405 30030101ff";
constexpr const char *kBasicCritical = "300f0603551d130101ff0405 30030101ff";
constexpr const char *kUsage = "300b0603551d0f0404 03020186";
constexpr const char *kUsageCritical = "300e0603551d0f0101ff0404 03020186";
constexpr const char *kUsageBroken = "300b0603551d0f0404 04020186";
constexpr const char *kUsageBrokenCritical = "300e0603551d0f0101ff0404 04020186";
constexpr const char *kPolicies = "300a0603551d200403 020101";   // not even policies inside
constexpr const char *kPoliciesCritical = "300d0603551d200101ff0403 020101";
constexpr const char *kUnknownCritical = "300b06022a030101ff04020500";
constexpr const char *kUnknownNotCritical = "300806022a0304020500";

std::unique_ptr<sxASN_Extensions> Extensions(const std::vector<const char *> &hexes) {
  auto list = std::make_unique<sxASN_Extensions>();
  for (const char *hex : hexes) EXPECT_EQ(0, DecodeHex(hex, *list->Append())) << hex;
  return list;
}

std::vector<std::string> Names(const sxExtensionsList &list) {
  std::vector<std::string> names;
  for (const auto *item = list.First(); item != nullptr; item = item->next) {
    names.push_back(std::string(item->ext != nullptr ? item->ext->ExtName() : "none") +
                    (item->critical != 0 ? "!" : ""));
  }
  return names;
}

struct ParseCase {
  const char *what;
  std::vector<const char *> extensions;
  const char *stopped;   // OID, or ""
  std::vector<std::string> names;
};

TEST(sxExtensionsList, ParsesUntilACriticalOneIsNotUnderstood) {
  const ParseCase kCases[] = {
      {"none", {}, "", {}},
      {"in order, criticality kept", {kUsageCritical, kBasic}, "", {"Key Usage!", "Basic Constraint"}},
      {"critical policies are skipped", {kPoliciesCritical, kBasic}, "", {"Basic Constraint"}},
      {"so are others", {kBasic, kPolicies}, "", {"Basic Constraint"}},
      {"unknown, not critical", {kUnknownNotCritical, kBasic}, "", {"Basic Constraint"}},
      {"unknown and critical", {kBasic, kUnknownCritical, kUsage}, "1.2.3", {"Basic Constraint"}},
      {"broken, not critical", {kUsageBroken, kBasic}, "", {"Basic Constraint"}},
      {"broken and critical", {kBasic, kUsageBrokenCritical, kBasic}, "2.5.29.15", {"Basic Constraint"}},
      {"twice the same", {kBasic, kBasicCritical}, "", {"Basic Constraint", "Basic Constraint!"}},
  };
  for (const ParseCase &c : kCases) {
    SCOPED_TRACE(c.what);
    const auto extensions = Extensions(c.extensions);
    sxExtensionsList list;
    const sxAsnOid *stopped = list.Parse(extensions.get(), Get_ExtParserTable());
    char text[64] = "";
    if (stopped != nullptr) stopped->GetStr(text, sizeof text);
    EXPECT_STREQ(c.stopped, text);
    EXPECT_EQ(c.names, Names(list));
  }
  sxExtensionsList list;
  EXPECT_EQ(nullptr, list.Parse(nullptr, Get_ExtParserTable()));
  EXPECT_EQ(nullptr, list.Parse(Extensions({kBasic}).get(), nullptr));   // without a table nothing is understood
  EXPECT_NE(nullptr, list.Parse(Extensions({kBasicCritical}).get(), nullptr));
  // The table of CRLs knows its own alone.
  const char *const brokenPoint = "300d0603551d1c0101ff0403 300000", *const obsolete = "300c0603551d1a0101ff04020500";
  EXPECT_EQ(nullptr, list.Parse(Extensions({obsolete, kUnknownNotCritical, kBasic}).get(), Get_CRLExtParserTable()));
  EXPECT_NE(nullptr, list.Parse(Extensions({brokenPoint}).get(), Get_CRLExtParserTable()));
  EXPECT_THAT(Names(list), IsEmpty());
  EXPECT_EQ("", Sprinted(list, 1));
  const LogCapture log;
  list.Herror();
  EXPECT_THAT(log.Lines(), IsEmpty());
}

sxExtension *MakeSilently(const sxASN_Extension &, int &) { return new sxKeyUsage(1); }
sxExtension *MakeUnderstood(const sxASN_Extension &, int &understood) {
  understood = 1;
  return new sxBasicConstraint(true, -1);
}

TEST(sxExtensionsList, UnderstoodStaysSet) {
  const sxExtParser table[] = {{&sxASN_id_ce_keyUsage, MakeSilently},
                               {&sxASN_id_ce_basicConstraints, MakeUnderstood},
                               {nullptr, nullptr}};
  sxExtensionsList first;
  EXPECT_NE(nullptr, first.Parse(Extensions({kUsageCritical, kBasic}).get(), table));
  EXPECT_THAT(Names(first), IsEmpty());
  sxExtensionsList second;
  EXPECT_EQ(nullptr, second.Parse(Extensions({kBasic, kUsageCritical}).get(), table));
  EXPECT_THAT(Names(second), ElementsAre("Basic Constraint", "Key Usage!"));
  sxExtensionsList third;   // the flag starts at 0 with every call
  EXPECT_EQ(nullptr, third.Parse(Extensions({kBasic}).get(), table));
  EXPECT_NE(nullptr, third.Parse(Extensions({kUsageCritical}).get(), table));
  sxExtensionsList notCritical;
  EXPECT_EQ(nullptr, notCritical.Parse(Extensions({kUsage}).get(), table));
  EXPECT_THAT(Names(notCritical), ElementsAre("Key Usage"));
}

TEST(sxExtensionsList, FindsByValueTheFirst) {
  sxExtensionsList list;
  list.Add(&sxASN_id_ce_keyUsage, 0, new sxKeyUsage(1));
  list.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(2));
  list.Add(nullptr, 1, new sxKeyUsage(3));   // destroyed
  const sxAsnOid equal(sxASN_id_ce_keyUsage);
  EXPECT_EQ(list.First()->ext, list.Find(&equal));
  EXPECT_EQ(0, list.IsCritical(&equal));
  EXPECT_EQ(nullptr, list.Find(&sxASN_id_ce_basicConstraints));
  EXPECT_EQ(nullptr, list.Find(nullptr));
  EXPECT_EQ(0, list.IsCritical(&sxASN_id_ce_basicConstraints));
  EXPECT_EQ(2U, Names(list).size());
}

TEST(sxExtensionsList, CopiesAreDeepAlsoOfItself) {
  sxExtensionsList copy;
  {
    sxExtensionsList list;
    list.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1));
    list.Add(&sxASN_id_ce_basicConstraints, 0, nullptr);
    copy.Add(&sxASN_id_ce_extKeyUsage, 0, new sxExtKeyUsage);
    copy.Set(list);
    EXPECT_NE(list.First()->ext, copy.First()->ext);
  }
  EXPECT_THAT(Names(copy), ElementsAre("Key Usage!", "none"));
  copy.Add(copy);
  copy = *&copy;
  EXPECT_THAT(Names(copy), ElementsAre("Key Usage!", "none", "Key Usage!", "none"));
}

TEST(sxExtensionsList, ComposesAllOrNothing) {
  sxASN_Extensions *out = nullptr;
  sxExtensionsList list;
  EXPECT_EQ(0, list.Compose(Get_ExtComposerTable(), &out));
  EXPECT_EQ(nullptr, out);
  list.Add(&sxASN_id_ce_basicConstraints, 1, new sxBasicConstraint(false, -1));
  ASSERT_EQ(0, list.Compose(Get_ExtComposerTable(), &out));
  std::unique_ptr<sxASN_Extensions> composed(out);
  EXPECT_EQ("3011300f0603551d130101ff04053003010100", EncodeHex(*composed));

  const struct { const char *what; const sxAsnOid *oid; sxExtension *ext; std::string kind; } kCases[] = {
      {"no row", &sxASN_id_ce_certificatePolicies, new sxKeyUsage(1), ""},
      {"no object", &sxASN_id_ce_keyUsage, nullptr, ""},
      {"another kind", &sxASN_id_ce_keyUsage, new sxBasicConstraint(true, 0), " of type: Basic Constraint"},
      {"names of the other kind", &sxASN_id_ce_subjectAltName, new sxExtGN(kExtNameDistPoints, sxGeneralNames()),
       " of type: CRL distribution Points"},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.what);
    sxExtensionsList worse(list);
    worse.Add(c.oid, 0, c.ext);
    out = composed.get();
    LogCapture log;
    EXPECT_EQ(-1, worse.Compose(Get_ExtComposerTable(), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_THAT(log.Lines(), ElementsAre("sxExtensionsList::Compose: can't compose extension" + c.kind));
  }
  EXPECT_EQ(-1, list.Compose(nullptr, &out));
  EXPECT_EQ(-1, list.Compose(Get_ExtComposerTable(), nullptr));
}

TEST(sxExtensionsList, FlatFunctionsRefuseNull) {
  sxExtensionsList *list = sxExtensionsList_New();
  const std::unique_ptr<sxExtension> ext(new sxKeyUsage(1));   // not taken by the refusals
  EXPECT_EQ(-1, sxExtensionsList_Add(nullptr, &sxASN_id_ce_keyUsage, 0, ext.get()));
  EXPECT_EQ(-1, sxExtensionsList_Add(list, nullptr, 0, ext.get()));
  EXPECT_EQ(-1, sxExtensionsList_Add(list, &sxASN_id_ce_keyUsage, 0, nullptr));
  EXPECT_EQ(nullptr, list->First());
  EXPECT_EQ(0, sxExtensionsList_Add(list, &sxASN_id_ce_keyUsage, 0, new sxKeyUsage(1)));
  EXPECT_NE(nullptr, list->First());
  sxExtensionsList_Delete(list);
}

// Every kind at once, as another implementation writes it.
constexpr const char *kRequest = R"([req]
distinguished_name = dn
x509_extensions = ext
prompt = no
[dn]
CN = Test
O = Org
[ext]
basicConstraints = critical, CA:TRUE, pathlen:3
keyUsage = critical, digitalSignature, keyCertSign, cRLSign
extendedKeyUsage = serverAuth, 1.2.3.4
subjectKeyIdentifier = 0102030405
authorityKeyIdentifier = keyid:always, issuer:always
authorityInfoAccess = OCSP;URI:http://ocsp.example/, 1.2.3;email:a@b
crlDistributionPoints = URI:http://crl.example/ca.crl, URI:ldap://x
subjectAltName = DNS:h.example, email:a@b, IP:192.0.2.1, IP:2001:db8::1, dirName:dir, otherName:1.3.6.1.4.1.311.20.2.3;UTF8:u@example
1.3.6.1.4.1.32473.3.1.2 = ASN1:UTF8:Router
[dir]
C = DE
)";

constexpr const char *kRequestPrinted =
    "Critical:\nIs a CA\n3 levels\n"
    "Critical:\nKey Usage: digitalSignature,keyCertSign,cRLSign\n"
    "Extended Key Usage: serverAuth,1.2.3.4\n"
    "Subject Key Identifier:\n\tKey Id: 01 02 03 04 05\n"
    "Authority Key Identifier:\n\tKey Id: 01 02 03 04 05\n\tAuthority issuer name:\n\t\tDN: O=Org,CN=Test\n"
    "\tAuthority Serial Number: 00 80 34\n"
    "Authority Info Access:\n\tOCSP\n\t\tURI: http://ocsp.example/\n\t1.2.3\n\t\tEmail: a@b\n"
    "CRL distribution Points:\nURI: http://crl.example/ca.crl\nURI: ldap://x\n"
    "Subject Alternate names:\nDNS: h.example\nEmail: a@b\nIP: 192.0.2.1\nIP6: 2001:db8::1\nDN: C=DE\n"
    "Other Name: principalName: u@example\n"
    "Device Type: Router\n";

TEST(sxExtensionsList, CertificateOfOpensslComesBackOctetByOctet) {
  const TempDir dir;
  const std::string config = dir.Write("req.cnf", kRequest);
  const std::string der = RunCommand(
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout /dev/null -set_serial 0x8034 "
      "-outform DER -config " + config + " 2>/dev/null");
  sxASN_Certificate cert;
  ASSERT_EQ(0, sxASN_DecodeBuf(cert, der.data(), static_cast<int>(der.size())));
  sxASN_Extensions &extensions = *cert.tbsCertificate->extensions;
  sxExtensionsList list;
  ASSERT_EQ(nullptr, list.Parse(&extensions, Get_ExtParserTable()));
  EXPECT_EQ(kRequestPrinted, Sprinted(list, 0));
  EXPECT_EQ("\t\tCritical:\n\t\tIs a CA\n", Sprinted(list, 2).substr(0, 22));

  sxASN_Extensions *out = nullptr;
  ASSERT_EQ(0, list.Compose(Get_ExtComposerTable(), &out));
  const std::unique_ptr<sxASN_Extensions> composed(out);
  EXPECT_EQ(EncodeHex(extensions), EncodeHex(*composed));
  // The handles are of their kinds.
  const auto *usage = static_cast<const sxKeyUsage *>(list.Find(&sxASN_id_ce_keyUsage));
  EXPECT_EQ(0x61U, usage->KeyUsageBits());
}

}  // namespace
