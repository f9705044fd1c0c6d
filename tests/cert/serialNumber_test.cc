// Serial numbers as octets.
#include <gtest/gtest.h>

#include "cert/serialText.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

std::unique_ptr<sxAsnInt> FromHex(const char *hex) {
  const std::vector<unsigned char> octets = DecodeHex(hex);
  return std::unique_ptr<sxAsnInt>(AsnIntFromBuf(octets.data(), static_cast<int>(octets.size())));
}

constexpr struct { const char *what; const char *content; const char *octets; } kSerialCases[] = {
    {"zero is one octet", "00", "00"},
    {"one octet", "7F", "7f"},
    {"a sign octet goes", "0080", "80"},
    {"two octets", "0100", "0100"},
    {"three", "00FFFF", "ffff"},
    {"four", "7FFFFFFF", "7fffffff"},
    {"negative ones have four", "FF", "ffffffff"},
    {"five stay as they are", "0080000000", "0080000000"},
    {"leading zeros, too", "0000000000000001", "0000000000000001"},
    {"and negative ones", "FF0102030405", "ff0102030405"},
};

TEST(SerialNumber, GivesItsOctets) {
  for (const auto &c : kSerialCases) {
    SCOPED_TRACE(c.what);
    const std::unique_ptr<sxAsnInt> serial = FromHex(c.content);
    ASSERT_NE(nullptr, serial);
    const int len = AsnInt2Buf(serial.get(), nullptr, 0);
    ASSERT_EQ(static_cast<int>(std::string(c.octets).size()), 2 * len);
    std::vector<unsigned char> octets(static_cast<size_t>(len));
    LogCapture log;
    EXPECT_EQ(-1, AsnInt2Buf(serial.get(), octets.data(), len - 1));
    EXPECT_TRUE(log.Has("octets do not fit"));
    EXPECT_EQ(len, AsnInt2Buf(serial.get(), octets.data(), len));
    EXPECT_EQ(c.octets, EncodeHex(octets));
    kxBinBuf buf;
    EXPECT_EQ(0, AsnInt2BinBuf(serial.get(), buf));
    EXPECT_EQ(c.octets, EncodeHex(buf.Data(), buf.Len()));
    // Its text is the number's as a black list reads it.
    EXPECT_TRUE(serial->intEquiv(*FromHex(sxSerialText(*serial).c_str()))) << sxSerialText(*serial);
    sxAsnInt magnitude;
    magnitude.Set(octets.data(), static_cast<unsigned>(len));
    EXPECT_TRUE(magnitude.intEquiv(*FromHex(sxSerialText(magnitude).c_str()))) << sxSerialText(magnitude);
  }
}

TEST(SerialNumber, ComparesNumbersAndRefusesNothing) {
  EXPECT_EQ(1, sxCert_IsSameSerialNumber(FromHex("0000000001").get(), FromHex("01").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(FromHex("00FF").get(), FromHex("FF").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(nullptr, FromHex("01").get()));
  EXPECT_EQ(0, sxCert_IsSameSerialNumber(FromHex("01").get(), nullptr));
  LogCapture log;
  kxBinBuf buf;
  EXPECT_EQ(nullptr, AsnIntFromBuf(nullptr, 1));
  EXPECT_EQ(nullptr, AsnIntFromBuf(DecodeHex("01").data(), 0));
  EXPECT_TRUE(log.Has("AsnIntFromBuf: at least one argument is invalid"));
  EXPECT_EQ(-1, AsnInt2Buf(nullptr, nullptr, 0));
  EXPECT_EQ(-1, AsnInt2BinBuf(nullptr, buf));
}

}  // namespace
