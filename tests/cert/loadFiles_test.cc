// Loading: what is found, where it stood, and what is said of the rest.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "support/caseFile.h"
#include "support/tempDir.h"

namespace {

constexpr const char *kKinds[] = {"nothing", "certificate", "CRL", "public key", "private key", "request"};

std::string InputOf(const CaseBlock &block) {
  std::string all;
  for (const std::string &part : block.All("input")) {
    if (part[0] != '@') {
      all += CaseText(part);
      continue;
    }
    const size_t cut = part.find('<');
    const std::string file = CaseData("load/" + part.substr(1, cut - 1));
    all += cut == std::string::npos ? file : file.substr(0, std::stoul(part.substr(cut + 1)));
  }
  return all;
}

// One object and of the right kind, or none.
bool HasWhatItSays(const sxLoadItem &item) {
  const bool passed = item.skip != sxLoadSkip::kNot;
  const bool isKey = item.kind == sxLoadKind::kPublicKey || item.kind == sxLoadKind::kPrivateKey;
  return (item.cert != nullptr) == (!passed && item.kind == sxLoadKind::kCertificate) &&
         (item.crl != nullptr) == (!passed && item.kind == sxLoadKind::kCrl) && (item.key != nullptr) == (!passed && isKey) &&
         (item.request != nullptr) == (!passed && item.kind == sxLoadKind::kRequest) &&
         (item.cert == nullptr || item.cert->OK() == 1) && (item.crl == nullptr || item.crl->OK() == 1);
}

std::vector<std::string> Told(const sxLoader &loader) {
  std::vector<std::string> lines;
  for (const sxLoadItem &item : loader.Items()) {
    EXPECT_TRUE(HasWhatItSays(item)) << item.place.Text();
    const bool passed = item.skip != sxLoadSkip::kNot;
    lines.push_back((passed ? "-" : kKinds[static_cast<int>(item.kind)]) + std::string(" ") + item.place.Text() +
                    (passed ? ": " + item.reason : ""));
  }
  return lines;
}

std::vector<std::string> LoadedFrom(const std::string &input, const char *password = nullptr) {
  // In a block of its own length, so that reading beyond it is seen.
  const std::vector<unsigned char> octets(input.begin(), input.end());
  sxLoader loader;
  if (password != nullptr) {
    loader.SetPassword([password](const sxLoadPlace &, kxBinBuf &out) {
      return out.Set(password, static_cast<unsigned int>(std::strlen(password))), true;
    });
  }
  loader.AddOctets(octets.data(), octets.size(), "f");
  return Told(loader);
}

TEST(LoadFiles, FindsWhatTheCasesSay) {
  for (const CaseBlock &block : CaseBlocks("load/cases.txt", {"input", "item", "password"})) {
    const char *const password = block.Has("password") ? block["password"].c_str() : nullptr;
    EXPECT_EQ(block.All("item"), LoadedFrom(InputOf(block), password)) << block.where << " " << block.name;
  }
}

// Whatever is cut off, all that was whole before is there, and something is said of the rest.
TEST(LoadFiles, EveryPrefixGivesWhatIsWhole) {
  const std::string whole = CaseData("load/cert.der") + CaseData("load/crl.der");
  for (size_t len = 1; len <= whole.size(); ++len) {
    const std::vector<std::string> told = LoadedFrom(whole.substr(0, len));
    const bool cut = len != whole.size() && len != 379;
    ASSERT_EQ((len >= 379 ? 1U : 0U) + (len == whole.size() ? 1U : 0U) + (cut ? 1U : 0U), told.size()) << len;
    ASSERT_EQ(cut, told.back()[0] == '-') << len;
  }
}

TEST(LoadFiles, FoldersAreSortedAndNothingWaits) {
  const TempDir dir;
  dir.Write("b.pem", CaseData("load/ec.pem").c_str());
  dir.Write("a.der", CaseData("load/cert.pem").c_str());  // what a name says is nothing
  ASSERT_EQ(0, mkfifo(dir.File("c").c_str(), 0600));
  ASSERT_EQ(0, mkdir(dir.File("d").c_str(), 0700));
  ASSERT_EQ(0, symlink("a.der", dir.File("e").c_str()));
  ASSERT_EQ(0, symlink("none", dir.File("g").c_str()));
  sxLoader loader(sxLoad_certs);
  EXPECT_EQ(2, loader.AddPath(dir.Path().c_str()));
  EXPECT_EQ((std::vector<std::string>{
                "certificate " + dir.File("a.der") + " line 1",
                "- " + dir.File("b.pem") + " line 1: an EC private key; not asked for",
                "- " + dir.File("c") + ": is a pipe or a device, not a file",
                "- " + dir.File("d") + ": is a folder, not a file",
                "certificate " + dir.File("e") + " line 1",
                "- " + dir.File("g") + ": cannot be opened: No such file or directory",
            }),
            Told(loader));
  sxCerts certs;
  loader.CopyCerts(certs);
  EXPECT_EQ(2, certs.Count());
  EXPECT_EQ(0, rmdir(dir.File("d").c_str()));
}

TEST(LoadFiles, LongFilesAreNotRead) {
  const TempDir dir;
  const std::string file = dir.Write("long", "");
  ASSERT_EQ(0, truncate(file.c_str(), static_cast<off_t>(kMaxInputLen) + 1));
  sxLoader loader;
  EXPECT_EQ(0, loader.AddPath(file.c_str()));
  ASSERT_EQ(1U, loader.Items().size());
  EXPECT_EQ(sxLoadSkip::kTooMuch, loader.Items()[0].skip);
}

// Blocks without an end, markers without a label's end, elements without content: no more is kept than the
// limit says, and the time grows as the input does.
TEST(LoadFiles, CostlyInputIsBounded) {
  for (const char *unit : {"-----BEGIN A-----\n", "-----BEGIN A\n", "-----BEGIN A-----\n-----END A-----", "0\0000\001A"}) {
    std::string input = "\n";
    const std::string_view one(unit, unit[0] == '0' ? 2 : std::string_view(unit).size());
    if (unit[0] == '0') input.clear();
    while (input.size() / one.size() <= kMaxLoadItems) input += one;
    const std::vector<std::string> told = LoadedFrom(input);
    ASSERT_EQ(kMaxLoadItems + 1, told.size());
    EXPECT_EQ("- f: more than 262144 objects and blocks; the rest was not looked at", told.back());
  }
}

}  // namespace
