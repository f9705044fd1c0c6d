/// @file
/// Cases that are lines of text below tests/data.
///
/// A file of rows: a case a line, cells between "|". A file of blocks: "[name]", then lines "key: value".
/// Empty lines, and lines that start with '#', say nothing. Whatever does not read throws
/// std::runtime_error with its place, so that no case is lost in silence.
#ifndef KXCERT_TESTS_SUPPORT_CASEFILE_H_
#define KXCERT_TESTS_SUPPORT_CASEFILE_H_

#include <gtest/gtest.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "support/notation.h"

struct CaseRow {
  std::string where;               ///< "keys/refused.txt:12"
  std::vector<std::string> cells;  ///< without the blanks around them

  const std::string &operator[](size_t number) const { return cells.at(number); }
};

/// @param file   below tests/data
/// @param cells  of each row; the last ones may be left out when @p least says so
std::vector<CaseRow> CaseRows(const std::string &file, size_t cells, size_t least = 0);

struct CaseBlock {
  std::string where;
  std::string name;
  std::map<std::string, std::vector<std::string>> lines;  ///< the values of each key, in their order

  bool Has(const std::string &key) const { return lines.contains(key); }
  const std::vector<std::string> &All(const std::string &key) const;
  /// The only value; "" for a key that is not there.
  const std::string &operator[](const std::string &key) const;
};

/// @param keys  that a block may have
std::vector<CaseBlock> CaseBlocks(const std::string &file, const std::vector<std::string> &keys);

/// Whole contents of a file below tests/data.
std::string CaseData(const std::string &file);

void PrintTo(const CaseRow &row, std::ostream *out);
void PrintTo(const CaseBlock &block, std::ostream *out);

/// The name of a parameterised test: the first cell or the block's name, letters and digits only.
std::string CaseName(const testing::TestParamInfo<CaseRow> &info);
std::string CaseName(const testing::TestParamInfo<CaseBlock> &info);

#endif
