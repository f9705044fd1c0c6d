#include "kxcert/asn1/sxAsnAny.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/modules/PKCS12.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnEXTERNAL.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// With log it does not decode.
constexpr struct { const char *what; const char *hex; const char *log; } kRawCases[] = {
    {"definite", "3003020105", nullptr},
    {"long identifier", "9f807f0105", nullptr},
    {"empty", "0500", nullptr},
    {"indefinite", "3080 020105 0000", nullptr},
    {"indefinite in indefinite", "3080 3080 3003020105 0000 3080 0000 0000", nullptr},
    {"end of contents alone", "0000", "sxAsnRawAny::BDec attempt to decode length failed"},
    {"no length", "30", "sxAsnRawAny::BDec attempt to decode length failed"},
    {"length negative", "3080 3084fffffffd", "sxAsnRawAny::BDec attempt to decode length failed"},
    {"half an end of contents", "3080 020105 00",
     "sxAsnRawAny::BDec attempt to decoded Eoc failed, can't read from buf offset = 6"},
    {"a second octet in it", "3080 020105 0001",
     "sxAsnRawAny::BDec attempt to decoded Eoc failed, Eoc != 0  before offset = 7"},
    {"two elements", "0500 0500", "sxASN_DecodeBuf not all the buffer was decoded"},
};

TEST(sxAsnRawAny, KeepsOneElement) {
  for (const auto &c : kRawCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    sxAsnRawAny value;
    EXPECT_EQ(c.log == nullptr ? EncodeHex(DecodeHex(c.hex)) : "-", Reencode(c.hex, value));
    EXPECT_TRUE(c.log == nullptr || log.Has(c.log)) << testing::PrintToString(log.Lines());
  }
  sxAsnRawAny value;
  EXPECT_EQ("-", EncodeHex(value)) << "without data";
  const unsigned char octets[] = {0x05, 0x00};
  value.SetData(octets, 2);
  EXPECT_EQ("0500", EncodeHex(value));
  value.SetData(nullptr, 2);
  EXPECT_EQ("-", EncodeHex(value));
}

// Counted and not recursed: the depth of the octets costs no stack.
TEST(sxAsnRawAny, NestsWithoutLimit) {
  constexpr int kLevels = 200000;
  std::vector<unsigned char> octets;
  for (int i = 0; i < kLevels; ++i) octets.insert(octets.end(), {0x30, 0x80});
  octets.insert(octets.end(), 2 * kLevels, 0);
  sxAsnRawAny value;
  EXPECT_EQ(0, DecodeOctets(octets, value));
  octets.pop_back();
  EXPECT_EQ(-1, DecodeOctets(octets, value));
}

// Counts its objects, to see which prototype is destroyed.
class Counted : public sxAsnNull {
 public:
  Counted() { ++s_alive; }
  ~Counted() override { --s_alive; }
  static inline int s_alive = 0;
};

TEST(sxAsnAny, FirstInstallationWins) {
  const LogCapture log;
  const sxAsnOid oid({1, 2, 3, 99});
  sxAsnAny::InstallAnyByOid(oid, 1000, new Counted);
  sxAsnAny::InstallAnyByOid(oid, 1001, new Counted);
  EXPECT_EQ(1, Counted::s_alive);
  ASSERT_NE(nullptr, sxAsnAny::FindByOid(oid));
  EXPECT_EQ(1000, sxAsnAny::FindByOid(oid)->anyId);
  EXPECT_TRUE(log.Has("sxAsnAny::InstallAnyByOid: duplicate OID "));

  sxAsnAny::InstallAnyByInt(sxAsnInt(424242), 1002, new Counted);
  sxAsnAny::InstallAnyByInt(sxAsnInt(424242), 1003, new Counted);
  EXPECT_EQ(2, Counted::s_alive);
  EXPECT_EQ(1002, sxAsnAny::FindByInt(sxAsnInt(424242))->anyId);
  EXPECT_TRUE(log.Has("sxAsnAny::InstallAnyByInt Duplicate Int"));

  sxAsnAny::InstallAnyByInt(sxAsnInt(424243), 1004, nullptr);   // without a prototype nothing decodes
  sxAsnAny any(sxAsnInt(424243));
  EXPECT_EQ(nullptr, any.Value());
  EXPECT_EQ(-1, DecodeHex("0500", any));
  EXPECT_TRUE(log.Has("sxAsnAny::BDec value is NULL"));
}

