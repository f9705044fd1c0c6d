// Whole messages that openssl made, some with their printed trees.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "asn1/typeByName.h"
#include "support/asnChecks.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"

namespace {

constexpr size_t kMaxChanged = 800;   // larger messages would only take longer: all kinds have a small one

struct Message {
  std::string name;   // of the file
  const sxAsnTypeInfo *type;
  Octets octets;
};

const std::filesystem::path kFolder = KXCERT_TEST_DATA "/asn1/golden";

// Files named NAME.TYPE.der or .ber, in the order of their names.
std::vector<Message> Messages() {
  std::vector<Message> messages;
  for (const auto &entry : std::filesystem::directory_iterator(kFolder)) {
    const std::filesystem::path &path = entry.path();
    if (path.extension() != ".der" && path.extension() != ".ber") continue;
    const sxAsnTypeInfo *const info = sxAsnFindType(path.stem().extension().string().substr(1).c_str());
    EXPECT_NE(nullptr, info) << path;
    if (info != nullptr) messages.push_back({path.filename().string(), info, Text(CaseData("asn1/golden/" + path.filename().string()))});
  }
  EXPECT_GT(messages.size(), 80U);
  std::sort(messages.begin(), messages.end(), [](const Message &a, const Message &b) { return a.name < b.name; });
  return messages;
}

Octets Reencoded(const Message &message) {
  const std::unique_ptr<sxAsnType> value(message.type->create());
  EXPECT_EQ(0, DecodeOctets(message.octets, *value));
  return DecodeHex(EncodeHex(*value).c_str());
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
  std::set<std::string> otherForm;
  for (const Message &message : Messages()) {
    SCOPED_TRACE(message.name);
    const Octets der = Reencoded(message);
    if (der != message.octets) otherForm.insert(message.name);
    CheckSample(*message.type, message.octets, der);
    if (der != message.octets) CheckSample(*message.type, der);
    if (message.octets.size() <= kMaxChanged) CheckChangedOctets(*message.type, message.octets);
  }
  EXPECT_EQ(kOtherForm, otherForm);
}

// Beside some messages lies what Print writes of them.
TEST(Messages, PrintAsTheirTrees) {
  int numTrees = 0;
  for (const Message &message : Messages()) {
    const std::filesystem::path expected = (kFolder / message.name).replace_extension(".txt");
    if (!std::filesystem::exists(expected)) continue;
    ++numTrees;
    const std::unique_ptr<sxAsnType> value(message.type->create());
    ASSERT_EQ(0, DecodeOctets(message.octets, *value)) << message.name;
    const std::string printed = Printed(*value);
    if (printed == CaseData("asn1/golden/" + expected.filename().string())) continue;
    const std::filesystem::path got = std::filesystem::temp_directory_path() / "kxcert-tree.txt";
    std::ofstream(got, std::ios::binary) << printed;
    FAIL() << "another tree than " << expected << "; read the difference, and to accept what came out:\n  "
           << "diff " << expected << " " << got << "\n  cp " << got << " " << expected;
  }
  EXPECT_EQ(16, numTrees);
}

}  // namespace
