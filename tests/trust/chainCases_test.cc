// Chains of tests/data/chain: one folder, one fault. make.py beside them says what a case.txt holds.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "support/chainJudge.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;
using Lines = std::map<std::string, Words>;  // the values of each key, a line each

const std::string kFolder = std::string(KXCERT_TEST_DATA) + "/chain/";
const std::string kTwin = "twin-";

std::vector<std::string> FindCases() {
  std::set<std::string> folders;
  for (const fs::directory_entry &entry : fs::directory_iterator(kFolder)) {
    if (fs::exists(entry.path() / "case.txt")) folders.insert(entry.path().filename().string());
  }
  return {folders.begin(), folders.end()};
}

Words SplitWords(const std::string &text) {
  std::istringstream in(text);
  Words words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// The place of the certificate that is to blame is the "at file.pem" of expect.
const std::set<std::string> kKeys = {"chain",     "anchor", "additional",  "constraint", "intermediates",
                                     "own-chain", "run",    "grace-start", "grace-end",  "blacklist",
                                     "time",      "expect", "path",        "end-entity", "named"};

Lines ReadCase(const std::string &folder) {
  std::ifstream in(kFolder + folder + "/case.txt");
  Lines lines;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    const size_t colon = line.find(':');
    const std::string key = line.substr(0, colon);
    const size_t value = line.find_first_not_of(' ', key.size() + 1);
    if (kKeys.contains(key.starts_with(kTwin) ? key.substr(kTwin.size()) : key) && value < line.size()) {
      lines[key].push_back(line.substr(value));
    } else {
      ADD_FAILURE() << folder << ": unknown line: " << line;
    }
  }
  return lines;
}

// "2030-01-01 00:00 UTC" or with seconds.
int64_t ReadTime(const std::string &text) {
  tm parts{};
  const int found = std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                                &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
  EXPECT_GE(found, 5) << text;
  EXPECT_TRUE(text.ends_with(" UTC")) << text;
  parts.tm_year -= 1900;
  parts.tm_mon -= 1;
  return timegm(&parts);
}

class Case {
 public:
  Case(const std::string &folder, Lines lines) : m_folder(kFolder + folder + "/"), m_lines(std::move(lines)) {}

  Words Values(const std::string &key) const { return m_lines.contains(key) ? m_lines.at(key) : Words(); }
  std::string Value(const std::string &key) const { return m_lines.contains(key) ? m_lines.at(key)[0] : ""; }
  int Seconds(const std::string &key) const { return m_lines.contains(key) ? std::stoi(Value(key)) : kGraceDefault; }
  Words Expected() const { return SplitWords(Value("expect")); }
  const std::string &Folder() const { return m_folder; }
  Words Files(const std::string &key) const {
    Words files = SplitWords(Value(key));
    for (std::string &file : files) file = m_folder + file;
    return files;
  }

  /// The same with the lines of the sound twin; null when there are none.
  std::unique_ptr<Case> Twin() const {
    auto twin = std::make_unique<Case>(*this);
    for (const auto &[key, values] : m_lines) {
      if (key.starts_with(kTwin)) twin->m_lines[key.substr(kTwin.size())] = values;
    }
    return twin->m_lines == m_lines ? nullptr : std::move(twin);
  }

 private:
  std::string m_folder;
  Lines m_lines;
};

ChainQuestion QuestionOf(const Case &c) {
  const std::string run = c.Value("run");
  EXPECT_TRUE(run.empty() || run == "trust" || run == "fix" || run == "sort fix") << run;
  return {.chain = c.Files("chain"),
          .anchors = c.Files("anchor"),
          .additional = c.Files("additional"),
          .constraints = c.Values("constraint"),
          .intermediates = c.Files("intermediates"),
          .ownChain = c.Files("own-chain"),
          .blackList = c.Values("blacklist"),
          .startGraceSec = c.Seconds("grace-start"),
          .endGraceSec = c.Seconds("grace-end"),
          .nowSec = ReadTime(c.Value("time")),
          .sort = run.starts_with("sort"),
          .fix = run.ends_with("fix"),
          .named = false,
          .endEntity = c.Value("end-entity").empty() ? "" : c.Folder() + c.Value("end-entity")};
}

ChainAnswer Judge(const Case &c) { return JudgeChain(QuestionOf(c)); }

// The files of the case's folder that the path is made of.
Words PathFiles(const Case &c, const ChainAnswer &answer) {
  std::map<std::string, std::string> names;  // by DER
  for (const fs::directory_entry &entry : fs::directory_iterator(c.Folder())) {
    if (entry.path().extension() == ".pem") names[ReadCertFile(entry.path())] = entry.path().filename();
  }
  Words files;
  for (const std::string &der : answer.path) files.push_back(names[der]);
  return files;
}

