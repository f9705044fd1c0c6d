#include "kxcert/asn1/sxAsnAny.h"

#include <gtest/gtest.h>

#include <algorithm>

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
#include "support/caseFile.h"
#include "support/logCapture.h"

namespace {

TEST(sxAsnRawAny, KeepsTheDataThatIsSet) {
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
  Octets octets;
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
  sxAsnAny adopted(sxAsnInt(777), new sxAsnInt(3));
  EXPECT_EQ("int = 3\n", Printed(adopted));
}

TEST(Modules, RegisterTheirOpenTypes) {
  for (const CaseRow &row : CaseRows("asn1/registrations.txt", 3)) {
    SCOPED_TRACE(row.where);
    const sxAnyInfo *info = row[1].find('.') != std::string::npos ? sxAsnAny::FindByOid(*OidOf(row[1].c_str()))
                                                                 : sxAsnAny::FindByInt(sxAsnInt(std::stoi(row[1])));
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(std::stoi(row[0]), info->anyId);
    EXPECT_EQ(row[2], info->prototype->TypeName());
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

TEST(sxAsnEXTERNAL, CopiesAndIsChosen) {
  sxAsnEXTERNAL value;
  ASSERT_EQ(0, DecodeHex("2806 020107 810141", value));
  EXPECT_EQ(sxAsnEXTERNALChoice::octet_alignedCid, value.encoding->ChoiceId());
  sxAsnEXTERNAL copy(value);
  EXPECT_EQ("2806020107810141", EncodeHex(copy));
  sxAsnEXTERNALChoice choice;
  choice.Set_octet_aligned(sxAsnOcts(reinterpret_cast<const unsigned char *>("A")));
  EXPECT_EQ("810141", EncodeHex(choice));
}

}  // namespace
