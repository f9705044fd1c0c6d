#include "kxcert/keys/dhModulus.h"

#include <gtest/gtest.h>

#include "support/dhTestGroups.h"

namespace {

TEST(DhModulus, WantsAPrimeWithALargeSubgroup) {
  const std::string tooLong = "1" + std::string(2 * 1024 - 1, '0') + "1";   // 8196 bits, hexadecimal
  struct { std::string p; int rc; std::string q; int j; } const cases[] = {
      {"17", 0, "0B", 2},
      {"0FB34B", 0, "0407", 998},   // 998 * 1031 + 1
      {"0F9449", -1, "07", 0},      // 1000 * 1021 + 1: one cofactor too far
      {"15", -5, "07", 0},
      {tooLong, -5, "07", 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.p.substr(0, 8));
    const Num p(c.p), q(7);
    int j = 0;
    EXPECT_EQ(c.rc, dh_check_legal_modulus(p.n, q.n));
    EXPECT_EQ(c.q, q.Hex());
    if (c.rc == -5) continue;
    EXPECT_EQ(c.rc, dh_find_p_factor(p.n, nullptr, &j));
    EXPECT_EQ(c.j, j);
  }
}

}  // namespace
