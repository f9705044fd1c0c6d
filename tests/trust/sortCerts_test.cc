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

// Found by its key identifier, or as the last of 64 that are valid now; 63 outdated ones come first.
TEST(SortCerts, FindsTheIssuerAmongLookAlikes) {
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
TEST(SortCerts, BoundsTheVerificationsOfAHostileSet) {
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
TEST(SortCerts, SortsManyInLittleTime) {
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
