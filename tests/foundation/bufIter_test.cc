#include "kxcert/foundation/bufIter.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(bufIter, PlacesAndPicksAlignedItems) {
  alignas(8) unsigned char area[32] = {};
  unsigned char text[] = "abc";
  const uint16_t number = 0x1234;
  pkxl_buf_iter iter;
  pkxl_buf_iter_init(&iter, area, sizeof area);
  const pkxl_len_and_buf_t item = {3, text};
  ASSERT_TRUE(pkxl_buf_iter_put(&iter, "x", 1, 0) && pkxl_put_len_and_buf_on_iter(&iter, &item) &&   // at 8 and 16
              pkxl_buf_iter_put(&iter, &number, 2, 2));                                              // at 20
  EXPECT_EQ(22U, iter.pos);
  EXPECT_EQ('x', area[0]);
  EXPECT_EQ(0, std::memcmp(area + 16, "abc", 3));

  pkxl_buf_iter_init(&iter, area, 22);
  char x = 0;
  pkxl_len_and_buf_t read = {};
  void *numberPtr = nullptr;
  ASSERT_TRUE(pkxl_buf_iter_get(&iter, &x, 1, 0) && pkxl_get_buf_ptr_and_len_from_iter(&iter, &read));
  EXPECT_FALSE(pkxl_buf_iter_is_at_end(&iter));
  ASSERT_TRUE(pkxl_buf_iter_get_ptr(&iter, &numberPtr, 2, 2));
  EXPECT_TRUE(pkxl_buf_iter_is_at_end(&iter));
  EXPECT_TRUE(x == 'x' && read.len == 3 && read.buf == area + 16 && numberPtr == area + 20);
}

TEST(bufIter, OverflowIsStickyAndKeepsTheRoundedPosition) {
  alignas(8) unsigned char area[12] = {};
  uint64_t eight = 0;
  void *ptr = area;
  pkxl_buf_iter iter;
  pkxl_buf_iter_init(&iter, area, sizeof area);
  ASSERT_TRUE(pkxl_buf_iter_get(&iter, &eight, 1, 0));
  EXPECT_FALSE(pkxl_buf_iter_get(&iter, &eight, 8, 8));
  EXPECT_EQ(8U, iter.pos);
  EXPECT_FALSE(pkxl_buf_iter_get_ptr(&iter, &ptr, 1, 0));   // there would be room
  EXPECT_EQ(nullptr, ptr);
  EXPECT_FALSE(pkxl_buf_iter_put(&iter, "y", 1, 0));
  EXPECT_EQ(0, area[8]);
  pkxl_buf_iter_init(&iter, area, 0);
  EXPECT_FALSE(pkxl_buf_iter_get(&iter, &eight, 0, 0)) << "no area at all";

  uint32_t tooLong[4] = {9};   // a length that the area does not hold
  pkxl_len_and_buf_t read = {};
  pkxl_buf_iter_init(&iter, reinterpret_cast<unsigned char *>(tooLong), sizeof tooLong);
  EXPECT_FALSE(pkxl_get_buf_ptr_and_len_from_iter(&iter, &read));
  EXPECT_EQ(nullptr, read.buf);
}

// Sums of 32-bit numbers would wrap round and seem to fit.
TEST(bufIter, SurvivesPositionsNearTheLargestNumber) {
  constexpr struct { uint32_t pos; uint32_t size; uint32_t align; } kCases[] = {
      {UINT32_MAX - 1, 0, 8}, {UINT32_MAX - 3, 8, 0}, {UINT32_MAX, UINT32_MAX, 1}, {8, UINT32_MAX, 8}};
  unsigned char byte = 0;
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.pos);
    void *ptr = nullptr;
    pkxl_buf_iter iter = {&byte, UINT32_MAX, c.pos, false};
    EXPECT_FALSE(pkxl_buf_iter_get_ptr(&iter, &ptr, c.size, c.align));
    EXPECT_TRUE(iter.overflow);
    EXPECT_GE(iter.pos, c.pos);
  }
}

}  // namespace
