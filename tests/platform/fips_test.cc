#include "kxcert/platform/fips.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <csignal>

#include "support/logCapture.h"

namespace {

TEST(Fips, FollowsTheDefaultProperties) {
  EXPECT_FALSE(IsFIPS140());
  ASSERT_EQ(1, EVP_default_properties_enable_fips(nullptr, 1));
  EXPECT_TRUE(IsFIPS140());
  ASSERT_EQ(1, EVP_default_properties_enable_fips(nullptr, 0));
  EXPECT_FALSE(IsFIPS140());
}

int g_numReboots = 0;

TEST(FipsDeathTest, AbortsUnlessAnInstalledHandlerReturns) {
  {
    LogCapture log;
    g_numReboots = 0;
    fips_set_reboot_handler([] { ++g_numReboots; });
    fips_reboot();
    fips_set_reboot_handler(nullptr);
    EXPECT_EQ(1, g_numReboots);
    EXPECT_TRUE(log.Has("fips_reboot: "));
  }
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(fips_reboot(), testing::KilledBySignal(SIGABRT), "fips_reboot: ");
}

}  // namespace
