#include "kxcert/trust/sxcert_black_list.h"

#include <gtest/gtest.h>

#include "kxcert/trust/ValidateParams.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

TEST(BlackList, HexPairsReadAsScanfDoes) {
  unsigned char out[3] = {};
  EXPECT_EQ(0, sxcert_hex_to_bin("aB+7 9", out, 3));
  EXPECT_EQ("ab0709", EncodeHex(out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcd", out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcdefab", out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("", out, -1));
  EXPECT_EQ(-1, sxcert_hex_to_bin(nullptr, out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcdef", nullptr, 3));
}

TEST(BlackList, GoesWithTheFreeThatLeavesOneOrLess) {
  LogCapture log;
  EXPECT_EQ(-2, sxcert_black_list::save(nullptr));
  EXPECT_EQ(0, sxcert_black_list::free(nullptr));
  EXPECT_EQ(0, sxcert_black_list::Diff(nullptr, nullptr));

  sxcert_black_list *unsaved = new sxcert_black_list(0);
  EXPECT_EQ(0, sxcert_black_list::free(unsaved));
  EXPECT_TRUE(log.Has("zero/negative reference count for"));
  EXPECT_TRUE(log.Has("sxcert_black_list::free: deleting black_list:"));
  log.Clear();

  sxcert_black_list *attached = new sxcert_black_list(0);
  ValidateParams params;
  params.Set_BlackList(attached);
  ValidateParams copy(params);   // carries the list and saves nothing
  EXPECT_EQ(attached, copy.Get_BlackList());
  EXPECT_EQ(3, sxcert_black_list::save(attached));
  EXPECT_EQ(2, sxcert_black_list::free(attached));
  EXPECT_FALSE(log.Has("deleting"));
  EXPECT_EQ(1, sxcert_black_list::free(attached));
  EXPECT_TRUE(log.Has("deleting"));
  EXPECT_FALSE(log.Has("zero/negative"));
}

}  // namespace
