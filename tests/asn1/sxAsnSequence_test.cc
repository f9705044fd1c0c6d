#include "asn1/modules/TESTTYPES.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

#define UTC1 "170d3236303130313030303030305a"
#define UTC2 "170d3336303130313030303030305a"

// again is "=" for the same octets and "-" for a refusal.
struct SequenceCase { const char *what; const char *hex; const char *again; const char *log; };
constexpr SequenceCase kValidityCases[] = {
    {"definite", "301e" UTC1 UTC2, "=", nullptr},
    {"indefinite", "3080" UTC1 UTC2 "0000", "301e" UTC1 UTC2, nullptr},
    {"number of the indefinite form", "3084fffffffe" UTC1 UTC2 "0000", "301e" UTC1 UTC2, nullptr},
    {"wrong tag", "321e" UTC1 UTC2, "-", "sxASN_Validity::BDec: ERROR - wrong tag offset = 1"},
    {"no length", "30", "-", "sxASN_Validity::BDec: attempt to decoded length failed"},
    {"second element missing", "300f" UTC1, "-",
     "sxASN_Validity::BDecContent ERROR - SEQUENCE is missing non-optional elmt. offset = 17"},
    {"nothing", "3000", "-", "sxASN_Validity::BDec: attempt to decoded Content failed"},
    {"an element of another type", "30030201 05", "-",
     "sxASN_Validity::BDecContent ERROR - SEQUENCE is missing non-optional elmt. offset = 3"},
    {"an element more", "3020" UTC1 UTC2 "0500", "-",
     "sxASN_Validity::BDecContent ERROR - Length discrepancy on sequence. offset = 32"},
    {"an element more, indefinite", "3080" UTC1 UTC2 "0500 0000", "-",
     "sxASN_Validity::BDecContent: attempt to decoded Eoc failed"},
    {"half an end of contents", "3080" UTC1 UTC2 "00", "-",
     "sxASN_Validity::BDecContent: attempt to decoded Eoc failed"},
    {"an element past the end", "301d" UTC1 UTC2, "-",
     "sxASN_Validity::BDecContent ERROR - Length discrepancy on sequence. offset = 32"},
    {"a bad element", "301e" UTC1 "1780" UTC2, "-",
     "sxASN_Validity::BDecContent: attempt to decoded notAfter Content failed"},
    {"a bad length", "3011" UTC1 "17ff", "-", "sxASN_Validity::BDecContent: attempt to decoded length failed"},
};

template <class T, size_t kCases>
void Check(const SequenceCase (&cases)[kCases]) {
  for (const SequenceCase &c : cases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    T value;
    EXPECT_EQ(c.again[0] == '=' ? EncodeHex(DecodeHex(c.hex)) : c.again, Reencode(c.hex, value));
    EXPECT_TRUE(c.log == nullptr || log.Has(c.log)) << testing::PrintToString(log.Lines());
  }
}

TEST(sxAsnSequence, DecodesInOrder) { Check<sxASN_Validity>(kValidityCases); }

constexpr SequenceCase kDefaultsCases[] = {
    {"none", "3000", "=", nullptr},
    {"none, indefinite", "30800000", "3000", nullptr},
    {"all", "3014 020105 800106 a1083006 06032a0304 0500 0500", "-", nullptr},
    {"implicit SEQUENCE", "3006 a104 06022a03", "=", nullptr},
    {"a default value is written when present", "3003 020100", "=", nullptr},
    {"the last alone", "30020500", "=", nullptr},
    {"the last alone, indefinite", "3080 0500 0000", "30020500", nullptr},
    {"out of order", "3006 800106 020105", "-",
     "sxASN_TestDefaults::BDecContent ERROR - Length discrepancy on sequence. offset = 6"},
    {"twice", "3006 020105 020105", "-", nullptr},
    {"a constructed identifier for a primitive type", "3003 a00106", "-", nullptr},
    {"a primitive identifier for a SEQUENCE", "3006 8104 06022a03", "-", nullptr},
    {"a lone identifier at the end", "3004 020105 05", "-", nullptr},
    {"a zero octet in a definite length", "3005 020105 0000", "-", nullptr},
};

TEST(sxAsnSequence, LeavesOptionalElementsOut) {
  Check<sxASN_TestDefaults>(kDefaultsCases);
  sxASN_TestDefaults value;
  ASSERT_EQ(0, DecodeHex("3006 020105 800106", value));
  ASSERT_EQ(0, DecodeHex("3003 800107", value));
  EXPECT_EQ(nullptr, value.version) << "the old value is gone";
  EXPECT_EQ(7, value.default_->GetShortVal());
}

