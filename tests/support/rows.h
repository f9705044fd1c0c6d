/// @file
/// Rows of cases whose first cell says what is done with the others.
#ifndef KXCERT_TESTS_SUPPORT_ROWS_H_
#define KXCERT_TESTS_SUPPORT_ROWS_H_

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "support/caseFile.h"
#include "support/logCapture.h"

/// The cell as it stands, or between quotes in the notation of CaseText.
inline std::string Plain(const std::string &cell) { return cell.starts_with('"') ? CaseText(cell) : cell; }

/// What is printed, on one line: a line feed is " / ", a tab ">"; the end of the last line is left out.
inline std::string OnOneLine(const std::string &text) {
  std::string line;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\n') line += text[i] == '\t' ? '>' : text[i];
    else if (i + 1 < text.size()) line += " / ";
  }
  return line;
}

/// Each line of the text with so many tabs before it.
inline std::string Indented(const std::string &text, size_t indent) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 0 || text[i - 1] == '\n') out += std::string(indent, '\t');
    out += text[i];
  }
  return out;
}

/// All lines, " / " between them.
inline std::string Joined(const LogCapture &log) {
  std::string all;
  for (const std::string &line : log.Lines()) all += (all.empty() ? "" : " / ") + line;
  return all;
}

/// "-": nothing was logged; else what was contains the cell's text, or is it behind "= ".
inline void ExpectLogged(const std::string &cell, const std::string &logged) {
  if (cell.starts_with("= ")) EXPECT_EQ(Plain(cell.substr(2)), logged);
  else if (cell == "-") EXPECT_EQ("", logged);
  else EXPECT_NE(std::string::npos, logged.find(Plain(cell))) << cell << " in " << logged;
}

/// Rows "verb | inputs | result | log": what the verb makes of the row is its result. The last cell, which may be
/// left out, says what is logged.
/// @param numCells  without the log's
inline void ExpectRows(const std::string &file, size_t numCells,
                       const std::map<std::string, std::function<std::string(const CaseRow &)>> &verbs) {
  for (const CaseRow &row : CaseRows(file, numCells + 1, numCells)) {
    SCOPED_TRACE(testing::PrintToString(row));
    LogCapture log;
    EXPECT_EQ(Plain(row[numCells - 1]), verbs.at(row[0])(row));
    ExpectLogged(row[numCells], Joined(log));
  }
}

#endif
