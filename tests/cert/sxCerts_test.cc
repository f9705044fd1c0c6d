#include "kxcert/cert/sxCerts.h"

#include <gtest/gtest.h>

#include <ctime>

#include "kxcert/cert/sxDN.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/testPki.h"

namespace {

TEST(sxCerts, HolesStayAndAddGoesBehindTheTop) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr), c("CN=c", nullptr), d("CN=d", nullptr);
  sxCerts certs(0);
  EXPECT_EQ(0, certs.Slots());
  EXPECT_EQ(-1, certs.Top());
  for (const TestCert *cert : {&a, &b, &c}) certs.Add(cert->Ref());
  EXPECT_EQ(10, certs.Slots());
  EXPECT_EQ(3, certs.Count());
  EXPECT_EQ(0, certs.Del(1));
  EXPECT_EQ(2, certs.Count());
  EXPECT_EQ(2, certs.Top());
  EXPECT_EQ(nullptr, certs.Get(1));
  certs.Add(d.Ref());
  EXPECT_EQ(d.Get(), certs.Get(3));
  EXPECT_EQ(nullptr, certs.Get(1));
  EXPECT_EQ(0, certs.Del(3));
  EXPECT_EQ(0, certs.Del(2));
  EXPECT_EQ(0, certs.Top());  // holes at the top are no members
  certs.Add(d.Ref());
  EXPECT_EQ(d.Get(), certs.Get(1));
  for (const int outside : {-1, 10}) {
    EXPECT_EQ(-1, certs.Set(outside, a.Get()));  // not adopted
    EXPECT_EQ(-1, certs.Del(outside));
    EXPECT_EQ(nullptr, certs.Get(outside));
  }
  certs.Add(nullptr);
  EXPECT_EQ(2, certs.Count());
  certs.ClearAll();
  EXPECT_EQ(0, certs.Count());
  EXPECT_EQ(10, certs.Slots());
  sxCerts full = SetOf({&a, &b});
  full.Add(c.Ref());
  EXPECT_EQ(12, full.Slots());
  EXPECT_EQ(c.Get(), full.Get(2));
}

// Looking for the top in each empty slot takes a minute.
TEST(sxCerts, ManyReservedSlotsFillInLittleTime) {
  const TestCert a("CN=a", nullptr);
  constexpr int kNum = 300000;
  sxCerts certs(kNum);
  const std::clock_t start = std::clock();
  for (int i = 0; i < kNum; ++i) certs.Add(a.Ref());
  EXPECT_EQ(kNum, certs.Count());
  for (int i = kNum; i-- > 1;) certs.Del(i);
  EXPECT_EQ(0, certs.Top());
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

// The last reference must go with the set, and none before; the leak checker sees both.
TEST(sxCerts, AdoptsReferences) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr);
  auto certs = std::make_unique<sxCerts>(1);
  EXPECT_EQ(0, certs->Set(0, a.Ref()));
  EXPECT_EQ(0, certs->Set(0, b.Ref()));  // drops the old one
  sxCerts copy(*certs);
  sxCerts assigned;
  assigned = copy;
  EXPECT_EQ(b.Get(), assigned.Get(0));
  assigned = *&assigned;
  certs.reset();
  EXPECT_EQ(1, copy.Get(0)->OK());
  sxCert_Save(copy.Get(0));
  sxCert *kept = copy.Get(0);
  copy.ClearAll();
  EXPECT_EQ(kept, assigned.Get(0));
  sxCert_Free(kept);
  assigned.Swap(copy);
  EXPECT_EQ(1, copy.Count());
  EXPECT_EQ(0, assigned.Count());
  copy.Keep(a.Get());
  sxCerts(copy).Keep(b.Get());
  sxCerts_ClearAll(&copy);
  EXPECT_EQ(0, copy.Count());
  copy.Keep(b.Get());
}

TEST(sxCerts, FindsBySubject) {
  const TestCert a("O=x/CN=a", nullptr), again("O=X/CN=A", nullptr), b("CN=b", nullptr);
  sxCerts certs = SetOf({&b, &a, &again});
  certs.Del(0);
  EXPECT_EQ(a.Get(), certs.GetBySubjectDN(sxDN("cn= A ,o=x")));
  EXPECT_EQ(nullptr, certs.GetBySubjectDN(sxDN("CN=b")));
  EXPECT_EQ(nullptr, certs.GetBySubjectDN(sxDN()));
}

