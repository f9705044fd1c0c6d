#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/cert/signatureCache.h"
#include "support/derOctets.h"
#include "support/fixedClock.h"
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
  EXPECT_EQ(numVerified + 1, NumVerified());   // the identifier named the right one
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

// A CA's new key, certified by its old one, and a certificate of the same name that neither verifies.
TEST(SortCertsCandidates, GoesOnFromACAsNewKeyToItsOldOne) {
  const TestCert old("O=Roll/CN=ca", nullptr, CaOptions()), renewed("O=Roll/CN=ca", &old, CaOptions());
  const TestCert signer("O=Roll/CN=x", nullptr);
  const TestCert stranger("O=Roll/CN=ca", &signer, CaOptions({.issuerName = "O=Roll/CN=ca"}));
  const TestCert leaf("O=Roll/CN=leaf", &renewed);
  sxCerts certs = SetOf({&stranger, &old, &renewed, &leaf});
  EXPECT_EQ(-1, sxCerts_Sort(certs));
  EXPECT_THAT(Members(certs), ElementsAre(leaf.Get(), renewed.Get(), old.Get()));
  sxCerts byOld = SetOf({&renewed, &leaf, &stranger});
  EXPECT_EQ(-1, sxCerts_Sort(byOld));
  EXPECT_THAT(Members(byOld), ElementsAre(leaf.Get(), renewed.Get()));
}

// Found by its key identifier, or as the last of 64 that are valid now; 63 outdated ones come first.
TEST(SortCertsCandidates, FindsTheIssuerAmongLookAlikes) {
  FixedClock clock(kTestNow);
  const TestCertOptions withIds = CaOptions({.keyIds = true});
  const TestCert top("O=Like/CN=top", nullptr, withIds), right("O=Like/CN=ca", &top, withIds);
  const TestCert leaf("O=Like/CN=leaf", &right, {.keyIds = true}), plain("O=Like/CN=leaf", &right);
  sxCerts others;
  for (int i = 0; i < 126; ++i) {
    const int64_t notAfter = i < 63 ? kTestNow - 1 : kTestNow;
    others.Add(TestCert("O=Like/CN=ca", &top, CaOptions({.notAfter = notAfter})).Ref());
  }
  for (const TestCert *end : {&leaf, &plain}) {
    sxCerts certs(others);
    certs.Add(right.Ref());
    certs.Add(end->Ref());
    EXPECT_EQ(-1, sxCerts_Sort(certs));
    EXPECT_THAT(Members(certs), ElementsAre(end->Get(), right.Get()));
  }
}

// Hundreds of CAs that issue each other by name alone: each step has hundreds of candidates, and none
// verifies. The memory of signatures counts what was asked of it.
TEST(SortCertsCandidates, BoundsTheVerificationsOfAHostileSet) {
  const TestCert signer("O=Many/CN=signer", nullptr);
  const char *const names[] = {"O=Many/CN=a", "O=Many/CN=b"};
  sxCerts certs;
  for (int i = 0; i < 200; ++i) certs.Add(TestCert(names[i % 2], &signer, {.issuerName = names[(i + 1) % 2]}).Ref());
  const uint64_t numVerified = NumVerified();
  EXPECT_EQ(0, sxCerts_Sort(certs));
  EXPECT_EQ(numVerified + 64, NumVerified());
  EXPECT_EQ(200, certs.Count());
}

// Tens of thousands of them; comparing each with each takes minutes. A name with an OCTET STRING equals
// nothing, itself included, though all of them have one hash.
TEST(SortCertsCandidates, SortsManyInLittleTime) {
  const TestCert a("O=Many/CN=a", nullptr, {.serial = "11223344", .issuerName = "O=Many/CN=b"});
  const TestCert b("O=Many/CN=b", nullptr, {.serial = "11223344", .issuerName = "O=Many/CN=a", .keyOf = &a});
  const std::clock_t start = std::clock();
  for (const unsigned char stringTag : {0x0C, 0x04}) {
    Octets ders[] = {DerOf(*a.Get()), DerOf(*b.Get())};
    sxCerts certs;
    for (int i = 0; i < 16000; ++i) {
      Octets &der = ders[i % 2];
      constexpr unsigned char kSerial[] = {0x02, 0x04, 0x11}, kCommonName[] = {0x55, 0x04, 0x03};
      auto at = std::search(der.begin(), der.end(), std::begin(kSerial), std::end(kSerial));
      at[4] = static_cast<unsigned char>(i >> 8);
      at[5] = static_cast<unsigned char>(i);
      for (int name = 0; name < 2; ++name) {
        at = std::search(at + 1, der.end(), std::begin(kCommonName), std::end(kCommonName));
        at[3] = stringTag;
      }
      certs.Add(sxCert_Decode(der.data(), LenOf(der)));
    }
    EXPECT_EQ(stringTag == 0x0C ? 0 : -1, sxCerts_Sort(certs));
    EXPECT_EQ(stringTag == 0x0C ? 16000 : 1, certs.Count());
  }
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

}  // namespace
