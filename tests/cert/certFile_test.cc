// Certificate files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kxcert/cert/certFile.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/tempDir.h"

namespace {

// octets in hexadecimal; error with the file's name for %s
struct FileCase { const char *what; const char *content; int rc; const char *octets; const char *error; };
constexpr FileCase kFileCases[] = {
    {"as it stands", "\x30\x03\x02\x01\x05", 0, "3003020105", ""},
    {"text, too", "-----", 0, "2d2d2d2d2d", ""},
    {"hexadecimal text is reversed", "{ASN}0102", 0, "0201", ""},
    {"any case", "{aSn}aBCdEf", 0, "efcdab", ""},
    {"an even length", "{ASN}010", -1, "", "illegal length (3) for hex data in file %s"},
    {"also a line feed", "{ASN}0102\n", -1, "", "illegal length (5) for hex data in file %s"},
    {"no hexadecimal digit", "{ASN}01x2", -1, "", "Error reading hex data from file %s"},
    {"four characters", "{ASN", -1, "", "Error reading data from file %s, maybe file too small?"},
    {"nothing", "", -1, "", "Error reading data from file %s, maybe file too small?"},
};

std::string WithName(const char *fmt, const std::string &name) {
  std::string text = fmt;
  if (const size_t pos = text.find("%s"); pos != std::string::npos) text.replace(pos, 2, name);
  return text;
}

TEST(CertFile, ReadsThreeForms) {
  const TempDir dir;
  for (const FileCase &c : kFileCases) {
    SCOPED_TRACE(c.what);
    const std::string file = dir.Write("cert", c.content);
    kxBinBuf out;
    char err[kCertFileErrLen] = "";
    EXPECT_EQ(c.rc, sxCert_AsnBufFromFile(file.c_str(), out, err));
    EXPECT_EQ(c.octets, EncodeHex(out.Data(), out.Len()));
    EXPECT_EQ(WithName(c.error, file), err);
    EXPECT_EQ(c.rc, sxCert_AsnBufFromFile(file.c_str(), out, nullptr));
  }
}

TEST(CertFile, SaysWhatCannotBeOpened) {
  const TempDir dir;
  const std::string longName = dir.File(std::string(2000, 'x'));
  kxBinBuf out;
  char err[kCertFileErrLen];
  EXPECT_EQ(-1, sxCert_AsnBufFromFile(dir.File("none").c_str(), out, err));
  EXPECT_EQ("Error opening file " + dir.File("none"), err);
  ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));   // opening it would wait for a writer
  for (const std::string &special : {dir.Path(), dir.File("pipe")}) {
    EXPECT_EQ(-1, sxCert_AsnBufFromFile(special.c_str(), out, err));
    EXPECT_EQ("Error opening file " + special, err);
  }
  EXPECT_EQ(-1, sxCert_AsnBufFromFile(longName.c_str(), out, err));
  EXPECT_EQ(("Error opening file " + longName).substr(0, kCertFileErrLen - 1), err);
  EXPECT_EQ(-1, sxCert_AsnBufFromFile(nullptr, out, err));
}

}  // namespace
