#include "asn1/modules/TESTTYPES.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

TEST(sxAsnSequence, NestsToTheLimit) {
  for (const bool indefinite : {false, true}) {
    Octets octets;
    for (int level = 1; level <= kMaxNesting + 1; ++level) {
      const Octets header = {0x30, 0x81, static_cast<unsigned char>(octets.size())};
      octets = indefinite ? Indefinite(0x30, octets) : Joined({header, octets});
      sxASN_TestNest value;
      const LogCapture log;
      EXPECT_EQ(level <= kMaxNesting ? 0 : -1, DecodeOctets(octets, value)) << level;
      EXPECT_EQ(level > kMaxNesting, log.Has("sxASN_TestNest::BDecContent: more than 64 levels. offset = "));
    }
  }
}

TEST(sxAsnSequence, SaysWhichElementHasNoValue) {
  const LogCapture log;
  sxASN_Validity value;
  value.notBefore = new sxASN_Time;
  value.notAfter = new sxASN_Time;
  EXPECT_EQ("-", EncodeHex(value));
  EXPECT_TRUE(log.Has("sxASN_Validity::BEncContent: attempt to encoded notAfter Content failed"));
  EXPECT_TRUE(log.Has("sxASN_Validity::BEnc: attempt to encoded  content failed"));
}

}  // namespace
