#include "kxcert/keys/sxToken.h"

#include <gtest/gtest.h>

#include "support/keyFiles.h"

namespace {

const unsigned char kId[] = {1, 2, 3};

TEST(sxToken, FindsKeysByIdentifierAndHoldsThem) {
  sxToken *const token = new sxToken("in memory");
  PubKeyRef key = EcTestKey("prime256v1");
  ASSERT_EQ(0, token->AddKey(kId, 3, key.get()));
  EXPECT_EQ(-1, token->AddKey(kId, 3, key.get())) << "in use";
  EXPECT_EQ(-1, token->AddKey(kId, 0, key.get()));
  EXPECT_EQ(-1, token->AddKey(kId, -1, key.get()));
  EXPECT_EQ(-1, token->AddKey(kId, 2, nullptr));
  const std::vector<unsigned char> expected = Exported(*key, sxPK_public);
  key.reset();
  EXPECT_EQ(nullptr, token->FindKey(kId, 2));
  PubKeyRef found(token->FindKey(kId, 3));
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(1, token->NumKeys());
  EXPECT_EQ(0, token->RemoveKey(kId, 3));
  EXPECT_EQ(-1, token->RemoveKey(kId, 3));
  sxSavePKobj(token);
  sxFreePKobj(token);
  EXPECT_STREQ("in memory", token->Label());
  sxFreePKobj(token);
  EXPECT_EQ(expected, Exported(*found, sxPK_public)) << "outlives the token";
}

}  // namespace
