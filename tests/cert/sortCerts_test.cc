#include <gmock/gmock.h>

#include <algorithm>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/signatureCache.h"
#include "support/testPki.h"

using testing::ElementsAre;

namespace {

// Every signature that was looked at, whatever came of it.
uint64_t NumVerified() { return sxSignatureCache_Stats().hits + sxSignatureCache_Stats().misses; }

// A root, two sub-CAs and a leaf.
class SortCerts : public testing::Test {
 protected:
  const TestCert root{"O=Sort/CN=root", nullptr, CaOptions()}, upper{"O=Sort/CN=upper", &root, CaOptions()};
  const TestCert lower{"O=Sort/CN=lower", &upper, CaOptions()}, leaf{"O=Sort/CN=leaf", &lower};
};

TEST_F(SortCerts, PutsAnyOrderIntoPathOrder) {
  std::vector<const TestCert *> order = {&leaf, &lower, &upper, &root};
  std::sort(order.begin(), order.end());
  do {
    sxCerts certs;
    for (const TestCert *cert : order) certs.Add(cert->Ref());
    certs.Add(leaf.Ref());
    ASSERT_EQ(0, certs.Del(4));   // a hole at the end
    EXPECT_EQ(0, sxCerts_Sort(certs));
    EXPECT_THAT(Members(certs), ElementsAre(leaf.Get(), lower.Get(), upper.Get(), root.Get()));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(SortCerts, LeavesOutWhatIsNotOnThePathAndSaysSo) {
  const TestCert stranger("O=Other/CN=leaf", nullptr);
  const sxCerts in = SetOf({&stranger, &root, &leaf, &upper, &lower});
  sxCerts out = SetOf({&stranger});
  EXPECT_EQ(-1, sxCerts_Sort(in, out));
  EXPECT_THAT(Members(out), ElementsAre(leaf.Get(), lower.Get(), upper.Get(), root.Get()));
  EXPECT_EQ(5, in.Count());

  // A missing link ends the path; the earlier one of two that issued nothing starts it.
  sxCerts gap = SetOf({&leaf, &upper, &root});
  EXPECT_EQ(-1, sxCerts_Sort(gap));
  EXPECT_THAT(Members(gap), ElementsAre(leaf.Get()));
  sxCerts none;
  EXPECT_EQ(-1, sxCerts_Sort(none, out));
  EXPECT_EQ(0, out.Count());
}

TEST_F(SortCerts, StartsWithASelfIssuedMemberOnlyWhenNothingElseIsLeft) {
  const TestCert alone("O=Sort/CN=alone", nullptr);
  sxCerts certs = SetOf({&alone, &leaf});
  EXPECT_EQ(-1, sxCerts_Sort(certs));
  EXPECT_THAT(Members(certs), ElementsAre(leaf.Get()));
  sxCerts selfIssued = SetOf({&root});
  EXPECT_EQ(0, sxCerts_Sort(selfIssued));
}

TEST_F(SortCerts, EndsLoopsOfCrossSignedMembers) {
  const TestCert a("O=Loop/CN=a", nullptr, CaOptions()), b("O=Loop/CN=b", &a, CaOptions());
  const TestCert aByB("O=Loop/CN=a", &b, CaOptions({.keyOf = &a})), end("O=Loop/CN=end", &b);
  sxCerts certs = SetOf({&b, &aByB, &end});
  EXPECT_EQ(0, sxCerts_Sort(certs));
  EXPECT_THAT(Members(certs), ElementsAre(end.Get(), b.Get(), aByB.Get()));
  sxCerts loop = SetOf({&b, &aByB});
  EXPECT_EQ(0, sxCerts_Sort(loop));
  EXPECT_THAT(Members(loop), ElementsAre(b.Get(), aByB.Get()));
}

// Two CAs of one name, of which the second one signed.
TEST(SortCertsCandidates, ChoosesByKeyIdentifierThenByKeyThenByOrder) {
  const TestCertOptions withIds = CaOptions({.keyIds = true});
  const TestCert top("O=Two/CN=top", nullptr, withIds), wrong("O=Two/CN=ca", &top, withIds);
  const TestCert right("O=Two/CN=ca", &top, withIds), leaf("O=Two/CN=leaf", &right, {.keyIds = true});
  sxCerts certs = SetOf({&wrong, &right, &top, &leaf});
  const uint64_t numVerified = NumVerified();
  EXPECT_EQ(-1, sxCerts_Sort(certs));
  EXPECT_EQ(numVerified, NumVerified());   // the identifiers settled it
  EXPECT_THAT(Members(certs), ElementsAre(leaf.Get(), right.Get(), top.Get()));

  const TestCert plainLeaf("O=Two/CN=leaf", &right);
  sxCerts byKey = SetOf({&wrong, &right, &plainLeaf});
  EXPECT_EQ(-1, sxCerts_Sort(byKey));
  EXPECT_THAT(Members(byKey), ElementsAre(plainLeaf.Get(), right.Get()));

  const TestCert other("O=Two/CN=other", nullptr), byNone("O=Two/CN=leaf", &other, {.issuerName = "O=Two/CN=ca"});
  sxCerts byOrder = SetOf({&wrong, &right, &byNone});
  EXPECT_EQ(-1, sxCerts_Sort(byOrder));
  EXPECT_THAT(Members(byOrder), ElementsAre(byNone.Get(), wrong.Get()));
}

// Hundreds of CAs that issue each other by name alone: each step has hundreds of candidates, and none
// verifies. The memory of signatures counts what was asked of it.
TEST(SortCertsCandidates, BoundsTheVerificationsOfAHostileSet) {
  const TestCert signer("O=Many/CN=signer", nullptr), key("O=Many/CN=key", nullptr);
  TestCertOptions options[2];
  options[0].issuerName = "O=Many/CN=b";
  options[1].issuerName = "O=Many/CN=a";
  std::vector<std::unique_ptr<TestCert>> all;
  sxCerts certs;
  for (int i = 0; i < 400; ++i) {
    options[i % 2].keyOf = &key;
    all.push_back(std::make_unique<TestCert>(i % 2 == 0 ? "O=Many/CN=a" : "O=Many/CN=b", &signer, options[i % 2]));
    certs.Add(all.back()->Ref());
  }
  const uint64_t numVerified = NumVerified();
  EXPECT_EQ(0, sxCerts_Sort(certs));
  EXPECT_EQ(numVerified + 16, NumVerified());
  EXPECT_EQ(400, certs.Count());
}

}  // namespace
