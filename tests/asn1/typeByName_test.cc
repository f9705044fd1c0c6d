#include "asn1/typeByName.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"

TEST(sxAsnFindType, TakesClassAndTypeNames) {
  EXPECT_EQ(&sxASN_Certificate::kInfo, sxAsnFindType("Certificate"));
  EXPECT_EQ(&sxASN_Certificate::kInfo, sxAsnFindType("sxASN_Certificate"));
  EXPECT_EQ(&sxASN_Dss_Parms::kInfo, sxAsnFindType("Dss-Parms"));
  for (const char *unknown : {"", "sxASN_", "certificate", "Certificat", "Certificate "}) {
    EXPECT_EQ(nullptr, sxAsnFindType(unknown)) << unknown;
  }
  EXPECT_EQ(nullptr, sxAsnFindType(nullptr));
}

TEST(sxAsnTypeAt, ListsClassesThatAreFoundByTheirNames) {
  int count = 0;
  for (; const sxAsnTypeInfo *info = sxAsnTypeAt(count); ++count) {
    EXPECT_EQ(info, sxAsnFindType(info->name));
    const std::unique_ptr<sxAsnType> value(info->create());
    EXPECT_STREQ(info->name, value->TypeName());
  }
  EXPECT_GT(count, 50);
  EXPECT_EQ(nullptr, sxAsnTypeAt(-1));
}
