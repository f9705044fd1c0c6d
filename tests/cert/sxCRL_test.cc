#include "kxcert/cert/sxCRL.h"

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <random>

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/certFormats.h"
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

TEST(sxCRL, NamesACriticalExtensionOfAnEntry) {
  const Octets der = TestCrl(1, true);
  const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
  EXPECT_EQ(1, crl.OK());
  const sxAsnOid *oid = crl.UnhandledCritExt();
  ASSERT_NE(nullptr, oid);
  EXPECT_EQ((Octets{0x55, 0x1D, 0x1D}), Octets(oid->Data(), oid->Data() + oid->Len()));   // 2.5.29.29
}

}  // namespace
