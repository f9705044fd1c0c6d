#include "kxcert/cert/sxCRL.h"

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <random>

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/testCrl.h"

namespace {

sxAsnInt Number(const char *hex) {
  const std::vector<unsigned char> octets = DecodeHex(hex);
  return *std::unique_ptr<sxAsnInt>(AsnIntFromBuf(octets.data(), static_cast<int>(octets.size())));
}

std::vector<int64_t> Times(const sxCRL &crl) {
  std::vector<int64_t> times;
  for (const sxRevokedEntry *e = crl.NextEntry(nullptr); e != nullptr; e = crl.NextEntry(e)) {
    times.push_back(e->revokedSec);
  }
  return times;
}

TEST(sxCRL, FindsANumberHoweverItIsStored) {
  sxCRL_Encoder crl;
  EXPECT_EQ(1, crl.AddEntry(Number("00a1b2c3d4e5"), 100));
  EXPECT_EQ(1, crl.AddEntry(sxAsnInt(-5), 200));
  EXPECT_EQ(1, crl.AddEntry(sxAsnInt(7), 300));
  struct { const char *hex; int64_t time; } const found[] = {
      {"00a1b2c3d4e5", 100}, {"0000a1b2c3d4e5", 100}, {"fffffffffb", 200}, {"fb", 200}, {"000000000007", 300},
  };
  for (const auto &c : found) {
    SCOPED_TRACE(c.hex);
    ASSERT_NE(nullptr, crl.FindEntry(Number(c.hex)));
    EXPECT_EQ(c.time, crl.FindEntry(Number(c.hex))->revokedSec);
  }
  for (const char *absent : {"a1b2c3d4e5", "00fb", "08", "00a1b2c3d4e6"}) {
    EXPECT_EQ(nullptr, crl.FindEntry(Number(absent))) << absent;
  }
  EXPECT_EQ(0, crl.AddEntry(Number("0000000007"), 999));   // the number is there
  EXPECT_THAT(Times(crl), testing::ElementsAre(100, 200, 300));
}

// Against a map, through growing, holes and their compaction.
TEST(sxCRL, KeepsOrderThroughAnyAddingAndRemoving) {
  std::mt19937 random(20300101);
  sxCRL_Encoder crl(1000);
  std::map<int, int64_t> model;
  for (int step = 0; step < 20000; ++step) {
    const int serial = static_cast<int>(random() % 700);
    if (random() % 2 == 0) {
      EXPECT_EQ(model.emplace(serial, step).second ? 1 : 0, crl.AddEntry(sxAsnInt(serial), step));
    } else {
      EXPECT_EQ(model.erase(serial) == 1 ? 0 : -1, crl.RemoveEntry(sxAsnInt(serial)));
    }
    ASSERT_EQ(static_cast<int>(model.size()), crl.GetSize());
  }
  std::vector<int64_t> expected;
  for (const auto &[serial, time] : model) {
    expected.push_back(time);
    ASSERT_NE(nullptr, crl.FindEntry(sxAsnInt(serial)));
  }
  std::sort(expected.begin(), expected.end());   // steps only grow: the order of addition
  EXPECT_EQ(expected, Times(crl));
}

TEST(sxCRL, DecodesItsEntries) {
  const Octets der = TestCrl(2);
  sxCRL *crl = sxCRL_Decode(der.data(), LenOf(der));
  ASSERT_NE(nullptr, crl);
  EXPECT_EQ(der, Octets(crl->GetBuf(), crl->GetBuf() + crl->BufLen()));
  EXPECT_THAT(Times(*crl), testing::ElementsAre(1893456000, 1893456000));
  EXPECT_NE(nullptr, crl->FindEntry(sxAsnInt(301)));
  EXPECT_EQ(nullptr, crl->FindEntry(sxAsnInt(302)));
  EXPECT_EQ(nullptr, crl->UnhandledCritExt());
  sxCRL_Free(crl);
  for (int len = 0; len < LenOf(der); ++len) ASSERT_EQ(nullptr, sxCRL_Decode(der.data(), len)) << len;
  EXPECT_EQ(nullptr, sxCRL_Decode(nullptr, 1));
}

constexpr char kNumber[] = "300b0603551d14 0404 02021000";
constexpr char kKeyId[] = "300d0603551d23 0406 30048002abcd";
constexpr char kScope[] = "300f0603551d1c 0101ff 0405 30038201ff";
constexpr char kAdvisoryScope[] = "300c0603551d1c 0405 30038201ff";
constexpr char kRelativeScope[] = "30100603551d1c 0101ff 0406 3004a002a100";
constexpr char kUnknown[] = "3009 06022a03 0101ff 0400";

TEST(sxCRL, KeepsItsExtensionsAndLeavesAScopeUnhandled) {
  const struct {
    const char *what;
    std::string extensions;
    const char *unhandled;
    bool hasRest, hasScope;
  } kCases[] = {
      {"none", "", "", false, false},
      {"number and key identifier", std::string(kNumber) + kKeyId, "", true, false},
      {"a scope", std::string(kNumber) + kScope + kKeyId, "551d1c", true, true},
      {"one that is not critical", std::string(kKeyId) + kAdvisoryScope + kNumber, "", true, true},
      {"one that is not understood", kRelativeScope, "551d1c", false, false},
      {"behind an unknown one", std::string(kUnknown) + kScope + kNumber + kKeyId, "2a03", true, true},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.what);
    const Octets der = TestCrlOf("", c.extensions.c_str());
    const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
    ASSERT_EQ(1, crl.OK());
    const sxAsnOid *oid = crl.UnhandledCritExt();
    EXPECT_EQ(DecodeHex(c.unhandled), oid == nullptr ? Octets() : Octets(oid->Data(), oid->Data() + oid->Len()));
    ASSERT_EQ(c.hasRest, crl.Number() != nullptr && crl.AuthorityKeyId() != nullptr);
    ASSERT_EQ(c.hasScope, crl.IssuingDP() != nullptr);
    if (c.hasRest) {
      EXPECT_EQ(0x1000, crl.Number()->GetShortVal());
      EXPECT_EQ(0xAB, crl.AuthorityKeyId()->KIdBuf().Data()[0]);
    }
    EXPECT_TRUE(!c.hasScope || crl.IssuingDP()->OnlyCACerts());
  }
}

TEST(sxCRL, NamesACriticalExtensionOfAnEntry) {
  const Octets der = TestCrl(1, true);
  const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
  EXPECT_EQ(1, crl.OK());
  const sxAsnOid *oid = crl.UnhandledCritExt();
  ASSERT_NE(nullptr, oid);
  EXPECT_EQ((Octets{0x55, 0x1D, 0x1D}), Octets(oid->Data(), oid->Data() + oid->Len()));   // 2.5.29.29
}

}  // namespace
