#include "support/caseFile.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace {

std::string Trimmed(const std::string &text) {
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

[[noreturn]] void Refuse(const std::string &where, const std::string &why) {
  throw std::runtime_error(where + ": " + why);
}

// Calls use(where, line) for each line that says something.
template <class Use>
void EachLine(const std::string &file, Use use) {
  std::istringstream in(CaseData(file));
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    line = Trimmed(line);
    if (!line.empty() && line[0] != '#') use(file + ":" + std::to_string(number), line);
  }
}

std::string LettersAndDigits(std::string text, size_t index) {
  std::erase_if(text, [](unsigned char c) { return std::isalnum(c) == 0; });
  return text.empty() ? "Case" + std::to_string(index) : text;
}

}  // namespace

std::string CaseData(const std::string &file) {
  std::ifstream in(std::string(KXCERT_TEST_DATA) + "/" + file, std::ios::binary);
  if (!in) Refuse(file, "cannot be read");
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<CaseRow> CaseRows(const std::string &file, size_t cells, size_t least) {
  std::vector<CaseRow> rows;
  EachLine(file, [&](const std::string &where, const std::string &line) {
    CaseRow row{where, {}};
    std::istringstream in(line);
    for (std::string cell; std::getline(in, cell, '|');) row.cells.push_back(Trimmed(cell));
    if (row.cells.size() > cells || row.cells.size() < (least == 0 ? cells : least)) Refuse(where, "number of cells");
    row.cells.resize(cells);
    rows.push_back(row);
  });
  if (rows.empty()) Refuse(file, "no cases");
  return rows;
}

std::vector<CaseBlock> CaseBlocks(const std::string &file, const std::vector<std::string> &keys) {
  std::vector<CaseBlock> blocks;
  EachLine(file, [&](const std::string &where, const std::string &line) {
    if (line.front() == '[' && line.back() == ']') {
      blocks.push_back({where, line.substr(1, line.size() - 2), {}});
      return;
    }
    const size_t colon = line.find(':');
    const std::string key = line.substr(0, colon);
    if (colon == std::string::npos || std::find(keys.begin(), keys.end(), key) == keys.end()) Refuse(where, "key");
    if (blocks.empty()) Refuse(where, "no block");
    blocks.back().lines[key].push_back(Trimmed(line.substr(colon + 1)));
  });
  if (blocks.empty()) Refuse(file, "no cases");
  return blocks;
}

const std::vector<std::string> &CaseBlock::All(const std::string &key) const {
  static const std::vector<std::string> kNone;
  const auto found = lines.find(key);
  return found == lines.end() ? kNone : found->second;
}

const std::string &CaseBlock::operator[](const std::string &key) const {
  static const std::string kNothing;
  const std::vector<std::string> &values = All(key);
  if (values.size() > 1) Refuse(where, key + " is there more than once");
  return values.empty() ? kNothing : values[0];
}

void PrintTo(const CaseRow &row, std::ostream *out) { *out << row.where << ": " << row.cells.at(0); }
void PrintTo(const CaseBlock &block, std::ostream *out) { *out << block.where << ": " << block.name; }

std::string CaseName(const testing::TestParamInfo<CaseRow> &info) {
  return LettersAndDigits(info.param.cells.at(0), info.index);
}
std::string CaseName(const testing::TestParamInfo<CaseBlock> &info) {
  return LettersAndDigits(info.param.name, info.index);
}
