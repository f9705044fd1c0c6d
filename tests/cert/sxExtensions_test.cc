#include "kxcert/cert/sxExtensions.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/printed.h"

namespace {

using ExtPtr = std::unique_ptr<sxExtension>;

const sxExtParser *RowOf(const sxExtParser *row, const sxAsnOid &oid) {
  while (row->oid != nullptr && !row->oid->OidEquiv(oid)) ++row;
  return row;
}

// What the table's parser makes of a value; null when it refuses.
ExtPtr Parse(const sxAsnOid &oid, const std::vector<unsigned char> &value) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(oid);
  ext.extnValue = new sxAsnOcts(value.data(), static_cast<int>(value.size()));
  const sxExtParser *row = RowOf(Get_ExtParserTable(), oid);
  if (row->oid == nullptr) row = RowOf(Get_CRLExtParserTable(), oid);
  int understood = 0;
  ExtPtr made(row->parse(ext, understood));
  EXPECT_EQ(made != nullptr ? 1 : 0, understood);
  return made;
}

template <class Kind>
std::unique_ptr<Kind> ParseAs(const sxAsnOid &oid, const char *hex) {
  return std::unique_ptr<Kind>(static_cast<Kind *>(Parse(oid, DecodeHex(hex)).release()));
}

// The value that the table's composer makes, as hexadecimal text; "" when it refuses.
std::string Composed(const sxAsnOid &oid, const sxExtension &ext) {
  const sxExtComposer *row = Get_ExtComposerTable();
  while (row->oid != nullptr && !row->oid->OidEquiv(oid)) ++row;
  if (row->oid == nullptr) row = Get_CRLExtComposerTable();
  const std::unique_ptr<sxASN_Extension> made(row->compose(ext, 0));
  if (made == nullptr) return "";
  EXPECT_TRUE(made->extnID->OidEquiv(oid));
  EXPECT_EQ(nullptr, made->critical);
  return EncodeHex(made->extnValue->Data(), static_cast<size_t>(made->extnValue->Len()));
}

TEST(sxBasicConstraint, ReadsAndWrites) {
  struct Case { const char *what; const char *hex; bool parses; bool isCA; int pathLen; const char *composed; };
  constexpr Case kCases[] = {
      {"empty: no CA, written with its BOOLEAN", "3000", true, false, -1, "3003010100"},
      {"CA", "30030101ff", true, true, -1, "30030101ff"},
      {"CA of no levels", "30060101ff020100", true, true, 0, "30060101ff020100"},
      {"FALSE in full", "3003010100", true, false, -1, "3003010100"},
      {"levels without CA", "3003020105", true, false, 5, "3006010100020105"},
      {"2^31 levels are as many as an int has", "300a0101ff02050080000000", true, true, INT32_MAX,
       "30090101ff02047fffffff"},
      {"3 levels in six octets", "300b0101ff0206000000000003", true, true, 3, "30060101ff020103"},
      {"2^64 levels do not wrap", "300e0101ff0209010000000000000000", true, true, INT32_MAX,
       "30090101ff02047fffffff"},
      {"a negative number is not \"absent\"", "30060101ff0201ff", false, false, 0, ""},
      {"nor is a long negative one", "300a0101ff0205ff00000000", false, false, 0, ""},
      {"octets after the value", "300000", false, false, 0, ""},
      {"not a SEQUENCE", "0101ff", false, false, 0, ""},
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.what);
    const auto ext = ParseAs<sxBasicConstraint>(sxASN_id_ce_basicConstraints, c.hex);
    ASSERT_EQ(c.parses, ext != nullptr);
    if (ext == nullptr) continue;
    EXPECT_EQ(c.isCA, ext->IsCA());
    EXPECT_EQ(c.pathLen, ext->PathLen());
    EXPECT_EQ(c.composed, Composed(sxASN_id_ce_basicConstraints, *ext));
  }
  EXPECT_EQ("\tIs a CA\n\t0 levels\n", Sprinted(sxBasicConstraint(true, 0), 1));
  EXPECT_EQ("Is not a CA\n", Sprinted(sxBasicConstraint(false, -1), 0));
  EXPECT_EQ(-1, sxBasicConstraint(true, -7).PathLen());
}

