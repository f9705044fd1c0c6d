// The outer forms of certificates: files, PEM, times, serial numbers.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <random>

#include "support/rows.h"
#include "cert/serialText.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certFile.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/pem.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "support/hexOctets.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

// Every %s or marker in the text.
std::string With(std::string text, const std::string &mark, const std::string &by) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += by.size()) text.replace(at, mark.size(), by);
  return text;
}

TEST(CertFile, ReadsThreeForms) {
  const TempDir dir;
  ExpectRows("cert/files.txt", 3, {{"file", [&dir](const CaseRow &row) {
    const std::string file = dir.Write("cert", CaseText(row[1]));
    kxBinBuf out;
    char err[kCertFileErrLen] = "";
    const int rc = sxCert_AsnBufFromFile(file.c_str(), out, err);
    EXPECT_EQ(rc, sxCert_AsnBufFromFile(file.c_str(), out, nullptr));
    EXPECT_EQ(rc == 0, *err == '\0');
    return std::to_string(rc) + " " + EncodeHex(out.Data(), out.Len()) + With(err, file, "%s");
  }}});
}

TEST(CertFile, SaysWhatCannotBeOpened) {
  const TempDir dir;
  ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));   // opening it would wait for a writer
  kxBinBuf out;
  for (const std::string &file : {dir.File("none"), dir.Path(), dir.File("pipe"), dir.File(std::string(2000, 'x'))}) {
    char err[kCertFileErrLen];
    EXPECT_EQ(-1, sxCert_AsnBufFromFile(file.c_str(), out, err));
    EXPECT_EQ(("Error opening file " + file).substr(0, kCertFileErrLen - 1), err);
  }
  EXPECT_EQ(-1, sxCert_AsnBufFromFile(nullptr, out, nullptr));
}

constexpr char kBegin[] = "-----BEGIN X-----", kEnd[] = "-----END X-----";

// What comes out of the text, which lies in a block of its own, without a NUL.
std::string Unwrap(const std::string &text, int strict, const char *strip) {
  unsigned char *out = nullptr;
  int len = static_cast<int>(text.size());
  const std::vector<char> block(text.begin(), text.end());
  const int rc = Base64Decode_PEM(block.data(), &out, len, kBegin, kEnd, strict, strip);
  const std::unique_ptr<unsigned char[]> owned(out);
  if (rc != 0) return std::to_string(rc);
  const Octets octets(out, out + len);
  return octets == Octets(octets.size(), 0) ? std::to_string(len) + " zeros" : EncodeHex(octets);
}

TEST(Pem, ReadsStrictlyOrNot) {
  const auto reader = [](int strict, const char *strip) {
    return [strict, strip](const CaseRow &row) {
      return Unwrap(With(With(CaseText(row[1]), "<", kBegin), ">", kEnd), strict, strip);
    };
  };
  ExpectRows("cert/pem.txt", 3,
             {{"strict", reader(1, nullptr)}, {"loose", reader(0, nullptr)}, {"without-.", reader(0, "-.")}});
}

TEST(Pem, RefusesNothing) {
  LogCapture log;
  unsigned char *out = nullptr;
  int len = 4, none = 0;
  EXPECT_EQ(-3, Base64Decode_PEM(nullptr, &out, len, "", "", 1, nullptr));
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Invalid input arguments"));
  EXPECT_EQ(-3, Base64Decode_PEM("AAAA", &out, len, nullptr, "", 1, nullptr));
  EXPECT_EQ(-3, Base64Decode_PEM("AAAA", &out, len, "", nullptr, 1, nullptr));
  EXPECT_EQ(-3, Base64Decode_PEM("AAAA", &out, none, "", "", 1, nullptr));
  EXPECT_EQ(nullptr, out);
}

