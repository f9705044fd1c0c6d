#include "kxcert/cert/sxCerts.h"

#include <ctime>

#include "kxcert/cert/sxDN.h"
#include "support/script.h"
#include "support/testPki.h"

namespace {

Octets SequenceOf(const sxCerts &certs) {
  Octets content;
  for (const sxCert *cert : Members(certs)) content = Joined({content, cert == nullptr ? Octets() : DerOf(*cert)});
  return Der(0x30, content);
}

// The last reference must go with the set, and none before; the leak checker sees both.
TEST(sxCerts, DoesWhatTheStepsSay) {
  std::vector<std::unique_ptr<TestCert>> made;
  const auto decode = [](const Octets &octets) {
    sxCerts *const certs = sxCerts_buf2Certs(octets.data(), LenOf(octets));
    return std::unique_ptr<sxCerts, decltype(&sxCerts_Free)>(certs, sxCerts_Free);
  };
  Script()
      .OnCopiesOf<sxCerts>()
      .On("Cert", [&made](const char *subject) {
        return made.emplace_back(std::make_unique<TestCert>(subject, nullptr))->Get();
      })
      .On("Set", [](int capacity) { return std::make_unique<sxCerts>(capacity); })
      .On("slots", &sxCerts::Slots)
      .On("count", &sxCerts::Count)
      .On("top", &sxCerts::Top)
      .On("get", &sxCerts::Get)
      .On("add", [](sxCerts &certs, sxCert *cert) {
        if (cert != nullptr) sxCert_Save(cert);
        certs.Add(cert);
      })
      .On("set", [](sxCerts &certs, int at, sxCert *cert) {
        sxCert_Save(cert);
        const int rc = certs.Set(at, cert);
        if (rc != 0) sxCert_Free(cert);   // not adopted
        return rc;
      })
      .On("del", &sxCerts::Del)
      .On("keep", [](sxCerts &certs, sxCert *cert) { certs.Keep(cert); })
      .On("clearAll", &sxCerts::ClearAll)
      .On("flatClearAll", [](sxCerts &certs) { sxCerts_ClearAll(&certs); })
      .On("swap", [](sxCerts &certs, sxCerts &other) { certs.Swap(other); })
      .On("ok", [](const sxCert &cert) { return cert.OK(); })
      .On("save", [](sxCert *cert) { sxCert_Save(cert); })
      .On("free", [](sxCert *cert) { sxCert_Free(cert); })
      .On("equal", [](const sxCert &a, const sxCert &b) { return a == b; })
      .On("bySubject", [](const sxCerts &certs, const char *name) { return certs.GetBySubjectDN(sxDN(name)); })
      .On("byNoName", [](const sxCerts &certs) { return certs.GetBySubjectDN(sxDN()); })
      .On("encode", [](sxCerts &certs, int room) {   // with so many octets more than it takes
        Octets out(SequenceOf(certs).size() + 5, 0xEE);
        const int len = sxCerts_2buf(&certs, out.data(), LenOf(out) - 5 + room);
        if (len < 0) return std::string("-1");
        out.resize(static_cast<size_t>(len));
        return out == SequenceOf(certs) ? "all of it" : EncodeHex(out);
      })
      .On("encodeInto", [](sxCerts *certs, unsigned char octet) {
        return sxCerts_2buf(certs, octet == 0 ? nullptr : &octet, 1);
      })
      .On("decode", decode)
      .On("decodeOf", [decode](const sxCerts &certs) { return decode(SequenceOf(certs)); })
      .On("decodeIndefinite", [decode](const sxCerts &certs) {
        const Octets all = SequenceOf(certs);
        return decode(Indefinite(0x30, Octets(all.begin() + 4, all.end())));
      })
      .Run("cert/sxCerts.steps");
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
