#include "kxcert/store/crlNumber.h"

#include <gtest/gtest.h>

#include <string>

#include "support/logCapture.h"

namespace {

// Each fault has its own line: what stands behind the function's name; "" for none.
struct NumberCase { const char *from; unsigned number; const char *line; };

constexpr NumberCase kCases[] = {
    {"CN=ICA_CRL0,O=x", 0, ""},
    {"CN=ICA_CRL007,O=x", 7, ""},
    {nullptr, 1, "No DN provided"},
    {"CN=123456789012345678901", 1, "Couldn't get CRL file name from CN=123456789012345678901"},
    {"CN=ICA_CRL,O=x", 1, "CRL filename lacks number"},
    {"CN=ICA_CRL123456", 1, "number space is too large in \"CN=ICA_CRL123456\""},
    {"CN=ica_crl1", 1, "illegal string \"CN=ica_crl1\""},
    {"CN=ICA_CRL-4", 1, "illegal crl_number in \"CN=ICA_CRL-4\""},
    {"CN=ICA_CRL00", 1, "illegal crl_number in \"CN=ICA_CRL00\""},
    {"http://ca.example:18264/ICA_CRL12345.crl", 12345, ""},
    {"http:ICA_CRL3.crl", 1, "no slash in \"http:ICA_CRL3.crl\""},
    {"http://a.example/ICA_CRL3", 1, "\"http://a.example/ICA_CRL3\" lacks \"ICA_CRL\" or number"},
    {"http:/ICA_CRL123456.crl", 1, "number space is too large in \"http:/ICA_CRL123456.crl\""},
    {"http:/my_crls_1.crl", 1, "illegal string \"http:/my_crls_1.crl\""},
    {"http:/ICA_CRL1.2.crl", 1, "illegal crl_number in \"http:/ICA_CRL1.2.crl\""},
};

TEST(CrlNumber, IsReadFromNamesAndUris) {
  for (const NumberCase &c : kCases) {
    SCOPED_TRACE(c.from != nullptr ? c.from : "(null)");
    const bool isUri = c.from != nullptr && std::string(c.from).starts_with("http:");
    LogCapture log;
    unsigned number = 1;   // stays on failure
    EXPECT_EQ(*c.line == '\0' ? 0 : -1, (isUri ? sxca_URI_to_crl_number : sxca_DN_to_crl_number)(c.from, number));
    EXPECT_EQ(c.number, number);
    const std::string func = isUri ? "sxca_URI_to_crl_number: " : "sxca_DN_to_crl_number: ";
    if (*c.line != '\0') {
      EXPECT_EQ("[CrlDB] " + func + c.line, log.Lines().back());
    }
  }
}

}  // namespace
