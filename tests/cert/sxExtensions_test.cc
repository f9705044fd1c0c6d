#include "kxcert/cert/sxExtensions.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/printed.h"
#include "support/script.h"

namespace {

using ExtPtr = std::unique_ptr<sxExtension>;

const std::map<std::string, const sxAsnOid *> kKinds = {
    {"basicConstraints", &sxASN_id_ce_basicConstraints},
    {"keyUsage", &sxASN_id_ce_keyUsage},
    {"extKeyUsage", &sxASN_id_ce_extKeyUsage},
    {"subjectKeyIdentifier", &sxASN_id_ce_subjectKeyIdentifier},
    {"authorityKeyIdentifier", &sxASN_id_ce_authorityKeyIdentifier},
    {"cRLDistributionPoints", &sxASN_id_ce_cRLDistributionPoints},
    {"subjectAltName", &sxASN_id_ce_subjectAltName},
    {"authorityInfoAccess", &sxASN_id_pe_authorityInfoAccess},
    {"deviceId", &sxASN_id_pki_extension_device_id},
    {"deviceType", &sxASN_id_pki_extension_device_type},
    {"deviceName", &sxASN_id_pki_extension_device_name},
    {"issuingDistributionPoint", &sxASN_id_ce_issuingDistributionPoint},
};

template <class Row>
const Row *RowOf(const Row *row, const Row *others, const sxAsnOid &oid) {
  while (row->oid != nullptr && !row->oid->OidEquiv(oid)) ++row;
  return row->oid != nullptr ? row : others;
}

// What the table's parser makes of a value; null when it refuses.
ExtPtr Parse(const sxAsnOid &oid, const Octets &value) {
  sxASN_Extension ext;
  ext.extnID = new sxAsnOid(oid);
  ext.extnValue = new sxAsnOcts(value.data(), LenOf(value));
  int understood = 0;
  ExtPtr made(RowOf(Get_ExtParserTable(), Get_CRLExtParserTable(), oid)->parse(ext, understood));
  EXPECT_EQ(made != nullptr ? 1 : 0, understood);
  return made;
}

// The value that the table's composer makes; nothing when it refuses.
Octets Composed(const sxAsnOid &oid, const sxExtension &ext) {
  const auto compose = RowOf(Get_ExtComposerTable(), Get_CRLExtComposerTable(), oid)->compose;
  const std::unique_ptr<sxASN_Extension> made(compose(ext, 0));
  if (made == nullptr) return {};
  EXPECT_TRUE(made->extnID->OidEquiv(oid));
  EXPECT_EQ(nullptr, made->critical);
  return Octets(made->extnValue->Data(), made->extnValue->Data() + made->extnValue->Len());
}

// What its handle answers.
std::string Facts(const std::string &kind, const sxExtension &ext) {
  std::string all;
  if (kind == "basicConstraints") {
    const auto &basic = static_cast<const sxBasicConstraint &>(ext);
    return " (CA " + std::to_string(basic.IsCA()) + ", " + std::to_string(basic.PathLen()) + ")";
  }
  if (kind == "keyUsage") return " (bits " + std::to_string(static_cast<const sxKeyUsage &>(ext).KeyUsageBits()) + ")";
  if (kind.ends_with("KeyIdentifier")) {
    return " (type " + std::to_string(static_cast<const sxExtKeyID &>(ext).KIdType()) + ")";
  }
  if (kind == "extKeyUsage") {
    const auto &usage = static_cast<const sxExtKeyUsage &>(ext);
    for (int i = 0; i < usage.Count(); ++i) all += " " + std::to_string(usage.Purpose(i));
    for (int i = 0; i < 11; ++i) {
      const bool has = usage.Has(static_cast<sxExtKeyUsageType>(i));
      EXPECT_EQ((all + " ").find(" " + std::to_string(i) + " ") != std::string::npos, has) << i;
    }
    return " (purposes" + all + ")";
  }
  if (kind != "issuingDistributionPoint") return "";
  const auto &point = static_cast<const sxIssuingDP &>(ext);
  const bool flags[] = {point.OnlyUserCerts(), point.OnlyCACerts(), point.HasOnlySomeReasons(), point.IndirectCRL(),
                        point.OnlyAttributeCerts()};
  for (int i = 0; i < 5; ++i) all += flags[i] ? std::to_string(i + 1) : "";
  return " (flags " + all + ")";
}

TEST(sxExtension, EachKindReadsPrintsAndWrites) {
  ExpectRows("cert/extensions.txt", 5, {{"read", [](const CaseRow &row) {
    const sxAsnOid &oid = *kKinds.at(row[1]);
    const ExtPtr ext = Parse(oid, CaseOctets(row[2]));
    if (ext == nullptr) return std::string("refused");
    EXPECT_EQ(CaseOctets(row[3] == "=" ? row[2] : row[3]), Composed(oid, *ext));
    const std::string printed = Sprinted(*ext, 0);
    EXPECT_EQ(Indented(printed, 2), Sprinted(*ext, 2));
    return OnOneLine(printed) + Facts(row[1], *ext);
  }}});
}

TEST(sxExtension, AreMadeFromValues) {
  EXPECT_EQ("Is a CA\n0 levels\n", Sprinted(sxBasicConstraint(true, 0), 0));
  EXPECT_EQ(-1, sxBasicConstraint(true, -7).PathLen());
  EXPECT_EQ(0xFFFFFFFFU, sxKeyUsage(0xFFFFFFFFU).KeyUsageBits());
  EXPECT_STREQ("decipherOnly", sxKeyUsage::KeyusageStr(sxKU_decipherOnly));
  EXPECT_STREQ("bad value", sxExtKeyUsage::ExtKeyusageStr(0));
  EXPECT_STREQ("", sxExtKeyUsage::ExtKeyusageStr(10));
  sxExtKeyUsage usage;
  usage.Add(sxASN_id_kp_serverAuth);
  usage.Add(sxAsnOid({1, 2, 3}));
  const std::unique_ptr<sxASN_ExtKeyUsageSyntax> asn(usage.ExtKeyUsage_2_ASN());
  EXPECT_EQ("300e06082b0601050507030106022a03", EncodeHex(*asn));
  EXPECT_EQ(DecodeHex(EncodeHex(*asn).c_str()), Composed(sxASN_id_ce_extKeyUsage, usage));
  EXPECT_EQ("", Sprinted(sxExtGN(kExtNameSubjectAltName, sxGeneralNames()), 1));
  sxAuthorityInfoAccess access;
  EXPECT_EQ("", Sprinted(access, 1));
  access.Add(sxASN_id_ad_caIssuers, sxGeneralName(sxGN_uri, "u:x", 3));
  EXPECT_EQ("\tAuthority Info Access:\n\t\tCA Issuers\n\t\t\tURI: u:x\n", Sprinted(access, 1));
  EXPECT_EQ(nullptr, access.Method(1));
  EXPECT_EQ(1, access.AuthorityInfoAccess().Count());
  const ExtPtr subject = Parse(sxASN_id_ce_subjectKeyIdentifier, CaseOctets("04{010203}"));
  EXPECT_EQ(Octets(), Composed(sxASN_id_ce_authorityKeyIdentifier, *subject));
  const ExtPtr empty = Parse(sxASN_id_ce_authorityKeyIdentifier, CaseOctets("30{}"));
  const auto &id = static_cast<const sxExtKeyID &>(*empty);
  EXPECT_TRUE(id.KIdBuf().IsEmpty() && id.KIdGNs().Count() == 0 && id.KIdSN() == nullptr);
  const sxExtDeviceData device(e_DeviceName, "ab");
  EXPECT_EQ(e_DeviceName, device.Type());
  EXPECT_EQ(CaseOctets("0c{\"ab\"}"), Composed(sxASN_id_pki_extension_device_name, device));
}

// Plain DER is read without the codec. A length in five octets sends the same content through it, so
// both must agree whatever one octet is changed to.
TEST(sxExtGN, PlainReaderAgreesWithTheCodec) {
  const struct { const char *kind, *content; } kCases[] = {
      {"subjectAltName", "82{\"h.e\"} 81{\"a@b\"} 86{\"u:x\"}"},
      {"cRLDistributionPoints", "30{a0{a0{86{\"a:\"} 86{\"b:\"}}}} 30{a0{a0{86{\"c:\"}}}}"},
      {"authorityInfoAccess", "30{06{2b06010505073001} 86{\"a:\"}} 30{06{2a03} 86{\"b:\"}}"},
      {"authorityInfoAccess", "30{06{} 86{\"a:\"}}"},   // no method: refused by both
  };
  int numParsed = 0, numRefused = 0;
  for (const auto &c : kCases) {
    const Octets good = CaseOctets(c.content);
    for (size_t at = 0; at < good.size(); ++at) {
      for (int octet = 0; octet < 256; ++octet) {
        Octets content = good;
        content[at] = static_cast<unsigned char>(octet);
        const Octets longLen = {0x30, 0x84, 0, 0, 0, static_cast<unsigned char>(content.size())};
        const ExtPtr one = Parse(*kKinds.at(c.kind), Der(0x30, content));
        const ExtPtr other = Parse(*kKinds.at(c.kind), Joined({longLen, content}));
        ASSERT_EQ(other != nullptr, one != nullptr) << EncodeHex(content);
        ++(one != nullptr ? numParsed : numRefused);
        ASSERT_TRUE(one == nullptr || Sprinted(*other, 0) == Sprinted(*one, 0)) << EncodeHex(content);
      }
    }
  }
  EXPECT_LT(1000, numParsed);
  EXPECT_LT(1000, numRefused);
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
  EXPECT_EQ(Sprinted(copy, 0), Sprinted(other, 0));
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

std::string Names(const sxExtensionsList &list) {
  std::string names;
  for (const auto *item = list.First(); item != nullptr; item = item->next) {
    names += std::string(" ") + (item->ext != nullptr ? item->ext->ExtName() : "none") + (item->critical != 0 ? "!" : "");
  }
  return names;
}

sxExtension *MakeSilently(const sxASN_Extension &, int &) { return new sxKeyUsage(1); }
sxExtension *MakeUnderstood(const sxASN_Extension &, int &understood) {
  understood = 1;
  return new sxBasicConstraint(true, -1);
}
constexpr sxExtParser kSilentTable[] = {{&sxASN_id_ce_keyUsage, MakeSilently},
                                        {&sxASN_id_ce_basicConstraints, MakeUnderstood},
                                        {nullptr, nullptr}};

TEST(sxExtensionsList, ParsesUntilACriticalOneIsNotUnderstood) {
  const auto parsedBy = [](const sxExtParser *table) {
    return [table](const CaseRow &row) {
      sxASN_Extensions extensions;
      EXPECT_EQ(0, DecodeOctets(CaseOctets("30{" + row[1] + "}"), extensions));
      sxExtensionsList list;
      const sxAsnOid *stopped = list.Parse(&extensions, table);
      char oid[64] = "";
      if (stopped != nullptr) stopped->GetStr(oid, sizeof oid);
      return oid + (":" + Names(list));
    };
  };
  ExpectRows("cert/extension-lists.txt", 3, {{"certificate", parsedBy(Get_ExtParserTable())},
                                             {"crl", parsedBy(Get_CRLExtParserTable())},
                                             {"none", parsedBy(nullptr)},
                                             {"silent", parsedBy(kSilentTable)}});
  sxExtensionsList list;
  EXPECT_EQ(nullptr, list.Parse(nullptr, Get_ExtParserTable()));
  EXPECT_EQ("", Sprinted(list, 1));
  const LogCapture log;
  list.Herror();
  EXPECT_EQ("", Joined(log));
}

// To be handed over.
sxExtension *ExtensionOf(const std::string &word) {
  if (word == "none") return nullptr;
  if (word == "CA") return new sxBasicConstraint(true, 0);
  if (word == "noCA") return new sxBasicConstraint(false, -1);
  if (word == "purposes") return new sxExtKeyUsage;
  if (word == "points") return new sxExtGN(kExtNameDistPoints, sxGeneralNames());
  return new sxKeyUsage(static_cast<unsigned>(std::stoul(word)));
}

// "-" when it fails, which leaves no list.
std::string ComposedBy(const sxExtensionsList &list, const sxExtComposer *table) {
  sxASN_Extensions before, *out = &before;
  if (list.Compose(table, &out) != 0) {
    EXPECT_EQ(nullptr, out);
    return "-";
  }
  const std::unique_ptr<sxASN_Extensions> composed(out);
  return out == nullptr ? "nothing" : EncodeHex(*out);
}

TEST(sxExtensionsList, DoesWhatTheStepsSay) {
  using List = sxExtensionsList;
  const auto oidOf = [](const std::string &kind) -> const sxAsnOid * {
    if (kind == "certificatePolicies") return &sxASN_id_ce_certificatePolicies;
    return kind == "null" ? nullptr : kKinds.at(kind);
  };
  Script()
      .OnCopiesOf<List>()
      .On("List", [] { return List(); })
      .On("add", [oidOf](List &list, const std::string &kind, int critical, const std::string &ext) {
        list.Add(oidOf(kind), critical, ExtensionOf(ext));
      })
      .On("addAll", [](List &list, const List &other) { list.Add(other); })
      .On("set", [](List &list, const List &other) { list.Set(other); })
      .On("first", [](const List &list) { return list.First()->ext; })
      .On("find", [oidOf](const List &list, const std::string &kind) {   // by value
        const sxAsnOid *const oid = oidOf(kind);
        return list.Find(oid == nullptr ? nullptr : std::make_unique<sxAsnOid>(*oid).get());
      })
      .On("isCritical", [oidOf](const List &list, const std::string &kind) {
        return list.IsCritical(std::make_unique<sxAsnOid>(*oidOf(kind)).get());
      })
      .On("names", Names)
      .On("compose", [](const List &list) { return ComposedBy(list, Get_ExtComposerTable()); })
      .On("composeByNoTable", [](const List &list) { return ComposedBy(list, nullptr); })
      .On("composeNowhere", [](const List &list) { return list.Compose(Get_ExtComposerTable(), nullptr); })
      .On("FlatList", [] {
        return std::unique_ptr<List, void (*)(List *)>(sxExtensionsList_New(), sxExtensionsList_Delete);
      })
      .On("flatAdd", [oidOf](List *list, const std::string &kind, const std::string &ext) {
        std::unique_ptr<sxExtension> added(ExtensionOf(ext));   // not taken when it is refused
        const int rc = sxExtensionsList_Add(list, oidOf(kind), 0, added.get());
        if (rc == 0) static_cast<void>(added.release());
        return rc;
      })
      .Run("cert/sxExtensionsList.steps");
}

// Every kind at once, as another implementation writes it, comes back octet by octet.
TEST(sxExtensionsList, ReadsPrintsAndWritesAllKindsTogether) {
  const Octets der = Text(CaseData("cert/every-extension.der"));
  sxASN_Certificate cert;
  ASSERT_EQ(0, DecodeOctets(der, cert));
  sxExtensionsList list;
  ASSERT_EQ(nullptr, list.Parse(cert.tbsCertificate->extensions, Get_ExtParserTable()));
  EXPECT_EQ(CaseData("cert/every-extension.txt"), Sprinted(list, 0));
  EXPECT_EQ(Indented(Sprinted(list, 0), 2), Sprinted(list, 2));
  EXPECT_EQ(Sprinted(list, 1), Fprinted(list, 1));
  list.Sprint(nullptr, 1);
  sxASN_Extensions *out = nullptr;
  ASSERT_EQ(0, list.Compose(Get_ExtComposerTable(), &out));
  const std::unique_ptr<sxASN_Extensions> composed(out);
  EXPECT_EQ(EncodeHex(*cert.tbsCertificate->extensions), EncodeHex(*composed));
}

}  // namespace
