#include "kxcert/asn1/oidNames.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

// Names are looked up by identifier, and identifiers by kind and name: neither may stand twice.
TEST(sxOidName, FindsEachRowAndNothingElse) {
  std::set<std::pair<sxOidKind, std::string>> names;
  for (const sxNamedOid &row : sxNamedOids()) {
    EXPECT_STREQ(row.name, sxOidName(row.oid));
    EXPECT_TRUE(names.emplace(row.kind, row.name).second) << row.name;
  }
  EXPECT_EQ(nullptr, sxOidName(sxAsnOid({1, 3, 101, 114})));
  EXPECT_EQ(nullptr, sxOidName(sxAsnOid()));
}