TEST(sxKeyUsage, WritesNoTrailingZeroBits) {
  struct Case { const char *hex; unsigned bits; const char *composed; };
  constexpr Case kCases[] = {
      {"030100", 0, "030100"},
      {"03020780", 0x1, "03020780"},             // digitalSignature
      {"03020080", 0x1, "03020780"},             // the same with seven zero bits
      {"03020186", 0x61, "03020186"},            // digitalSignature, keyCertSign, cRLSign
      {"0303070080", 0x100, "0303070080"},       // decipherOnly
      {"0306000000000180", 0x80000000U, "03050000000001"},   // bits from 32 on are dropped
  };
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.hex);
    const auto ext = ParseAs<sxKeyUsage>(sxASN_id_ce_keyUsage, c.hex);
    ASSERT_NE(nullptr, ext);
    EXPECT_EQ(c.bits, ext->KeyUsageBits());
    EXPECT_EQ(c.composed, Composed(sxASN_id_ce_keyUsage, *ext));
  }
  EXPECT_EQ(nullptr, ParseAs<sxKeyUsage>(sxASN_id_ce_keyUsage, "03020880"));   // eight unused bits
}

TEST(sxKeyUsage, NamesEveryBit) {
  EXPECT_EQ(
      "\tKey Usage: digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment,keyAgreement,keyCertSign,"
      "cRLSign,encipherOnly,decipherOnly\n",
      Sprinted(sxKeyUsage(0xFFFFFFFFU), 1));
  EXPECT_EQ("Key Usage:\n", Sprinted(sxKeyUsage(0), 0));
  EXPECT_STREQ("decipherOnly", sxKeyUsage::KeyusageStr(sxKU_decipherOnly));
}

TEST(sxExtKeyUsage, MapsEveryKnownPurposeAndKeepsTheOthers) {
  const sxAsnOid *const known[] = {
      &sxASN_id_kp_serverAuth,  &sxASN_id_kp_clientAuth,     &sxASN_id_kp_codeSigning,
      &sxASN_id_kp_emailProtection, &sxASN_id_kp_ipsecEndSystem, &sxASN_id_kp_ipsecTunnel,
      &sxASN_id_kp_ipsecUser,   &sxASN_id_kp_timeStamping,   &sxASN_id_kp_smartCardLogon};
  sxExtKeyUsage usage;
  for (int i = 0; i < 9; ++i) {
    const auto purpose = static_cast<sxExtKeyUsageType>(i + 1);
    EXPECT_FALSE(usage.Has(purpose));
    usage.Add(*known[i]);
    EXPECT_TRUE(usage.Has(purpose));
    EXPECT_EQ(purpose, usage.Purpose(i));
  }
  EXPECT_FALSE(usage.Has(sxEKU_bad));
  usage.Add(sxAsnOid({2, 5, 29, 37, 0}));
  EXPECT_TRUE(usage.Has(sxEKU_bad));
  EXPECT_FALSE(usage.Has(sxEKU_none));
  EXPECT_EQ(sxEKU_bad, usage.Purpose(10));
  EXPECT_EQ(
      "Extended Key Usage: serverAuth,clientAuth,codeSigning,emailProtection,ipsecEndSystem,ipsecTunnel,"
      "ipsecUser,timeStamping,SmartCard Logon,2.5.29.37.0\n",
      Sprinted(usage, 0));
  EXPECT_STREQ("bad value", sxExtKeyUsage::ExtKeyusageStr(0));
  EXPECT_STREQ("", sxExtKeyUsage::ExtKeyusageStr(10));

  const std::unique_ptr<sxASN_ExtKeyUsageSyntax> asn(usage.ExtKeyUsage_2_ASN());
  ASSERT_EQ(10, asn->Count());
  const std::string hex = EncodeHex(*asn);
  EXPECT_EQ(hex, Composed(sxASN_id_ce_extKeyUsage, usage));
  EXPECT_EQ(hex, Composed(sxASN_id_ce_extKeyUsage, *Parse(sxASN_id_ce_extKeyUsage, DecodeHex(hex.c_str()))));
}

