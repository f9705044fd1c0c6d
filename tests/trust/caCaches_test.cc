#include "kxcert/trust/caCaches.h"

#include <gtest/gtest.h>

#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/sxRootCA.h"
#include "support/caseFile.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/testPki.h"

namespace {

TEST(CaIdentity, OrdersByTheSharedLengthThenShorterIsGreater) {
  const sxDN shortName("CN=a"), longName("CN=ab"), other("CN=b"), same("CN=a");
  const CA_Identity a(shortName), ab(longName), b(other), again(same);
  EXPECT_EQ(0, CA_Identity::Compare(&a, &again));
  EXPECT_EQ(CA_Identity::Hash(&a), CA_Identity::Hash(&again));
  EXPECT_EQ(1, CA_Identity::Compare(&a, &ab));
  EXPECT_EQ(-1, CA_Identity::Compare(&ab, &a));
  EXPECT_EQ(-1, CA_Identity::Compare(&a, &b));
  EXPECT_EQ(-1, CA_Identity::Compare(&ab, &b));
  const Octets withNul = CaseOctets("30{31{30{06{550403} 0C{\"a\\0b\"}}}}");   // no C string of it is "CN=a"
  const sxDN nulName(withNul.data(), LenOf(withNul));
  const CA_Identity nul(nulName);
  EXPECT_NE(0, CA_Identity::Compare(&a, &nul));
  EXPECT_FALSE(CA_Identity(sxDN("")).Valid());
  EXPECT_FALSE(CA_Identity(sxDN()).Valid());
}

TEST(RootCACache, RefusesRootsThatHaveNoName) {
  LogCapture log;
  RootCA_Cache cache(4, 0);
  const TestCert nameless("", nullptr);
  sxRootCA noCert("x", nullptr, 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  sxRootCA noName("x", nameless.Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(-1, cache.Add(nullptr));
  EXPECT_EQ(-1, cache.Add(&noCert));
  EXPECT_TRUE(log.Has("RootCA_Cache::Add: invalid Root CA ."));
  EXPECT_EQ(-2, cache.Add(&noName));
  EXPECT_TRUE(log.Has("RootCA_Cache::Add: failed to create CA_identity."));
  EXPECT_EQ(-1, cache.Delete(&noCert));
  EXPECT_EQ(-2, cache.Delete(&noName));
  EXPECT_EQ(nullptr, cache.Get(*noName.DN()));
  EXPECT_EQ(0, cache.Count());
}

TEST(CaCertCache, CountsReferencesThroughReplacingEvictingAndExpiring) {
  FixedClock clock(kTestNow);
  const TestCert a("O=Cache/CN=a", nullptr), b("O=Cache/CN=b", nullptr), c("O=Cache/CN=c", nullptr);
  const TestCert newA("O=Cache/CN=a", nullptr);
  {
    CA_Cert_Cache cache(2, 100);
    EXPECT_EQ(0, cache.add_CA_cert(a.Get()));
    EXPECT_EQ(0, cache.add_CA_cert(a.Get()));   // the same object again
    EXPECT_EQ(1, cache.Count());
    EXPECT_EQ(0, cache.add_CA_cert(newA.Get()));
    EXPECT_EQ(newA.Get(), cache.get_CA_cert(*a.Get()->Subject()));
    EXPECT_EQ(0, cache.add_CA_cert(b.Get()));
    EXPECT_EQ(0, cache.add_CA_cert(c.Get()));   // a's place
    EXPECT_EQ(nullptr, cache.get_CA_cert(*a.Get()->Subject()));
    EXPECT_EQ(0, cache.delete_CA_cert(c.Get()));
    EXPECT_EQ(nullptr, cache.get_CA_cert(*c.Get()->Subject()));
    sxCert *kept = cache.get_CA_cert_Save(*b.Get()->Subject());
    ASSERT_EQ(b.Get(), kept);
    clock.Advance(100);
    EXPECT_EQ(nullptr, cache.get_CA_cert(*b.Get()->Subject()));
    sxCert_Free(kept);
    EXPECT_EQ(0, cache.add_CA_cert(a.Get()));   // one that goes with the cache
  }
  // Each is back at its creator's reference.
  for (const TestCert *cert : {&a, &b, &c, &newA}) {
    cert->Get()->IncRef();
    EXPECT_EQ(1, cert->Get()->DecRef());
  }
}

}  // namespace