TEST(sxAsnAny, IsTheValueThatItsTypeSelects) {
  sxAsnAny any(sxASN_id_principalName);
  ASSERT_NE(nullptr, any.Value());
  EXPECT_STREQ("sxASN_PrincipalName", any.Value()->TypeName());
  EXPECT_EQ("0c0141", Reencode("0c0141", any));
  EXPECT_EQ(&any, any.GetType("sxAsnAny"));
  EXPECT_EQ(any.Value(), any.GetType("sxASN_PrincipalName"));
  EXPECT_EQ(any.Value(), any.GetType("sxAsnOcts"));

  const LogCapture log;
  EXPECT_EQ("-", Reencode("020105", any));
  EXPECT_TRUE(log.Has("sxAsnAny::BDec attempt to decoded failed"));

  sxASN_AnotherName name;   // keeps what is no principal name
  EXPECT_EQ("3011060a2b060104018237140203a00316017a", Reencode("3013060a2b060104018237140203a08016017a0000", name));

  const sxAsnAny copy(any);
  EXPECT_NE(any.Value(), copy.Value());
  any.SetTypeByInt(sxAsnInt(777));   // unknown
  EXPECT_EQ(nullptr, any.Selected());
  EXPECT_EQ("020105", Reencode("020105", any));
  EXPECT_EQ(any.Value(), any.GetType("sxAsnRawAny"));
  any = copy;
  EXPECT_EQ(copy.Selected(), any.Selected());

  sxAsnAny empty;
  EXPECT_EQ("-", EncodeHex(empty));
  EXPECT_TRUE(log.Has("SxAsnAny::BEnc attempt to encoded failed"));
  EXPECT_EQ("<null>\n", Printed(empty));
  sxAsnAny adopted(sxAsnInt(777), new sxAsnInt(3));
  EXPECT_EQ("int = 3\n", Printed(adopted));
}

// By hand, in the order of the identifier numbers. Each module begins with the first four keys once more;
// those rows are dropped and use up their numbers.
constexpr struct { int id; const char *key; const char *className; } kRegistrations[] = {
    {0, "1", "sxAsnInt"}, {1, "1.2.840.113549.1.7.1", "sxAsnOcts"}, {2, "1.2.840.113549.1.9.22.1", "sxAsnOcts"},
    {3, "1.2.840.113549.1.9.23.1", "sxAsnOcts"}, {8, "1.3.6.1.4.1.311.20.2.3", "sxASN_PrincipalName"},
    {13, "1.3.14.3.2.7", "sxAsnOcts"}, {14, "1.2.840.113549.1.12.10.1.2", "sxASN_EncryptedPrivateKeyInfo"},
    {19, "2.16.840.1.113730.2.5", "sxASN_CertificateSequence"}, {20, "1.2.840.113549.1.7.6", "sxASN_EncryptedData"},
    {21, "1.2.840.113549.1.7.2", "sxASN_SignedData"}, {22, "1.2.840.113549.1.7.3", "sxASN_EnvelopedData"},
    {27, "1.2.840.113549.1.12.1.6", "sxASN_PKCS12PbeParams"}, {28, "1.2.840.113549.1.12.1.3", "sxASN_PKCS12PbeParams"},
    {29, "1.2.840.113549.1.12.10.1.1", "sxASN_PrivateKeyInfo"}, {31, "1.2.840.113549.1.12.10.1.3", "sxASN_CertBag"},
    {32, "1.2.840.113549.1.12.10.1.4", "sxASN_CRLBag"}, {37, "1.2.840.113533.7.66.13", "sxASN_PBMParameter"},
    {38, "1089568", "sxASN_CertId"}, {43, "1.3.6.1.5.5.7.7.2", "sxASN_IdentificationSetOf"},
    {44, "1.3.6.1.5.5.7.7.3", "sxASN_IdentityProofSetOf"}, {45, "1.3.6.1.5.5.7.7.1", "sxASN_CMCStatusInfoSetOf"},
};