// What is read of a value, and how it is written again.
const struct { const char *what; const sxAsnOid *oid; const char *hex; const char *printed; const char *composed; }
    kKindCases[] = {
        {"subject key identifier", &sxASN_id_ce_subjectKeyIdentifier, "0403010203",
         "Subject Key Identifier:\n\tKey Id: 01 02 03\n", "="},
        {"authority key identifier", &sxASN_id_ce_authorityKeyIdentifier, "3010 80020a0b a1058603753a78 8203008034",
         "Authority Key Identifier:\n\tKey Id: 0a 0b\n\tAuthority issuer name:\n\t\tURI: u:x\n"
         "\tAuthority Serial Number: 00 80 34\n", "="},
        {"with nothing in it", &sxASN_id_ce_authorityKeyIdentifier, "3000", "Authority Key Identifier:\n", "="},
        // Two names in one point; one name with reasons and cRLIssuer; a relative name; an empty point. There
        // is a point for each name then.
        {"distribution points", &sxASN_id_ce_cRLDistributionPoints,
         "3034 300ca00aa008 8602613a 8602623a 3012a006a004 8602633a 81020780 a204a4023000"
         "300ea00ca10a 30080603550403130161 3000",
         "CRL distribution Points:\nURI: a:\nURI: b:\nURI: c:\n",
         "301e 3008a006a0048602613a 3008a006a0048602623a 3008a006a0048602633a"},
        {"a name without encoding", &sxASN_id_ce_subjectAltName, "3008 820161 8803550403",
         "Subject Alternate names:\nDNS: a\nError in general name. type = -1\n", ""},
        {"a principal name of another type", &sxASN_id_ce_subjectAltName,
         "3018 a013 060a2b060104018237140203 a005 1603754078 820161",
         "Subject Alternate names:\nError in general name. type = -1\nDNS: a\n", ""},
        {"information access", &sxASN_id_pe_authorityInfoAccess,
         "301d 300f06082b060105050730028603753a78 300a06022a03870401020304",
         "Authority Info Access:\n\tCA Issuers\n\t\tURI: u:x\n\t1.2.3\n\t\tIP: 1.2.3.4\n", "="},
        {"device identifier", &sxASN_id_pki_extension_device_id, "0c026162", "Device Id: ab\n", "="},
        {"device type", &sxASN_id_pki_extension_device_type, "0c026162", "Device Type: ab\n", "="},
        {"device name", &sxASN_id_pki_extension_device_name, "0c026162", "Device Name: ab\n", "="},
        {"control characters", &sxASN_id_pki_extension_device_id, "0c0461006209", "Device Id: a.b.\n", "="},
        {"another string type", &sxASN_id_pki_extension_device_id, "13026162", nullptr, nullptr},
        {"issuing point", &sxASN_id_ce_issuingDistributionPoint,
         "3019 a007a0058603753a78 8101ff 8201ff 83020780 8401ff 8501ff",
         "Issuing Distribution Point:\n\tURI: u:x\n\tOnly user certificates\n\tOnly CA certificates\n"
         "\tOnly attribute certificates\n\tIndirect CRL\n\tOnly some reasons\n", "="},
        // It narrows the CRL in a way that would be lost.
        {"a name relative to the issuer", &sxASN_id_ce_issuingDistributionPoint, "300ea00ca10a30080603550403130161",
         nullptr, nullptr},
};

