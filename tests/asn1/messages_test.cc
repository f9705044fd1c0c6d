// Whole messages: those that openssl makes while the test runs, and some that are kept with their
// printed trees.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "kxcert/asn1/typeByName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnChecks.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

using Octets = std::vector<unsigned char>;

constexpr size_t kMaxChanged = 800;   // larger messages would only take longer: all kinds have a small one

struct Message {
  std::string name;   // of the file
  const sxAsnTypeInfo *type;
  Octets octets;
};

// Files named NAME.TYPE.der or .ber, in the order of their names.
std::vector<Message> MessagesOf(const std::string &folder) {
  std::vector<Message> messages;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    const std::filesystem::path &path = entry.path();
    if (path.extension() != ".der" && path.extension() != ".ber") continue;
    const std::string type = path.stem().extension().string();
    const std::string typeName = type.empty() ? type : type.substr(1);
    const sxAsnTypeInfo *info = sxAsnFindType(typeName.c_str());
    EXPECT_NE(nullptr, info) << path;
    if (info != nullptr) messages.push_back({path.filename().string(), info, ReadOctets(path.string())});
  }
  std::sort(messages.begin(), messages.end(), [](const Message &a, const Message &b) { return a.name < b.name; });
  return messages;
}

Octets Reencoded(const Message &message) {
  const std::unique_ptr<sxAsnType> value(message.type->create());
  EXPECT_EQ(0, DecodeOctets(message.octets, *value));
  kxBinBuf der;
  EXPECT_EQ(0, sxASN_EncodeBuf(*value, der, 1));
  return Octets(der.Data(), der.Data() + der.Len());
}

// Messages that come out in other octets than they went in. A new one fails the test, and so does one
// that no longer differs.
const std::set<std::string> kOtherForm = {
    // Streamed: openssl writes indefinite lengths, we write definite ones.
    "cms-attached-streamed.ContentInfo.ber",
    "cms-rsa-streamed.ContentInfo.ber",
    // The request number is -1, and negative numbers take four octets here.
    "cmp-p10cr-1.answer.PKIMessage.der",
    "cmp-p10cr-2.request.PKIMessage.der",
};

TEST(Messages, OfOpensslKeepTheirOctets) {
  const TempDir folder;
  RunCommand(KXCERT_TEST_DATA "/../asn1/make-samples.sh " + folder.Path());
  const std::vector<Message> messages = MessagesOf(folder.Path());
  ASSERT_GT(messages.size(), 70U);
  std::set<std::string> otherForm;
  for (const Message &message : messages) {
    SCOPED_TRACE(message.name);
    const Octets der = Reencoded(message);
    if (der != message.octets) otherForm.insert(message.name);
    CheckSample(*message.type, message.octets, der);
    if (der != message.octets) CheckSample(*message.type, der);
    if (message.octets.size() <= kMaxChanged) CheckChangedOctets(*message.type, message.octets);
  }
  EXPECT_EQ(kOtherForm, otherForm);
}

// Beside each message lies what Print writes of it.
TEST(Messages, PrintAsTheirTrees) {
  const std::string folder = KXCERT_TEST_DATA "/asn1/golden/";
  const std::vector<Message> messages = MessagesOf(folder);
  ASSERT_GE(messages.size(), 16U);
  for (const Message &message : messages) {
    const std::string expected = folder + message.name.substr(0, message.name.size() - 4) + ".txt";
    const std::unique_ptr<sxAsnType> value(message.type->create());
    ASSERT_EQ(0, DecodeOctets(message.octets, *value)) << message.name;
    EXPECT_EQ(EncodeHex(message.octets), EncodeHex(*value)) << message.name;
    const std::string printed = Printed(*value);
    const Octets text = std::filesystem::exists(expected) ? ReadOctets(expected) : Octets();
    if (printed == std::string(text.begin(), text.end())) continue;
    const std::string got = (std::filesystem::temp_directory_path() / "kxcert-tree.txt").string();
    std::ofstream(got, std::ios::binary) << printed;
    FAIL() << "another tree than " << expected << "; read the difference, and to accept what came out:\n  "
           << "diff " << expected << " " << got << "\n  cp " << got << " " << expected;
  }
}

}  // namespace