TEST(Modules, RegisterTheirOpenTypes) {
  for (const auto &r : kRegistrations) {
    SCOPED_TRACE(r.key);   // dotted, or a number
    const sxAnyInfo *info = std::strchr(r.key, '.') != nullptr ? sxAsnAny::FindByOid(*OidOf(r.key))
                                                               : sxAsnAny::FindByInt(sxAsnInt(std::atoi(r.key)));
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(r.id, info->anyId);
    EXPECT_STREQ(r.className, info->prototype->TypeName());
  }
}

template <class Module>
void Install() {
  const Module again;
  static_cast<void>(again);
}

// A module that registers again keeps the first entries: all its types come as duplicates.
TEST(Modules, RegisterOnce) {
  const LogCapture log;
  for (void (*const install)() :
       {Install<PKIX1Explicit88_InitAny>, Install<PKIX1Implicit88_InitAny>, Install<SXUTILS_InitAny>,
        Install<CryptographicMessageSyntax_InitAny>, Install<PKCS12_InitAny>, Install<PKIXCRMF_InitAny>,
        Install<EnrollmentMessageSyntax_InitAny>, Install<PKIXCMP_InitAny>, Install<OCSP_InitAny>}) {
    install();
  }
  const auto numOf = [&log](const char *text) {
    const std::vector<std::string> lines = log.Lines();
    return std::count_if(lines.begin(), lines.end(), [=](const std::string &line) { return line.starts_with(text); });
  };
  EXPECT_EQ(41, numOf("sxAsnAny::InstallAnyByOid: duplicate OID "));
  EXPECT_EQ(9, numOf("sxAsnAny::InstallAnyByInt Duplicate Int"));
  EXPECT_EQ(50U, log.Lines().size()) << "the numbers run from 0 to 49";
  EXPECT_EQ(13, sxAsnAny::FindByOid(*OidOf("1.3.14.3.2.7"))->anyId);
}

constexpr struct { const char *what; const char *hex; int choiceId; } kExternalCases[] = {
    {"ASN.1 type", "280906022a03a003020105", sxAsnEXTERNALChoice::single_ASN1_typeCid},
    {"octets", "2806020107810141", sxAsnEXTERNALChoice::octet_alignedCid},
    {"bits, described", "280707014182020780", sxAsnEXTERNALChoice::arbitraryCid},
};

TEST(sxAsnEXTERNAL, CarriesEachEncoding) {
  for (const auto &c : kExternalCases) {
    SCOPED_TRACE(c.what);
    sxAsnEXTERNAL value;
    ASSERT_EQ(c.hex, Reencode(c.hex, value));
    EXPECT_EQ(c.choiceId, value.encoding->ChoiceId());
    sxAsnEXTERNAL copy(value);
    EXPECT_EQ(c.hex, EncodeHex(copy));
  }
  const LogCapture log;
  sxAsnEXTERNAL value;
  EXPECT_EQ("-", Reencode("300906022a03a003020105", value));
  EXPECT_TRUE(log.Has("sxAsnEXTERNAL::BDec: ERROR - wrong tag offset = 1"));
  EXPECT_EQ("-", Reencode("280406022a03", value)) << "no encoding";
  sxAsnEXTERNALChoice choice;
  choice.Set_octet_aligned(sxAsnOcts(reinterpret_cast<const unsigned char *>("A")));
  EXPECT_EQ("810141", EncodeHex(choice));
}

}  // namespace
