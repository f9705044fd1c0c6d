// PEM: what strict reading takes, and what it says of the rest.
#include <gtest/gtest.h>

#include <cstring>

#include "kxcert/cert/pem.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

const std::string kBegin = "-----BEGIN X-----";
const std::string kEnd = "-----END X-----";

struct Result {
  int rc;
  std::string octets;  // hexadecimal
};
Result Unwrap(const std::string &text, int strict, const char *strip = nullptr) {
  unsigned char *out = nullptr;
  int len = static_cast<int>(text.size());
  // The text lies in a block of its own, without a NUL.
  const std::unique_ptr<char[]> block(new char[text.size()]);
  std::memcpy(block.get(), text.data(), text.size());
  const int rc = Base64Decode_PEM(block.get(), &out, len, kBegin.c_str(), kEnd.c_str(), strict, strip);
  const std::unique_ptr<unsigned char[]> owned(out);
  return {rc, rc == 0 ? EncodeHex(out, static_cast<size_t>(len)) : ""};
}

std::string Line(size_t numChars) { return std::string(numChars, 'A'); }

struct StrictCase { const char *what; std::string text; int rc; size_t numOctets; };

TEST(Pem, StrictTable) {
  const std::string begin = kBegin + "\n";
  const std::string beginCrLf = kBegin + "\r\n";
  const std::string full = Line(64) + "\n";
  const StrictCase kCases[] = {
      {"a short line", begin + "AAAA\n" + kEnd + "\n", 0, 3},
      {"a full line", begin + full + kEnd, 0, 48},
      {"two", begin + full + full + kEnd + "\n", 0, 96},
      {"full and short", begin + full + "AAA=\n" + kEnd + "\n", 0, 50},
      {"CR LF", beginCrLf + Line(64) + "\r\nAAAA\r\n" + kEnd + "\r\n", 0, 51},
      {"CR LF behind the header only", beginCrLf + full + "AAAA\n" + kEnd, -2, 0},
      {"a longer line", begin + Line(76) + "\n" + kEnd, 0, 57},  // it stands last: nothing measures it
      {"a longer line and another", begin + Line(76) + "\n" + Line(76) + "\n" + kEnd, -2, 0},
      {"a shorter line and another", begin + Line(60) + "\nAAAA\n" + kEnd, -2, 0},
      {"an empty line", begin + "\nAAAA\n" + kEnd, -2, 0},
      {"one at the end", begin + full + "\n" + kEnd, 0, 48},
      {"one character behind the footer", begin + "AAAA\n" + kEnd + "x", 0, 3},
      {"two", begin + "AAAA\n" + kEnd + "\r\n", 0, 3},
      {"three", begin + "AAAA\n" + kEnd + "\n\n\n", -2, 0},
      {"no footer", begin + "AAAA\n", -2, 0},
      {"half of it", begin + "AAAA\n-----END X", -2, 0},
      {"another one", begin + "AAAA\n-----END Y-----\n", -2, 0},
      {"the footer on the line itself", begin + "AAAA" + kEnd, -2, 0},
      {"no header", "AAAA\n" + kEnd, -2, 0},
      {"a character before it", " " + begin + "AAAA\n" + kEnd, -2, 0},
      {"only a header", kBegin, -2, 0},
      {"no Base64", begin + "A?AA\n" + kEnd, -1, 0},
      {"half a group", begin + "AAA\n" + kEnd, -1, 0},
      {"nothing inside", begin + kEnd, -1, 0},
  };
  for (const StrictCase &c : kCases) {
    SCOPED_TRACE(c.what);
    const Result got = Unwrap(c.text, 1);
    EXPECT_EQ(c.rc, got.rc);
    EXPECT_EQ(std::string(2 * c.numOctets, '0'), got.octets);
  }
}

TEST(Pem, NotStrictFindsItsMarkersAnywhere) {
  const std::string body = Line(70) + "\nAA\n";
  EXPECT_EQ(54U * 2, Unwrap("talk " + kBegin + "\n" + body + kEnd + " talk", 0).octets.size());
  EXPECT_EQ(54U * 2, Unwrap(kBegin + body, 0).octets.size());  // no footer: to the end
  EXPECT_EQ(54U * 2, Unwrap(body, 0).octets.size());           // no header: from the start
  EXPECT_EQ("000000", Unwrap(kBegin + "\nA-A.A-A", 0, "-.").octets);
  EXPECT_EQ(-1, Unwrap(kBegin + "\nA-A.A-A", 0).rc);
}

TEST(Pem, SaysWhatIsWrong) {
  LogCapture log;
  Unwrap("xy" + kBegin, 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Header is not at the top (2) - exit"));
  Unwrap("xy", 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Header is not at the top (-1) - exit"));
  Unwrap(kBegin + "\nAAAA", 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Footer is not found right after the content (at -1). \t\t\t\tEither not all "
                      "the body lines lengthes are 65, or footer doesn't \t\t\t\texist at all. String is: AAAA"));
  Unwrap(kBegin + "\r\nAAAA\r\n" + kEnd + "abc", 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: The string (len = 24) containes characters after the footer \t\t\t(footer "
                      "length = 15, found at 6)- exit. String is: AAAA\r\n" + kEnd + "abc"));
  Unwrap(kBegin + "\n?\n" + kEnd, 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Cannot decode buffer (NULL) to PEM format"));
  Unwrap(kBegin + "\n" + kEnd, 1);
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Cannot decode buffer (0) to PEM format"));
  unsigned char *out = nullptr;
  int len = 1, none = 0;
  EXPECT_EQ(-3, Base64Decode_PEM(nullptr, &out, len, "", "", 1, nullptr));
  EXPECT_TRUE(log.Has("Base64Decode_PEM: Invalid input arguments"));
  EXPECT_EQ(-3, Base64Decode_PEM("A", &out, len, nullptr, "", 1, nullptr));
  EXPECT_EQ(-3, Base64Decode_PEM("A", &out, len, "", nullptr, 1, nullptr));
  EXPECT_EQ(-3, Base64Decode_PEM("AAAA", &out, none, "", "", 1, nullptr));
  EXPECT_EQ(nullptr, out);
}

TEST(Pem, WrapsAndUnwraps) {
  kxBinBuf data;
  std::string octets(100, '\0');
  for (size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<char>(i);
  data.Set(octets.data(), static_cast<unsigned>(octets.size()));
  sxString out;
  ASSERT_EQ(0, Base64Encode_PEM(sxString((kBegin + "\n").c_str()), sxString(kEnd.c_str()), data, out));
  EXPECT_EQ(EncodeHex(data.Data(), data.Len()), Unwrap(out.getstr(), 1).octets);
  EXPECT_EQ(-1, Base64Encode_PEM(sxString(kBegin.c_str()), sxString(kEnd.c_str()), kxBinBuf(), out));
}

}  // namespace