TEST(sxCerts, GoesIntoOctetsAndBack) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr, CaOptions());
  sxCerts certs = SetOf({&a, &b});
  const Octets expected = Der(0x30, {DerOf(*a.Get()), DerOf(*b.Get())});
  Octets out(expected.size() + 5, 0xEE);
  ASSERT_EQ(LenOf(expected), sxCerts_2buf(&certs, out.data(), LenOf(out)));
  EXPECT_EQ(expected, Octets(out.begin(), out.begin() + LenOf(expected)));
  ASSERT_EQ(LenOf(expected), sxCerts_2buf(&certs, out.data(), LenOf(expected)));
  EXPECT_EQ(-1, sxCerts_2buf(&certs, out.data(), LenOf(expected) - 1));
  EXPECT_EQ(-1, sxCerts_2buf(nullptr, out.data(), LenOf(out)));
  EXPECT_EQ(-1, sxCerts_2buf(&certs, nullptr, LenOf(out)));

  for (const Octets &octets : {expected, Indefinite(0x30, Joined({DerOf(*a.Get()), DerOf(*b.Get())}))}) {
    sxCerts *back = sxCerts_buf2Certs(octets.data(), LenOf(octets));
    ASSERT_NE(nullptr, back);
    EXPECT_EQ(2, back->Slots());
    ASSERT_EQ(2, back->Count());
    EXPECT_EQ(1, *back->Get(0) == *a.Get());
    EXPECT_EQ(1, *back->Get(1) == *b.Get());
    sxCerts_Free(back);
  }

  certs.Del(0);  // the first hole ends the sequence
  ASSERT_EQ(2, sxCerts_2buf(&certs, out.data(), LenOf(out)));
  sxCerts *none = sxCerts_buf2Certs(out.data(), 2);
  ASSERT_NE(nullptr, none);
  EXPECT_EQ(0, none->Slots());
  sxCerts_Free(none);
}

TEST(sxCerts, RefusesWhatIsNoSequenceOfCertificates) {
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr);
  const Octets one = DerOf(*a.Get()), good = Der(0x30, {one, DerOf(*b.Get())});
  for (size_t len = 0; len < good.size(); ++len) {
    const Octets prefix(good.begin(), good.begin() + static_cast<long>(len));
    EXPECT_EQ(nullptr, sxCerts_buf2Certs(prefix.data(), LenOf(prefix))) << len;
  }
  for (const Octets &bad : {Joined({good, {0}}), Der(0x31, one), Der(0x30, {one, {0x05, 0x00}}),
                            Joined({{0x30, 0x80}, one}), Joined({{0x30, 0x80}, one, {0x00, 0x01}})}) {
    EXPECT_EQ(nullptr, sxCerts_buf2Certs(bad.data(), LenOf(bad))) << EncodeHex(bad);
  }
  EXPECT_EQ(nullptr, sxCerts_buf2Certs(nullptr, 5));
}

TEST(sxCerts, TakesCertificatesUpTo4096Octets) {
  const TestCert a("CN=a", nullptr, {.issuerName = "CN=b"});
  const auto withName = [&a](size_t nameLen) {
    return Replaced(DerOf(*a.Get()), CaseOctets("30{31{30{06{550403}0C{61}}}}"),
                    CaseOctets("30{31{30{06{550403}0C{61*" + std::to_string(nameLen) + "}}}}"));
  };
  const size_t rest = withName(3000).size() - 3000;
  for (const size_t size : {4096U, 4097U}) {
    const Octets der = withName(size - rest);
    ASSERT_EQ(size, der.size());
    const Octets sequence = Der(0x30, der);
    sxCerts *back = sxCerts_buf2Certs(sequence.data(), LenOf(sequence));
    EXPECT_EQ(size == 4096, back != nullptr);
    sxCerts_Free(back);
  }
}

}  // namespace
