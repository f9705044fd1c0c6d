// Certificates as text: the format is read by others.
#include <gtest/gtest.h>

#include <ctime>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "support/logCapture.h"
#include "support/printed.h"
#include "support/runCommand.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"
#include "support/testPki.h"

namespace {

class CertPrint : public testing::Test {
 protected:
  CertPrint() { tzset(); }

  const ScopedEnv m_zone{"TZ", "UTC"};
  const TempDir m_dir;
};

constexpr char kFull[] =
    "X509 Certificate Version 3\n"
    "Serial Number: 00f102\n"
    "Issuer: CN=ca,O=#c3a4\n"
    "Subject: CN=a\\,b,O=Ex\n"
    "Not valid before: Mon Dec 31 00:00:00 2029 Local Time\n"
    "Not valid after:  Wed Jan  1 00:00:00 2031 Local Time\n"
    "Signature Algorithm: ECDSA with SHA-256  Public key: ECDSA (256 bits)\n";

TestCertOptions Options() {
  TestCertOptions options;
  options.serial = "F102";
  options.issuerName = "O=\xC3\xA4/CN=ca";
  return options;
}

TEST_F(CertPrint, PrintsByLevel) {
  const TestCert made("O=Ex/CN=a,b", nullptr, Options());
  const sxCert &cert = *made.Get();
  EXPECT_EQ("\tSubject: CN=a\\,b,O=Ex\n", Sprinted(cert, sxCert_brief, 1));
  EXPECT_EQ(kFull, Sprinted(cert, sxCert_full, 0));
  LogCapture log;
  EXPECT_EQ(kFull, Sprinted(cert, sxCert_full_key, 0));
  ASSERT_LT(1U, log.Lines().size());
  EXPECT_NE(std::string::npos, log.Lines()[0].find("PubKey:"));
}

TEST_F(CertPrint, IndentsEveryLine) {
  TestCertOptions options = Options();
  options.basicConstraints = "critical,CA:TRUE";
  options.keyUsage = "keyCertSign";
  options.criticalUnknown = true;
  const TestCert made("O=Ex/CN=a,b", nullptr, options);
  const std::string text = Sprinted(*made.Get(), sxCert_full, 2);
  size_t numLines = 0;
  for (size_t pos = 0; pos < text.size(); pos = text.find('\n', pos) + 1, ++numLines) {
    EXPECT_EQ("\t\t", text.substr(pos, 2)) << text.substr(pos);
  }
  EXPECT_LT(8U, numLines);
  EXPECT_NE(std::string::npos, text.find("\n\t\tUnhandled critical extension 1.2.3.4.5\n\t\tSerial Number: "));
  const std::string extensions = Sprinted(made.Get()->Extensions(), 2);
  ASSERT_NE("", extensions);
  EXPECT_TRUE(text.ends_with("(256 bits)\n" + extensions)) << text;
}

TEST_F(CertPrint, SaysWhyThereIsNothingToPrint) {
  EXPECT_EQ("\tError: Empty data\n", Sprinted(sxCert(nullptr, 0), sxCert_full, 1));
  SxStream text;
  const unsigned char octets[] = {0x30, 0x00};
  sxCert_Sprint_certbuf(&text, octets, 2, 1);
  const std::string expected = "\tError: Error decoding buffer after trying both DER and Base64 formats\n";
  EXPECT_EQ(expected, text.Text());
  sxCert_Sprint_certbuf(&text, octets, 0, 1);
  sxCert_Sprint_certbuf(&text, nullptr, 2, 1);
  sxCert_Sprint_certbuf(nullptr, octets, 2, 1);
  EXPECT_EQ(expected, text.Text());  // nothing was added
}

TEST_F(CertPrint, WritesToFilesAndToTheLog) {
  const TestCert made("O=Ex/CN=a,b", nullptr, Options());
  const sxCert &cert = *made.Get();
  EXPECT_EQ(kFull, Fprinted(cert, sxCert_full, 0));
  EXPECT_EQ(kFull, Captured([&](FILE *file) {
              sxCert_Fprint_certbuf(file, cert.GetBuf(), static_cast<int>(cert.BufLen()), 0);
            }));
  EXPECT_EQ("", Captured([&](FILE *file) { sxCert_Fprint_certbuf(file, nullptr, 0, 0); }));
  testing::internal::CaptureStdout();
  cert.Fprint(nullptr, sxCert_brief, 0);
  EXPECT_EQ("Subject: CN=a\\,b,O=Ex\n", testing::internal::GetCapturedStdout());

  LogCapture log;
  cert.Herror(sxCert_brief);
  EXPECT_TRUE(log.Has("Subject: CN=a\\,b,O=Ex"));
  log.Clear();
  sxCert_Herror_buf(cert.GetBuf(), static_cast<int>(cert.BufLen()));
  EXPECT_TRUE(log.Has("\t\t\tSerial Number: 00f102"));
  sxCert_Herror_buf(cert.GetBuf(), 0);
  EXPECT_TRUE(log.Has("sxCert_Herror_buf: empty buf"));
  sxCert_Herror_buf(cert.GetBuf(), 5);
  EXPECT_TRUE(log.Has("\t\t\tError: Error decoding buffer"));
  log.Clear();
  dodebugprt = 0;
  cert.Herror(sxCert_full);
  sxCert_Herror_buf(cert.GetBuf(), 0);
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CertPrint, SetsPrintTheirMembers) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr);
  sxCerts certs = SetOf({&a, &b, &a});
  certs.Del(0);
  EXPECT_EQ("\tOurs: 2 certificates\n\t\tSubject: CN=b\n\n\t\tSubject: CN=a\n\n",
            Fprinted(certs, "Ours", sxCert_brief, 1));
  EXPECT_EQ("0 certificates\n", Fprinted(sxCerts(), nullptr, sxCert_brief, 0));
  LogCapture log;
  certs.Herror("Ours", sxCert_brief);
  EXPECT_TRUE(log.Has("Ours: 2 certificates"));
  EXPECT_TRUE(log.Has("Subject: CN=b"));
  certs.Herror(nullptr, sxCert_brief);
  EXPECT_EQ(6U, log.Lines().size());
}

// The labels of the digests, with their spaces, over RSA.
TEST_F(CertPrint, NamesTheDigest) {
  RunCommand("openssl genrsa -out " + m_dir.File("key") + " 1024 2>/dev/null");
  const struct { const char *option; const char *line; } kDigests[] = {
      {"-md5", "Signature Algorithm: RSA with MD5   Public key: RSA (1024 bits)\n"},
      {"-sha1", "Signature Algorithm: RSA with SHA-1  Public key: RSA (1024 bits)\n"},
      {"-sha384", "Signature Algorithm: RSA with SHA-384  Public key: RSA (1024 bits)\n"},
      {"-sha512", "Signature Algorithm: RSA with SHA-512  Public key: RSA (1024 bits)\n"},
      {"-sha224", "Signature Algorithm: unknown digest  Public key: RSA (1024 bits)\n"},
  };
  for (const auto &digest : kDigests) {
    SCOPED_TRACE(digest.option);
    const std::string der =
        RunCommand("openssl req -x509 -outform der -subj /CN=a -key " + m_dir.File("key") + " " + digest.option);
    const sxCert cert(reinterpret_cast<const unsigned char *>(der.data()), static_cast<unsigned>(der.size()));
    EXPECT_NE(std::string::npos, Sprinted(cert, sxCert_full, 0).find(digest.line)) << Sprinted(cert, sxCert_full, 0);
  }
}

}  // namespace