void ExpectPath(const Case &c, const ChainAnswer &answer) {
  const Words expected = SplitWords(c.Value("path"));
  EXPECT_TRUE(expected.empty() || expected == PathFiles(c, answer)) << testing::PrintToString(PathFiles(c, answer));
}

void ExpectAccepted(const Case &c, const ChainAnswer &answer) {
  ASSERT_EQ("", answer.problem);
  ASSERT_STREQ("OK", CodeName(answer.rc)) << answer.text;
  EXPECT_EQ(-1, answer.level);
  EXPECT_EQ("", answer.text);
  EXPECT_EQ(answer.chainExpirationSec, answer.expirationSec);
  ASSERT_FALSE(answer.path.empty());
  const Words roots = SplitWords(c.Value("anchor") + " " + c.Value("additional"));
  EXPECT_THAT(roots, testing::Contains(PathFiles(c, answer).back()));
}

void ExpectRefused(const Case &c, const ChainAnswer &answer) {
  const Words expected = c.Expected();
  ASSERT_EQ("", answer.problem);
  sxValidationRC rc = sxValidation_OK;
  ASSERT_TRUE(CodeOfName(expected[0], &rc)) << expected[0];
  ASSERT_EQ(rc, answer.rc) << CodeName(answer.rc) << " at " << answer.subject;
  if (rc == sxValidation_notTrusted) return;  // nothing was validated: there is no place and no message
  ASSERT_EQ(3u, expected.size()) << "say at which file";
  ASSERT_EQ("at", expected[1]);
  ASSERT_TRUE(answer.level >= 0 && answer.level < static_cast<int>(answer.path.size())) << answer.level;
  EXPECT_EQ(expected[2], PathFiles(c, answer)[static_cast<size_t>(answer.level)]);
  EXPECT_EQ(0u, answer.text.find(sxValidationRC_GetString(rc))) << answer.text;
  EXPECT_NE(std::string::npos, answer.text.find(answer.subject)) << answer.text;
}

class ChainCases : public testing::TestWithParam<std::string> {};

// The call that is told the end entity agrees, in any order, unless the case says what it finds.
void ExpectNamed(const Case &c, const ChainAnswer &chosen) {
  ChainQuestion question = QuestionOf(c);
  question.named = true;
  const ChainAnswer named = JudgeChain(question);
  std::reverse(question.chain.begin(), question.chain.end());
  const ChainAnswer backwards = JudgeChain(question);
  ASSERT_EQ("", named.problem);
  EXPECT_EQ(named.text, backwards.text);
  EXPECT_TRUE(named.path == backwards.path);
  const std::string expected = c.Value("named");
  EXPECT_STREQ(expected.empty() ? CodeName(chosen.rc) : expected.c_str(), CodeName(named.rc)) << named.text;
  if (!expected.empty() || chosen.rc == sxValidation_notTrusted) return;
  EXPECT_EQ(chosen.level, named.level);
  EXPECT_TRUE(chosen.path == named.path);
}

TEST_P(ChainCases, GetsItsVerdict) {
  const Case c(GetParam(), ReadCase(GetParam()));
  ASSERT_FALSE(c.Expected().empty());
  const ChainAnswer answer = Judge(c);
  ExpectPath(c, answer);
  ExpectNamed(c, answer);
  if (c.Expected()[0] == "OK") return ExpectAccepted(c, answer);
  ExpectRefused(c, answer);
  const std::unique_ptr<Case> twin = c.Twin();
  ASSERT_NE(nullptr, twin) << "a refused case needs a sound twin";
  SCOPED_TRACE("the sound twin");
  ExpectAccepted(*twin, Judge(*twin));
}

std::string TestName(const testing::TestParamInfo<std::string> &info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Data, ChainCases, testing::ValuesIn(FindCases()), TestName);

TEST(ChainCodes, EachHasItsTextAndACase) {
  std::set<std::string> expected;
  for (const std::string &folder : FindCases()) {
    const Words words = Case(folder, ReadCase(folder)).Expected();
    if (!words.empty()) expected.insert(words[0]);
  }
  for (const ChainCode &code : ChainCodes()) {
    EXPECT_STREQ(code.text, sxValidationRC_GetString(code.rc));
    EXPECT_TRUE(expected.contains(code.name)) << code.name;
  }
}

}  // namespace
