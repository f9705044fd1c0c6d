// CRLs as text.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/textStream.h"
#include "support/derOctets.h"
#include "support/printed.h"
#include "support/runCommand.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"
#include "support/testCrl.h"

namespace {

std::string Printed(const Octets &octets, int indent) {
  SxStream text;
  sxCert_Sprint_CRLbuf(&text, octets.data(), LenOf(octets), indent);
  return text.Text();
}

class CrlPrint : public testing::Test {
 protected:
  CrlPrint() { tzset(); }
  const ScopedEnv m_zone{"TZ", "UTC"};
};

TEST_F(CrlPrint, PrintsWhatItHolds) {
  EXPECT_EQ(
      "\tX509 CRL Version 2\n"
      "\tIssuer: CN=ca\n"
      "\tThis update: Tue Jan  1 00:00:00 2030 Local Time\n"
      "\tNext update: Wed Jan  2 00:00:00 2030 Local Time\n"
      "\tSignature Algorithm: ECDSA with SHA-384\n"
      "\tRevoked Certificates: 2\n"
      "\t\tSerial Number: 012c Revoked: Tue Jan  1 00:00:00 2030 Local Time\n"
      "\t\tSerial Number: 012d Revoked: Tue Jan  1 00:00:00 2030 Local Time\n",
      Printed(TestCrl(2), 1));
  EXPECT_EQ(
      "X509 CRL Version 1\n"
      "Issuer: CN=ca\n"
      "This update: Tue Jan  1 00:00:00 2030 Local Time\n"
      "Signature Algorithm: ECDSA with SHA-384\n"
      "Revoked Certificates: 0\n",
      Printed(TestCrl(0), 0));
}

TEST_F(CrlPrint, ObjectsPrintTheirExtensionsAndReasonsAsWell) {
  // Serials 5, key compromise, and 6; only for CA certificates and for the reasons 1, 2 and 8.
  const Octets der = TestCrlOf(
      "30200201 05 170d3330303130313030303030305a 300c 300a0603551d15 0403 0a0101"
      "30120201 06 170d3330303130313030303030305a",
      "300b0603551d14 0404 02021000 30140603551d1c 0101ff 040a 3008 8201ff 8303 076080");
  const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
  EXPECT_EQ(
      "\tX509 CRL Version 2\n"
      "\tUnhandled critical extension 2.5.29.28\n"
      "\tIssuer: CN=ca\n"
      "\tThis update: Tue Jan  1 00:00:00 2030 Local Time\n"
      "\tSignature Algorithm: ECDSA with SHA-384\n"
      "\tCRL Number: 1000\n"
      "\tCritical:\n"
      "\tIssuing Distribution Point:\n"
      "\t\tOnly CA certificates\n"
      "\t\tOnly some reasons\n"
      "\tRevoked for these reasons only: keyCompromise cACompromise aACompromise\n"
      "\tRevoked Certificates: 2\n"
      "\t\tSerial Number: 05 Revoked: Tue Jan  1 00:00:00 2030 Local Time Reason: keyCompromise\n"
      "\t\tSerial Number: 06 Revoked: Tue Jan  1 00:00:00 2030 Local Time\n",
      Sprinted(crl, 1));
  EXPECT_EQ(Sprinted(crl, 1), Fprinted(crl, 1));
  EXPECT_EQ("Error: Empty data\n", Sprinted(sxCRL(nullptr, 0), 0));
}

TEST_F(CrlPrint, ListsAHundredEntriesAndCountsTheRest) {
  const std::string hundred = Printed(TestCrl(100), 0);
  EXPECT_NE(std::string::npos, hundred.find("\tSerial Number: 018f "));
  EXPECT_EQ(std::string::npos, hundred.find(" more"));
  const std::string more = Printed(TestCrl(102), 0);
  EXPECT_NE(std::string::npos, more.find("Revoked Certificates: 102\n"));
  EXPECT_EQ(std::string::npos, more.find("\tSerial Number: 0190 "));
  EXPECT_TRUE(more.ends_with("\n\t2 more\n"));
}

TEST_F(CrlPrint, TakesPemAndSaysWhatIsNoCrl) {
  const TempDir dir;
  const Octets der = TestCrl(1);
  const std::string file = dir.Write("crl", std::string(der.begin(), der.end()));
  // Our own markers: the base64 command writes lines of 64 as they want it.
  const std::string body = RunCommand("base64 -w 64 " + file);
  const std::string pem = "-----BEGIN X509 CRL-----\n" + body + "-----END X509 CRL-----\n";
  EXPECT_EQ(Printed(der, 0), Printed(Text(pem), 0));
  EXPECT_EQ("\tError: Error decoding buffer after trying both DER and Base64 formats\n", Printed(Text("no CRL"), 1));
  EXPECT_EQ("", Printed(Octets(), 0));
  testing::internal::CaptureStdout();
  sxCert_Fprint_CRLbuf(nullptr, der.data(), LenOf(der), 0);
  EXPECT_EQ(Printed(der, 0), testing::internal::GetCapturedStdout());
}

}  // namespace
