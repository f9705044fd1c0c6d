#include "kxcert/store/crlNumber.h"

#include <gtest/gtest.h>

#include "support/caseFile.h"
#include "support/logCapture.h"

namespace {

TEST(CrlNumber, IsReadFromNamesAndUris) {
  for (const CaseRow &row : CaseRows("store/crlNumbers.txt", 3, 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const bool isUri = row[0].starts_with("http:");
    const LogCapture log;
    unsigned number = 1;   // stays on failure
    const char *const from = row[0] == "(null)" ? nullptr : row[0].c_str();
    EXPECT_EQ(row[2].empty() ? 0 : -1, (isUri ? sxca_URI_to_crl_number : sxca_DN_to_crl_number)(from, number));
    EXPECT_EQ(row[1], std::to_string(number));
    const std::string func = isUri ? "[CrlDB] sxca_URI_to_crl_number: " : "[CrlDB] sxca_DN_to_crl_number: ";
    EXPECT_TRUE(row[2].empty() || log.Lines().back() == func + row[2]) << testing::PrintToString(log.Lines());
  }
}

}  // namespace