TEST(sxExtension, EachKindReadsPrintsAndWrites) {
  for (const auto &c : kKindCases) {
    SCOPED_TRACE(c.what);
    const ExtPtr ext = Parse(*c.oid, DecodeHex(c.hex));
    ASSERT_EQ(c.printed == nullptr, ext == nullptr);
    if (ext == nullptr) continue;
    EXPECT_EQ(c.printed, Sprinted(*ext, 0));
    EXPECT_EQ(EncodeHex(DecodeHex(c.composed[0] == '=' ? c.hex : c.composed)), Composed(*c.oid, *ext));
  }
  EXPECT_EQ("", Sprinted(sxExtGN(kExtNameSubjectAltName, sxGeneralNames()), 1));
  sxAuthorityInfoAccess access;
  EXPECT_EQ("", Sprinted(access, 1));
  access.Add(sxASN_id_ad_caIssuers, sxGeneralName(sxGN_uri, "u:x", 3));
  EXPECT_EQ("\tAuthority Info Access:\n\t\tCA Issuers\n\t\t\tURI: u:x\n", Sprinted(access, 1));
  EXPECT_EQ(nullptr, access.Method(1));
  EXPECT_EQ(1, access.AuthorityInfoAccess().Count());
  const auto subject = ParseAs<sxExtKeyID>(sxASN_id_ce_subjectKeyIdentifier, "0403010203");
  EXPECT_EQ(sxKeyId_subject, subject->KIdType());
  EXPECT_EQ("", Composed(sxASN_id_ce_authorityKeyIdentifier, *subject));
  const auto empty = ParseAs<sxExtKeyID>(sxASN_id_ce_authorityKeyIdentifier, "3000");
  EXPECT_EQ(sxKeyId_authority, empty->KIdType());
  EXPECT_TRUE(empty->KIdBuf().IsEmpty() && empty->KIdGNs().Count() == 0 && empty->KIdSN() == nullptr);
  const sxExtDeviceData device(e_DeviceName, "ab");
  EXPECT_EQ(e_DeviceName, device.Type());
  EXPECT_EQ("0c026162", Composed(sxASN_id_pki_extension_device_name, device));
}

// Plain DER is read without the codec. A length in five octets sends the same content through it, so
// both must agree whatever one octet is changed to.
TEST(sxExtGN, PlainReaderAgreesWithTheCodec) {
  struct Case { const sxAsnOid *oid; const char *content; };
  const Case kCases[] = {
      {&sxASN_id_ce_subjectAltName, "8203682e65 8103614062 8603753a78"},
      {&sxASN_id_ce_cRLDistributionPoints, "300ca00aa0088602613a8602623a 3008a006a0048602633a"},
      {&sxASN_id_pe_authorityInfoAccess, "300e06082b060105050730018602613a 300806022a038602623a"},
      {&sxASN_id_pe_authorityInfoAccess, "30060600 8602613a"},   // no method: refused by both
  };
  int numParsed = 0;
  int numRefused = 0;
  for (const Case &c : kCases) {
    const std::vector<unsigned char> good = DecodeHex(c.content);
    for (size_t at = 0; at < good.size(); ++at) {
      for (int octet = 0; octet < 256; ++octet) {
        std::vector<unsigned char> content = good;
        content[at] = static_cast<unsigned char>(octet);
        const auto len = static_cast<unsigned char>(content.size());
        std::vector<unsigned char> plain = {0x30, len};
        std::vector<unsigned char> longer = {0x30, 0x84, 0, 0, 0, len};
        plain.insert(plain.end(), content.begin(), content.end());
        longer.insert(longer.end(), content.begin(), content.end());
        const ExtPtr one = Parse(*c.oid, plain);
        const ExtPtr other = Parse(*c.oid, longer);
        ASSERT_EQ(other != nullptr, one != nullptr) << EncodeHex(plain);
        ++(one != nullptr ? numParsed : numRefused);
        if (one == nullptr) continue;
        ASSERT_EQ(Sprinted(*other, 0), Sprinted(*one, 0)) << EncodeHex(plain);
      }
    }
  }
  EXPECT_LT(1000, numParsed);
  EXPECT_LT(1000, numRefused);
}