constexpr SequenceCase kExplicitCases[] = {
    {"empty", "3000", "=", nullptr},
    {"definite", "3006 a0043002 3000", "=", nullptr},
    {"indefinite", "3080 a080 3080 3000 0000 0000 0000", "3006a00430023000", nullptr},
    {"inner identifier of another type", "3004 a002 3100", "-",
     "sxASN_TestNest::BDecContent Unexpected Tag offset = 5"},
    {"no inner element", "3002 a000", "-", "sxASN_TestNest::BDecContent Unexpected Tag offset = 4"},
    {"inner element shorter", "3005 a003 3000 00", "-",
     "sxASN_TestNest::BDecContent ERROR - Length discrepancy on sequence. offset = 6"},
    {"inner element longer", "3004 a001 3000", "-",
     "sxASN_TestNest::BDecContent ERROR - Length discrepancy on sequence. offset = 6"},
    {"no end of contents", "3080 a080 3000 0500 0000", "-",
     "sxASN_TestNest::BDecContent: attempt to decoded Eoc failed"},
};

TEST(sxAsnSequence, ExplicitTagIsALayer) { Check<sxASN_TestNest>(kExplicitCases); }

// A list ends without an error when its last element goes past its length, and the SEQUENCE around it
// sees by the count that something did.
constexpr SequenceCase kListWithinCases[] = {
    {"as long as it says", "3005 a103 820141", "=", nullptr},
    {"one octet past the list", "3004 a102 820141", "-",
     "sxASN_AuthorityKeyIdentifier::BDecContent ERROR - Length discrepancy on sequence. offset = 7"},
    {"past the buffer", "3005 a103 820241", "-", "BDecLen: length exceeds buffer"},
};

TEST(sxAsnSequence, NoticesAListThatGoesPastItsLength) { Check<sxASN_AuthorityKeyIdentifier>(kListWithinCases); }

TEST(sxAsnSequence, NestsToTheLimit) {
  for (const bool indefinite : {false, true}) {
    std::string hex;
    for (int level = 1; level <= kMaxNesting + 1; ++level) {
      if (indefinite) {
        hex = "3080" + hex + "0000";
      } else {
        const auto len = static_cast<unsigned char>(hex.size() / 2);
        const unsigned char header[] = {0x30, 0x81, len};
        hex = EncodeHex(header, sizeof header) + hex;
      }
      sxASN_TestNest value;
      const LogCapture log;
      EXPECT_EQ(level <= kMaxNesting ? 0 : -1, DecodeHex(hex.c_str(), value)) << level;
      EXPECT_EQ(level > kMaxNesting, log.Has("sxASN_TestNest::BDecContent: more than 64 levels. offset = "));
    }
  }
}

constexpr SequenceCase kByOidCases[] = {
    {"not registered", "3008 06022a03 0c02ffff", "=", nullptr},
    {"not registered, indefinite", "300c 06022a03 3080 3080 0000 0000", "=", nullptr},
    {"registered", "3010 06052b0e030207 0407 41424344454647", "=", nullptr},
    {"registered, another type", "300a 06052b0e030207 020105", "-",
     "sxASN_TestByOid::BDecContent: attempt to decoded value Content failed"},
    {"an empty string counts in full", "3009 06052b0e030207 0400", "=", nullptr},
    {"not registered, no end", "300a 06022a03 3080 3080 0000", "-",
     "sxAsnRawAny::BDec attempt to decode length failed"},
    {"nothing", "3004 06022a03", "-", nullptr},
};

TEST(sxAsnSequence, IdentifierSelectsTheOpenType) {
  Check<sxASN_TestByOid>(kByOidCases);
  sxASN_TestByInt value;
  EXPECT_EQ("3008020101a003020107", Reencode("3008 020101 a003020107", value));
  EXPECT_NE(nullptr, value.value->GetType("sxAsnInt")) << "registered under 1";
  EXPECT_EQ("3008020102a003020107", Reencode("3008 020102 a003020107", value));
  EXPECT_NE(nullptr, value.value->GetType("sxAsnRawAny"));
  EXPECT_EQ("300d020102a0030201073103020105", Reencode("300d 020102 a003020107 3103020105", value));
  EXPECT_EQ("-", Reencode("3008 020101 a0030c0107", value));
}