TEST(Pem, WrapsAndUnwraps) {
  Octets octets(100);
  for (size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<unsigned char>(i);
  const sxString begin((std::string(kBegin) + "\n").c_str()), end(kEnd);
  sxString out;
  ASSERT_EQ(0, Base64Encode_PEM(begin, end, kxBinBuf(octets.data(), 100), out));
  EXPECT_EQ(EncodeHex(octets), Unwrap(out.getstr(), 1, nullptr));
  EXPECT_EQ(-1, Base64Encode_PEM(begin, end, kxBinBuf(), out));
  kxBinBuf secret(octets.data(), 100);
  secret.SetSensitive(true);
  EXPECT_FALSE(out.IsSensitive());
  ASSERT_EQ(0, Base64Encode_PEM(begin, end, secret, out));
  EXPECT_TRUE(out.IsSensitive());
  ASSERT_EQ(0, Base64Encode_PEM(begin, end, kxBinBuf(octets.data(), 100), out));
  EXPECT_TRUE(out.IsSensitive()) << "what was asked for stays";
}

int UtcTime(const std::string &text) {
  return sxUTCTime2time(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}
int GeneralTime(const std::string &text) {
  return sxGeneralTime2time(reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
}

TEST(TimeText, ReadsBothFormsInAnyZone) {
  for (const char *zone : {"UTC", "America/New_York", "Asia/Kolkata", "Pacific/Apia"}) {
    SCOPED_TRACE(zone);
    const ScopedEnv env("TZ", zone);
    tzset();
    ExpectRows("cert/times.txt", 3,
               {{"utc", [](const CaseRow &row) { return std::to_string(UtcTime(row[1])); }},
                {"general", [](const CaseRow &row) { return std::to_string(GeneralTime(row[1])); }}});
  }
  tzset();
  EXPECT_EQ(-1, sxUTCTime2time(nullptr, 13));
  EXPECT_EQ(-1, sxGeneralTime2time(nullptr, 15));
  sxASN_Time time;
  EXPECT_EQ(-1, sxASN_Time2time(nullptr));
  EXPECT_EQ(-1, sxASN_Time2time(&time));
  time.Set_utcTime(sxAsnUTCTime(reinterpret_cast<const unsigned char *>("000229123456Z")));
  EXPECT_EQ(951827696, sxASN_Time2time(&time));
  time.Set_generalTime(sxAsnGeneralizedTime(reinterpret_cast<const unsigned char *>("20000229123457Z")));
  EXPECT_EQ(951827697, sxASN_Time2time(&time));
}

TEST(TimeText, AgreesWithTheSystemsCalendar) {
  std::mt19937 random(1202);
  for (int i = 0; i < 400; ++i) {
    const auto seconds = static_cast<time_t>(-2145916800 + static_cast<int64_t>(random() % 4291833600U));   // 1902 to 2037
    if (seconds / 86400 == 0) continue;   // 0 by intent
    std::tm date;
    gmtime_r(&seconds, &date);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &date);
    EXPECT_EQ(seconds, GeneralTime(text)) << text;
    if (date.tm_year >= 50) { EXPECT_EQ(seconds, UtcTime(text + 2)) << text; }
  }
}

std::unique_ptr<sxAsnInt> Number(const std::string &hex) {
  const Octets octets = CaseOctets(hex);
  return std::unique_ptr<sxAsnInt>(AsnIntFromBuf(octets.data(), LenOf(octets)));
}

TEST(SerialNumber, GivesItsOctets) {
  ExpectRows("cert/serials.txt", 3, {{"serial", [](const CaseRow &row) {
    const std::unique_ptr<sxAsnInt> serial = Number(row[1]);
    const int len = AsnInt2Buf(serial.get(), nullptr, 0);
    Octets octets(static_cast<size_t>(len));
    EXPECT_EQ(-1, AsnInt2Buf(serial.get(), octets.data(), len - 1));
    EXPECT_EQ(len, AsnInt2Buf(serial.get(), octets.data(), len));
    kxBinBuf buf;
    EXPECT_EQ(0, AsnInt2BinBuf(serial.get(), buf));
    EXPECT_EQ(octets, Octets(buf.Data(), buf.Data() + buf.Len()));
    // Its text is the number's as a black list reads it.
    sxAsnInt magnitude;
    magnitude.Set(octets.data(), static_cast<unsigned>(len));
    for (const sxAsnInt *number : {serial.get(), &magnitude}) {
      EXPECT_TRUE(number->intEquiv(*Number(sxSerialText(*number)))) << sxSerialText(*number);
    }
    return EncodeHex(octets);
  }}});
}

TEST(SerialNumber, ComparesNumbersAndRefusesNothing) {
  EXPECT_EQ(1, sxCert_IsSameSerialNumber(Number("0000000001").get(), Number("01").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(Number("00FF").get(), Number("FF").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(nullptr, Number("01").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(Number("01").get(), nullptr));
  LogCapture log;
  kxBinBuf buf;
  EXPECT_EQ(nullptr, AsnIntFromBuf(nullptr, 1));
  EXPECT_EQ(nullptr, AsnIntFromBuf(CaseOctets("01").data(), 0));
  EXPECT_TRUE(log.Has("AsnIntFromBuf: at least one argument is invalid"));
  EXPECT_EQ(-1, AsnInt2Buf(nullptr, nullptr, 0));
  EXPECT_EQ(-1, AsnInt2BinBuf(nullptr, buf));
}

}  // namespace
