#include "kxcert/cert/sxCRL_Encoder.h"

#include <gmock/gmock.h>

#include <ctime>
#include <map>
#include <random>

#include "kxcert/asn1/sxAsnInt.h"
#include "support/rows.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/printed.h"
#include "support/scopedEnv.h"
#include "support/testCrl.h"
#include "support/testPki.h"

namespace {

sxAsnInt Number(const char *hex) {
  const Octets octets = CaseOctets(hex);
  return *std::unique_ptr<sxAsnInt>(AsnIntFromBuf(octets.data(), LenOf(octets)));
}

std::vector<int64_t> Times(const sxCRL &crl) {
  std::vector<int64_t> times;
  for (sxRevokedEntry e; crl.NextEntry(&e);) {
    times.push_back(e.revokedSec);
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
    sxRevokedEntry entry;
    EXPECT_TRUE(crl.FindEntry(nullptr, Number(c.hex), &entry));
    EXPECT_EQ(c.time, entry.revokedSec);
  }
  for (const char *absent : {"a1b2c3d4e5", "00fb", "08", "00a1b2c3d4e6"}) {
    EXPECT_FALSE(crl.FindEntry(nullptr, Number(absent), nullptr)) << absent;
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
    ASSERT_TRUE(crl.FindEntry(nullptr, sxAsnInt(serial), nullptr));
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
  EXPECT_EQ(1, crl->IsEntryExist(*TestCert("CN=a", nullptr, {.serial = "012C"}).Get()));
  EXPECT_EQ(0, crl->IsEntryExist(*TestCert("CN=a", nullptr, {.serial = "012E"}).Get()));
  EXPECT_TRUE(crl->FindEntry(nullptr, sxAsnInt(301), nullptr));
  EXPECT_FALSE(crl->FindEntry(nullptr, sxAsnInt(302), nullptr));
  EXPECT_EQ(nullptr, crl->UnhandledCritExt());
  sxCRL_Free(crl);
  for (int len = 0; len < LenOf(der); ++len) ASSERT_EQ(nullptr, sxCRL_Decode(der.data(), len)) << len;
  EXPECT_EQ(nullptr, sxCRL_Decode(nullptr, 1));
}

std::string Unhandled(const sxCRL &crl) {
  EXPECT_EQ(1, crl.OK());
  const sxAsnOid *oid = crl.UnhandledCritExt();
  return oid == nullptr ? "" : EncodeHex(oid->Data(), static_cast<size_t>(oid->Len()));
}

TEST(sxCRL, KeepsItsExtensionsAndLeavesAScopeUnhandled) {
  ExpectRows("cert/crl-extensions.txt", 3, {{"crl", [](const CaseRow &row) {
    const Octets der = TestCrlOf("", row[1]);
    const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
    std::string text = Unhandled(crl) + ":";
    if (crl.Number() != nullptr) text += " " + std::to_string(crl.Number()->GetShortVal());
    if (crl.AuthorityKeyId() != nullptr) text += " " + EncodeHex(crl.AuthorityKeyId()->KIdBuf().Data(), 1);
    if (crl.IssuingDP() != nullptr && crl.IssuingDP()->OnlyCACerts()) text += " scope";
    return text;
  }}});
  const Octets der = TestCrl(1, true);   // a critical extension of an entry
  EXPECT_EQ("551d1d", Unhandled(sxCRL(der.data(), static_cast<unsigned>(der.size()))));
}

std::string Printed(const Octets &octets, int indent) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, octets.data(), LenOf(octets), indent);
  return text.Text();
}

TEST(CrlPrint, PrintsWhatItHolds) {
  const ScopedEnv zone("TZ", "UTC");
  tzset();
  // Serials 5, key compromise, and 6; only for CA certificates and for the reasons 1, 2 and 8.
  const Octets scoped = TestCrlOf(
      "30{020105 17{\"300101000000Z\"} 30{30{06{551d15}04{0a0101}}}} 30{020106 17{\"300101000000Z\"}}",
      "30{06{551d14}04{02{1000}}} 30{06{551d1c}0101ff 04{30{82{ff} 83{076080}}}}");
  const sxCRL crl(scoped.data(), static_cast<unsigned>(scoped.size()));
  EXPECT_EQ(Sprinted(crl, 1), Fprinted(crl, 1));
  crl.Sprint(nullptr, 1);
  sxCert_Sprint_CRLbuf(nullptr, scoped.data(), LenOf(scoped), 0);
  const std::string hundred = Printed(TestCrl(100), 0), more = Printed(TestCrl(102), 0);
  PrintOuts out;
  out.Add("two entries", Printed(TestCrl(2), 1));
  out.Add("version 1", Printed(TestCrl(0), 0));
  out.Add("extensions and reasons, of an object", Sprinted(crl, 1));
  out.Add("nothing", Printed({}, 0) + Sprinted(sxCRL(nullptr, 0), 0));
  out.Add("no CRL", Printed(Text("no CRL"), 1));
  out.Add("how a hundred entries end", hundred.substr(hundred.find("018e") - 16));
  out.Add("how 102 end", more.substr(more.find("018f") - 16));
  out.ExpectIn("cert/crl-prints.txt");
  EXPECT_NE(std::string::npos, more.find("Revoked Certificates: 102\n"));
  EXPECT_EQ(hundred, Printed(Text(Pem(TestCrl(100), "X509 CRL")), 0));
  testing::internal::CaptureStdout();
  sxCert_Fprint_CRLbuf(nullptr, scoped.data(), LenOf(scoped), 0);
  EXPECT_EQ(Printed(scoped, 0), testing::internal::GetCapturedStdout());
}

}  // namespace