#define SET_NUMBER "020105"
#define SET_TEXT "a0030c0141"
#define SET_KIND "810107"
constexpr SequenceCase kSetCases[] = {
    {"in order", "3112" SET_NUMBER UTC1, "=", nullptr},
    {"in another order", "311a" SET_TEXT UTC1 SET_NUMBER SET_KIND, "311a" SET_NUMBER UTC1 SET_TEXT SET_KIND, nullptr},
    {"indefinite", "3180" UTC1 SET_NUMBER "0000", "3112" SET_NUMBER UTC1, nullptr},
    {"a mandatory element missing", "3103" SET_NUMBER, "-",
     "sxASN_TestSet::BDecContent ERROR - SEQUENCE is missing non-optional elmt. offset = 5"},
    {"an element twice", "3115" SET_NUMBER UTC1 SET_NUMBER, "-",
     "sxASN_TestSet::BDecContent ERROR - Length discrepancy on sequence. offset = 21"},
    {"an unknown element", "3114" SET_NUMBER UTC1 "0500", "-", nullptr},
    {"an unknown element, indefinite", "3180" SET_NUMBER UTC1 "0500 0000", "-",
     "sxASN_TestSet::BDecContent: attempt to decoded Eoc failed"},
    {"half an end of contents", "3180" SET_NUMBER UTC1 "0001", "-", nullptr},
    {"an element past the end", "3111" SET_NUMBER UTC1, "-", nullptr},
    {"a SEQUENCE", "3012" SET_NUMBER UTC1, "-", "sxASN_TestSet::BDec: ERROR - wrong tag offset = 1"},
};

TEST(sxAsnSequence, SetTakesItsElementsInAnyOrder) {
  Check<sxASN_TestSet>(kSetCases);
  sxASN_TestSet value;
  ASSERT_EQ(0, DecodeHex("3115" SET_NUMBER UTC1 SET_KIND, value));
  ASSERT_EQ(0, DecodeHex("3112" SET_NUMBER UTC1, value));
  EXPECT_EQ(nullptr, value.kind) << "the old value is gone";
}

TEST(sxAsnSequence, SaysWhichElementDidNotEncode) {
  const LogCapture log;
  sxASN_Validity value;
  value.notBefore = new sxASN_Time;
  value.notAfter = new sxASN_Time;   // without a value
  EXPECT_EQ("-", EncodeHex(value));
  EXPECT_TRUE(log.Has("sxASN_Validity::BEncContent: attempt to encoded notAfter Content failed"));
  EXPECT_TRUE(log.Has("sxASN_Validity::BEnc: attempt to encoded  content failed"));

  ASSERT_EQ(0, DecodeHex("301e" UTC1 UTC2, value));
  char area[32];
  int len = 0;
  EXPECT_EQ(0, sxASN_EncodeBuf(value, nullptr, 0, len, 1));
  EXPECT_EQ(32, len);
  EXPECT_EQ(0, sxASN_EncodeBuf(value, area, 32, len, 1));
  EXPECT_EQ("301e" UTC1 UTC2, EncodeHex(reinterpret_cast<unsigned char *>(area), 32));
  struct { int size; const char *text; } kTight[] = {
      {29, "attempt to encoded notBefore Content failed"},
      {30, "sxASN_Validity::BEnc: attempt to encoded length failed"},
      {31, "sxASN_Validity::BEnc: attempt to encoded tag failed"}};
  for (const auto &tight : kTight) {
    EXPECT_EQ(-1, sxASN_EncodeBuf(value, area, tight.size, len, 1));
    EXPECT_EQ(-1, len);
    EXPECT_TRUE(log.Has(tight.text));
  }
}

TEST(sxAsnSequence, PrintsItsElements) {
  sxASN_TestSet set;
  ASSERT_EQ(0, DecodeHex("3112" SET_NUMBER UTC1, set));
  set.when->Set_utcTime(sxAsnUTCTime(reinterpret_cast<const unsigned char *>("Z")));
  EXPECT_EQ("  SEQUENCE { \n"
            "    number   int = 5\n"
            "    when         utcTime   Octet String\n"
            "    5a \n"
            "    Z\n"
            "    flag  -- void --\n"
            "    text  -- void --\n"
            "    kind  -- void --\n"
            "    who  -- void --\n"
            "\n"
            "  }\n", Printed(set, 1));
}

}  // namespace