TEST(sxExtKeyID, PrintsSerialsOfEveryLength) {
  for (const char *serial :
       {"00", "7f", "00 80", "ff", "80", "ff 7f", "7f ff ff ff", "80 00 00 00", "01 02 03 04 05"}) {
    SCOPED_TRACE(serial);
    const auto len = static_cast<unsigned char>(DecodeHex(serial).size());
    const std::string hex = EncodeHex({0x30, static_cast<unsigned char>(len + 2), 0x82, len}) + serial;
    const auto ext = ParseAs<sxExtKeyID>(sxASN_id_ce_authorityKeyIdentifier, hex.c_str());
    ASSERT_NE(nullptr, ext);
    EXPECT_EQ(std::string("Authority Key Identifier:\n\tAuthority Serial Number: ") + serial + "\n",
              Sprinted(*ext, 0));
  }
}

TEST(sxIssuingDP, KeepsEachFlagByItself) {
  const struct { const char *hex; bool (sxIssuingDP::*isSet)() const; } kCases[] = {
      {"30038101ff", &sxIssuingDP::OnlyUserCerts}, {"30038201ff", &sxIssuingDP::OnlyCACerts},
      {"300483020780", &sxIssuingDP::HasOnlySomeReasons}, {"30038401ff", &sxIssuingDP::IndirectCRL},
      {"30038501ff", &sxIssuingDP::OnlyAttributeCerts}};
  for (const auto &set : kCases) {
    const auto one = ParseAs<sxIssuingDP>(sxASN_id_ce_issuingDistributionPoint, set.hex);
    ASSERT_NE(nullptr, one) << set.hex;
    for (const auto &asked : kCases) EXPECT_EQ(&asked == &set, (one.get()->*asked.isSet)()) << set.hex;
  }
}

TEST(sxExtension, CopiesAreOfTheirKindAndDeep) {
  sxExtension copy = sxExtKeyUsage();
  sxExtKeyUsage other;
  {
    sxExtKeyUsage usage;
    usage.Add(sxASN_id_kp_serverAuth);
    copy = usage;
    other.Set(usage);
    usage.Add(sxASN_id_kp_clientAuth);
  }
  EXPECT_STREQ("Extended Key Usage", copy.ExtName());
  EXPECT_EQ("Extended Key Usage: serverAuth\n", Sprinted(copy, 0));
  EXPECT_TRUE(other.Has(sxEKU_serverAuth) && !other.Has(sxEKU_clientAuth));
  copy = *&copy;
  EXPECT_EQ("Extended Key Usage: serverAuth\n", Sprinted(copy, 0));
  sxBasicConstraint constraint(true, 3);
  static_cast<sxExtension &>(constraint) = copy;   // another kind would be read as this one
  EXPECT_EQ(3, constraint.PathLen());
}

TEST(sxComposeExtension, LeavesItsTargetAloneOnFailure) {
  sxASN_Extension ext;
  sxAsnInt value(5);
  ASSERT_EQ(0, sxComposeExtension(value, sxASN_id_ce_keyUsage, 1, &ext));
  EXPECT_EQ("300d0603551d0f0101ff0403020105", EncodeHex(ext));
  ASSERT_EQ(0, sxComposeExtension(value, *ext.extnID, 0, &ext));   // its own OID; critical goes
  EXPECT_EQ("300a0603551d0f0403020105", EncodeHex(ext));
  sxASN_GeneralName empty;   // a CHOICE without a value has no encoding
  EXPECT_EQ(-1, sxComposeExtension(empty, sxASN_id_ce_keyUsage, 1, &ext));
  EXPECT_EQ("300a0603551d0f0403020105", EncodeHex(ext));
  EXPECT_EQ(-1, sxComposeExtension(value, sxASN_id_ce_keyUsage, 1, nullptr));
  EXPECT_EQ(-1, sxParseExtension(value, nullptr));
}

}  // namespace
