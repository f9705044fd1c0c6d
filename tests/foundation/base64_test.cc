#include "kxcert/foundation/base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "support/hexOctets.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

struct FreeBuffer {
  void operator()(void *buffer) const { Base64FreeBuffer(buffer); }
};

std::string Encode(const std::string &octets) {
  const std::unique_ptr<char, FreeBuffer> text(
      Base64Encode(reinterpret_cast<const unsigned char *>(octets.data()), static_cast<int>(octets.size())));
  return text.get();
}

std::optional<std::string> Decode(const std::string &text) {
  int len = -7;
  const std::unique_ptr<unsigned char, FreeBuffer> octets(
      Base64Decode(text.data(), static_cast<int>(text.size()), &len));
  if (!octets) {
    EXPECT_EQ(0, len);
    return std::nullopt;
  }
  return std::string(reinterpret_cast<const char *>(octets.get()), static_cast<size_t>(len));
}

// RFC 4648, section 10.
constexpr const char *kVectors[][2] = {
    {"", ""},           {"f", "Zg==\n"},         {"fo", "Zm8=\n"},        {"foo", "Zm9v\n"},
    {"foob", "Zm9vYg==\n"}, {"fooba", "Zm9vYmE=\n"}, {"foobar", "Zm9vYmFy\n"}};

TEST(Base64, AgreesWithThePublishedVectorsAndOpenssl) {
  for (const auto &[octets, text] : kVectors) {
    EXPECT_EQ(text, Encode(octets));
    EXPECT_EQ(octets, Decode(text));
  }
  const TempDir dir;
  std::string octets;
  for (int i = 0; i < 200; ++i) octets.push_back(static_cast<char>(i * 89));
  for (const size_t len : {47U, 48U, 49U, 96U, 200U}) {   // about the end of the first line, and several lines
    const std::string part = octets.substr(0, len);
    EXPECT_EQ(RunCommand("openssl base64 -in " + dir.Write("octets", part)), Encode(part));
    EXPECT_EQ(part, Decode(Encode(part)));
  }
}

struct StrictCase { const char *what; const char *text; const char *hex; };   // null: refused
constexpr StrictCase kStrictCases[] = {
    {"nothing", "", ""},
    {"white space only", " \t\r\n", ""},
    {"white space anywhere", " Z\r\nm\t9 v\n", "666f6f"},
    {"both odd characters", "+/+/", "fbffbf"},
    {"one pad too few", "Zg=", nullptr},
    {"no pads", "Zg", nullptr},
    {"a pad too many", "Zm8==", nullptr},
    {"pads alone", "====", nullptr},
    {"three pads", "Z===", nullptr},
    {"a character after a pad", "Zg=g", nullptr},
    {"a group after the padded one", "Zg==Zg==", nullptr},
    {"stray bits under one pad", "Zm9=", nullptr},
    {"stray bits under two pads", "Zh==", nullptr},
    {"the alphabet for file names", "-_-_", nullptr},
    {"a vertical tab", "Zm9v\v", nullptr},
    {"an octet above 127", "Zm9\xf6", nullptr},
};

TEST(Base64, DecodesStrictly) {
  for (const StrictCase &c : kStrictCases) {
    SCOPED_TRACE(c.what);
    const std::optional<std::string> got = Decode(c.text);
    ASSERT_EQ(c.hex != nullptr, got.has_value());
    if (got) {
      EXPECT_EQ(c.hex, EncodeHex(reinterpret_cast<const unsigned char *>(got->data()), got->size()));
    }
  }
  EXPECT_EQ(std::nullopt, Decode(std::string("Zm9v\0", 5)));
  int len = 0;
  EXPECT_EQ(nullptr, Base64Encode(nullptr, 1));
  EXPECT_EQ(nullptr, Base64Encode(reinterpret_cast<const unsigned char *>("a"), -1));
  EXPECT_EQ(nullptr, Base64Decode("Zm9v", -1, &len));
  EXPECT_EQ(nullptr, Base64Decode("Zm9v", 4, nullptr));
}

}  // namespace
