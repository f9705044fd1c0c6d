// CRLs as text.
#include <gtest/gtest.h>
#include <openssl/x509.h>

#include <ctime>

#include "kxcert/cert/sxCert.h"
#include "kxcert/platform/textStream.h"
#include "support/derOctets.h"
#include "support/runCommand.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *p) const {
    Fn(p);
  }
};
using TimePtr = std::unique_ptr<ASN1_TIME, Free<ASN1_TIME_free>>;

// A CRL with that many entries, numbered from 300 on; version 1 without an entry.
Octets MadeCrl(int numEntries) {
  const std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  const std::unique_ptr<X509_CRL, Free<X509_CRL_free>> crl(X509_CRL_new());
  const std::unique_ptr<X509_NAME, Free<X509_NAME_free>> name(X509_NAME_new());
  const auto *value = reinterpret_cast<const unsigned char *>("ca");
  X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_UTF8, value, -1, -1, 0);
  X509_CRL_set_issuer_name(crl.get(), name.get());
  const TimePtr first(ASN1_TIME_set(nullptr, 1893456000));
  const TimePtr next(ASN1_TIME_set(nullptr, 1893456000 + 86400));
  X509_CRL_set1_lastUpdate(crl.get(), first.get());
  if (numEntries > 0) {
    X509_CRL_set_version(crl.get(), 1);
    X509_CRL_set1_nextUpdate(crl.get(), next.get());
  }
  for (int i = 0; i < numEntries; ++i) {
    X509_REVOKED *entry = X509_REVOKED_new();
    const std::unique_ptr<ASN1_INTEGER, Free<ASN1_INTEGER_free>> serial(ASN1_INTEGER_new());
    ASN1_INTEGER_set(serial.get(), 300 + i);
    X509_REVOKED_set_serialNumber(entry, serial.get());
    X509_REVOKED_set_revocationDate(entry, first.get());
    X509_CRL_add0_revoked(crl.get(), entry);
  }
  X509_CRL_sign(crl.get(), key.get(), EVP_sha384());
  unsigned char *der = nullptr;
  const int len = i2d_X509_CRL(crl.get(), &der);
  const Octets octets(der, der + len);
  OPENSSL_free(der);
  return octets;
}

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
      Printed(MadeCrl(2), 1));
  EXPECT_EQ(
      "X509 CRL Version 1\n"
      "Issuer: CN=ca\n"
      "This update: Tue Jan  1 00:00:00 2030 Local Time\n"
      "Signature Algorithm: ECDSA with SHA-384\n"
      "Revoked Certificates: 0\n",
      Printed(MadeCrl(0), 0));
}

TEST_F(CrlPrint, ListsAHundredEntriesAndCountsTheRest) {
  const std::string hundred = Printed(MadeCrl(100), 0);
  EXPECT_NE(std::string::npos, hundred.find("\tSerial Number: 018f "));
  EXPECT_EQ(std::string::npos, hundred.find(" more"));
  const std::string more = Printed(MadeCrl(102), 0);
  EXPECT_NE(std::string::npos, more.find("Revoked Certificates: 102\n"));
  EXPECT_EQ(std::string::npos, more.find("\tSerial Number: 0190 "));
  EXPECT_TRUE(more.ends_with("\n\t2 more\n"));
}

TEST_F(CrlPrint, TakesPemAndSaysWhatIsNoCrl) {
  const TempDir dir;
  const Octets der = MadeCrl(1);
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
