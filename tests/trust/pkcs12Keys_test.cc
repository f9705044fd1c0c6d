// Certified keys of containers: which bags belong together, and whole keys in and out.
#include "kxcert/trust/pkcs12Keys.h"

#include <gtest/gtest.h>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "support/caseFile.h"

namespace {

constexpr unsigned char kSecret[] = {'s', 'e', 'c', 'r', 'e', 't'};

void Open(const std::string &name, sxPkcs12 &container) {
  const std::string text = CaseData("cert/pkcs12/" + name + ".p12");
  ASSERT_EQ(sxPkcs12_ok, container.Read({reinterpret_cast<const unsigned char *>(text.data()), text.size()}));
  ASSERT_EQ(sxPkcs12_ok, container.Open(kSecret));
}

// The root of every-bag.p12, trusted.
void Trust(const sxPkcs12 &container, sxKeyHolder &holder) {
  auto *const root = new sxRootCA("the root", container.Bags()[9].cert, 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(0, holder.AddCA(root));
  sxFreePKobj(root);
}

TEST(Pkcs12Keys, TiesByKeyThenIdentifierAndTellsTheRest) {
  sxPkcs12 container, closed;
  Open("every-bag", container);
  const sxPkcs12Order order = sxPkcs12_Order(container);
  ASSERT_EQ(2U, order.keys.size());
  EXPECT_EQ(0, order.keys[0].key);
  EXPECT_EQ((std::vector<int>{4, 7, 9}), order.keys[0].chain);  // not that of the same identifier, which is another's
  EXPECT_EQ(1, order.keys[1].key);
  EXPECT_EQ(std::vector<int>{2}, order.keys[1].chain);
  EXPECT_EQ(std::vector<int>{3}, order.otherCerts);
  EXPECT_EQ(std::vector<int>{5}, order.otherCrls);
  EXPECT_EQ((std::vector<int>{10, 11, 12, 13}), order.others);
  EXPECT_TRUE(order.otherKeys.empty());
  EXPECT_FALSE(order.isCut);
  EXPECT_TRUE(sxPkcs12_Order(closed).keys.empty());
}

TEST(Pkcs12Keys, AddsAllKeysOrNone) {
  sxPkcs12 container;
  Open("every-bag", container);
  sxPkcs12Order order = sxPkcs12_Order(container);
  sxKeyHolder *const holder = sxKeyHolder_New();
  Trust(container, *holder);
  order.keys[1].chain = {5};  // a CRL
  EXPECT_EQ(-1, sxPkcs12_AddKeys(container, order, 3, *holder));
  EXPECT_FALSE(holder->HasKeys());
  order.keys[1].chain = {2};
  EXPECT_EQ(2, sxPkcs12_AddKeys(container, order, 3, *holder));
  const unsigned char id[] = {1};
  sxCertifiedKey *const key = holder->CertKeyByID(id, 1);
  ASSERT_NE(nullptr, key);
  EXPECT_STREQ("key", key->Name());
  EXPECT_EQ(3, key->Purpose());
  EXPECT_EQ(3, key->Chain().Count());
  ASSERT_NE(nullptr, key->Root());
  EXPECT_STREQ("the root", key->Root()->Name());
  sxCertifiedKey *const other = holder->CertKeyByName("\xF0\x9F\x94\x91");
  ASSERT_NE(nullptr, other);
  EXPECT_EQ(nullptr, other->Root());

  sxPkcs12Settings quick;
  quick.keys.iterations = quick.certs.iterations = quick.macIterations = 2;
  kxBinBuf out;
  ASSERT_EQ(sxPkcs12_ok, sxPkcs12_Export(*key, quick, kSecret, out));
  sxPkcs12 again;
  ASSERT_EQ(sxPkcs12_ok, again.Read({out.Data(), out.Len()}));
  ASSERT_EQ(sxPkcs12_ok, again.Open(kSecret));
  const sxPkcs12Order exported = sxPkcs12_Order(again);
  ASSERT_EQ(1U, exported.keys.size());
  EXPECT_EQ((std::vector<int>{0, 1, 2}), exported.keys[0].chain);
  const sxPkcs12Bag &bag = again.Bags()[static_cast<size_t>(exported.keys[0].key)];
  EXPECT_EQ(1, sxPubKey_Equal(key->PubKey(), bag.key));
  EXPECT_EQ("key", bag.name);
  EXPECT_EQ(20U, bag.keyId.size());
  sxFreePKobj(holder);
}

}  // namespace
