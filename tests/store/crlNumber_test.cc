#include "kxcert/store/crlNumber.h"

#include <gtest/gtest.h>

#include <string>

#include "support/logCapture.h"

namespace {

constexpr unsigned kUntouched = 4711;

// Each fault has its own line: what stands behind the function's name.
struct NumberCase { const char *from; unsigned number; const char *line; };

constexpr NumberCase kDnCases[] = {
    {"CN=ICA_CRL0,O=x", 0, nullptr},
    {"CN=ICA_CRL3,O=x", 3, nullptr},
    {"O=x,CN=ICA_CRL99999", 99999, nullptr},
    {"CN=ICA_CRL007,O=x", 7, nullptr},
    {nullptr, kUntouched, "No DN provided"},
    {"O=x", kUntouched, "Couldn't get CRL file name from O=x"},
    {"CN=123456789012345678901", kUntouched, "Couldn't get CRL file name from CN=123456789012345678901"},
    {"CN=12345678901234567890", kUntouched, "number space is too large in \"CN=12345678901234567890\""},
    {"CN=ICA_CRL,O=x", kUntouched, "CRL filename lacks number"},
    {"CN=other", kUntouched, "CRL filename lacks number"},
    {"CN=ICA_CRL123456", kUntouched, "number space is too large in \"CN=ICA_CRL123456\""},
    {"CN=ica_crl1", kUntouched, "illegal string \"CN=ica_crl1\""},
    {"CN=ICA_CRL-4", kUntouched, "illegal crl_number in \"CN=ICA_CRL-4\""},
    {"CN=ICA_CRL00", kUntouched, "illegal crl_number in \"CN=ICA_CRL00\""},
    {"CN=ICA_CRL4x", kUntouched, "illegal crl_number in \"CN=ICA_CRL4x\""},
    {"CN=ICA_CRL 4", kUntouched, "illegal crl_number in \"CN=ICA_CRL 4\""},
};

constexpr NumberCase kUriCases[] = {
    {"http://ca.example:18264/ICA_CRL3.crl", 3, nullptr},
    {"/ICA_CRL0.x", 0, nullptr},
    {"/a.b/ICA_CRL12345.", 12345, nullptr},
    {nullptr, kUntouched, "no slash in \"\""},
    {"ICA_CRL3.crl", kUntouched, "no slash in \"ICA_CRL3.crl\""},
    {"http://ca.example/ICA_CRL3", kUntouched, "\"http://ca.example/ICA_CRL3\" lacks \"ICA_CRL\" or number"},
    {"/ICA_CRL.crl", kUntouched, "\"/ICA_CRL.crl\" lacks \"ICA_CRL\" or number"},
    {"/ICA_CRL3.crl/", kUntouched, "\"/ICA_CRL3.crl/\" lacks \"ICA_CRL\" or number"},
    {"/ICA_CRL1.2.crl", kUntouched, "illegal crl_number in \"/ICA_CRL1.2.crl\""},
    {"/ICA_CRL123456.crl", kUntouched, "number space is too large in \"/ICA_CRL123456.crl\""},
    {"/my_crls_1.crl", kUntouched, "illegal string \"/my_crls_1.crl\""},
    {"/ICA_CRL+4.crl", kUntouched, "illegal crl_number in \"/ICA_CRL+4.crl\""},
};

template <size_t kNumCases>
void Check(const char *func, int (*read)(const char *, unsigned &), const NumberCase (&cases)[kNumCases]) {
  for (const NumberCase &c : cases) {
    SCOPED_TRACE(c.from != nullptr ? c.from : "(null)");
    LogCapture log;
    unsigned number = kUntouched;
    EXPECT_EQ(c.line == nullptr ? 0 : -1, read(c.from, number));
    EXPECT_EQ(c.number, number);
    if (c.line != nullptr) {
      EXPECT_EQ(std::string("[CrlDB] ") + func + ": " + c.line, log.Lines().back());
    }
  }
}

TEST(CrlNumber, IsReadFromNames) { Check("sxca_DN_to_crl_number", sxca_DN_to_crl_number, kDnCases); }
TEST(CrlNumber, IsReadFromUris) { Check("sxca_URI_to_crl_number", sxca_URI_to_crl_number, kUriCases); }

}  // namespace
