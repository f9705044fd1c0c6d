// Intermediates from the database, and from where certificates say that their issuers are.
#include <gmock/gmock.h>

#include <future>

#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/defaultEnv.h"
#include "kxcert/platform/eventEnv.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "platform/background.h"
#include "support/fileFetcher.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/tempDir.h"
#include "support/testRoots.h"

namespace {

using testing::ElementsAre;

std::string At(const std::string &file) { return "caIssuers;URI:http://ca.example/" + file; }

class Issuers : public testing::Test {
 protected:
  Issuers() {
    IntermediateCA_db_set_path(m_dir.Path().c_str());
    sxd_env_set_default(env);
    kxFetcher_Set(fetcher);
    AddRoot(holder, root);
  }
  ~Issuers() override {
    kxFetcher_Set(nullptr);
    sxd_env_destroy(env);
    IntermediateCA_db_remove();
  }
  void Serve(const std::string &file, const TestCert &cert) {
    const std::vector<unsigned char> der = DerOf(*cert.Get());
    m_dir.Write(file, std::string(der.begin(), der.end()));
  }
  bool IsTrusted(const TestCert &leaf) {
    sxCerts out;
    return holder.IsChainTrusted(SetOf({&leaf}), out) != nullptr;
  }
  void Run() {
    EXPECT_EQ(0, sxd_env_run_for(env, 100));
    std::promise<void> done;  // behind all that was begun
    ASSERT_TRUE(kxBackground_Post([&done] { done.set_value(); }));
    done.get_future().wait();
  }

  const TempDir m_dir;
  FixedClock clock{kTestNow};
  const TestCert root{"O=Fetch/CN=root", nullptr, CaOptions()};
  const TestCert sub{"O=Fetch/CN=sub", &root, CaOptions()};
  sxSWKeyHolder holder{4, 0, sxKeyHolder_cachedIntermediates};
  sxd_env *env = sxd_env_create();
  const std::shared_ptr<FileFetcher> fetcher = std::make_shared<FileFetcher>(m_dir.Path());
};

// A holder without cache entries finds what another one put away; a record under another one's key is none.
TEST_F(Issuers, ComeFromTheDatabaseInEveryModeButNone) {
  const TestCert leaf("O=Fetch/CN=leaf", &sub);
  const sxDN &name = *sub.Get()->Subject();
  ASSERT_EQ(0, holder.AddIntermediateCA(sub.Get()));
  for (const int mode : {0, 1, 2, -7}) {
    SCOPED_TRACE(mode);
    sxSWKeyHolder other(1, 0, mode);
    AddRoot(other, root);
    sxCerts out;
    EXPECT_EQ(mode != 0, other.IsChainTrusted(SetOf({&leaf}), out) != nullptr);
    EXPECT_EQ(mode != 0, other.GetIntermediateCA(name) != nullptr);
    EXPECT_EQ(mode != 0 ? 1 : 0, other.IntermediateCAsCount());
  }
  sxSWKeyHolder last(1, 0, 2), none(0, 0, 2);
  LogCapture log;
  EXPECT_EQ(nullptr, none.GetIntermediateCA(name));   // nobody would hold it
  clock.Set(kTestNow + 365 * kTestDay);               // notAfter: it is old, in the database
  EXPECT_EQ(nullptr, last.GetIntermediateCA(name));
  EXPECT_TRUE(log.Has("g_IntermediateCA_db.Get returned NULL."));
  clock.Set(kTestNow);
  EXPECT_EQ(0, last.RemoveIntermediateCA(sub.Get()));
  EXPECT_EQ(nullptr, last.GetIntermediateCA(name));
  ASSERT_EQ(0, g_IntermediateCA_db.Store(name, root.Get(), kTestNow + 9));
  EXPECT_EQ(nullptr, last.GetIntermediateCA(name));
}

TEST_F(Issuers, AreFetchedForALaterAttempt) {
  const TestCert leaf("O=Fetch/CN=leaf", &sub, {.access = At("sub.cer")});
  Serve("sub.cer", sub);
  EXPECT_FALSE(IsTrusted(leaf));
  EXPECT_TRUE(fetcher->asked.empty()) << "not within the call";
  EXPECT_FALSE(IsTrusted(leaf)) << "it is asked for already";
  Run();
  EXPECT_THAT(fetcher->asked, ElementsAre("http://ca.example/sub.cer"));
  EXPECT_TRUE(IsTrusted(leaf));
  const std::string p7 = Pem(DerOf(*root.Get())) + Pem(DerOf(*sub.Get()));   // several, in PEM
  m_dir.Write("sub.cer", p7);
  EXPECT_EQ(0, holder.RemoveIntermediateCA(sub.Get()));
  EXPECT_FALSE(IsTrusted(leaf));
  Run();
  EXPECT_TRUE(IsTrusted(leaf));
}

// Whatever a peer's URL leads to that is not the issuer's certificate is not kept.
TEST_F(Issuers, AreNotKeptUnlessTheySignedWhatIsBelow) {
  const TestCert leaf("O=Fetch/CN=leaf", &sub, {.access = At("sub.cer")});
  const char *const name = "O=Fetch/CN=sub";
  const TestCert namesake(name, &root, CaOptions()), other("O=Fetch/CN=other", &root, CaOptions({.keyOf = &sub}));
  const TestCert noCA(name, &root, {.keyOf = &sub}), own(name, nullptr, CaOptions({.keyOf = &sub}));
  const TestCert noSigner(name, &root, {.basicConstraints = "CA:TRUE", .keyUsage = "cRLSign", .keyOf = &sub});
  const TestCert old(name, &root, CaOptions({.notAfter = kTestNow - 1, .keyOf = &sub}));
  const TestCert critical(name, &root, CaOptions({.criticalUnknown = true, .keyOf = &sub}));
  for (const TestCert *cert : {&namesake, &other, &noCA, &noSigner, &old, &own, &critical, &sub}) {
    EXPECT_EQ(0, holder.IntermediateCAsCount());
    Serve("sub.cer", *cert);
    EXPECT_FALSE(IsTrusted(leaf));
    Run();
  }
  EXPECT_EQ(1, holder.IntermediateCAsCount());   // the sound one
}

TEST_F(Issuers, AreAskedForWithinBounds) {
  std::string access = "OCSP;URI:http://a/o,caIssuers;URI:file:///etc/passwd,caIssuers;URI:https://a/b,caIssuers;URI:";
  access.append("http://a/").append(kMaxIssuerUrlLen, 'x').append(",caIssuers;URI:LDAP://h/0");
  access.append(",caIssuers;URI:http://h/1,caIssuers;URI:http://h/2,caIssuers;URI:http://h/3,caIssuers;URI:http://h/4");
  const TestCert leaf("O=Fetch/CN=leaf", &sub, {.access = access}), plain("O=Fetch/CN=plain", &sub);
  LogCapture log;
  EXPECT_EQ(kMaxIssuerUrlsOfCert, holder.Get_Issuers_of_chain(SetOf({&plain, &leaf})));
  EXPECT_TRUE(log.Has("no Issuer CA extension for level 0"));
  Run();
  EXPECT_THAT(fetcher->asked, ElementsAre("LDAP://h/0", "http://h/1", "http://h/2", "http://h/3"));
  const auto never = std::make_shared<FileFetcher>(m_dir.Path(), FileFetcher::kNever);
  kxFetcher_Set(never);
  sxCerts chain;
  for (size_t i = 0; i < kMaxIssuerFetches + 20; ++i) {
    const std::string n = std::to_string(i);
    const TestCert one("CN=" + n, &sub, {.keyOf = &leaf, .access = At(n)});
    chain.Add(one.Ref());
    if (i > kMaxIssuerUrls) holder.Get_Issuers_of_chain(SetOf({&one}));
    if (i == kMaxIssuerUrls) { EXPECT_EQ(kMaxIssuerUrls, holder.Get_Issuers_of_chain(chain)); }
  }
  Run();
  EXPECT_EQ(kMaxIssuerFetches, never->asked.size());
  sxd_env_destroy(std::exchange(env, nullptr));   // and what they held goes
  EXPECT_EQ(kMaxIssuerFetches, never->cancelled.size());
  EXPECT_EQ(0, holder.Get_Issuers_of_chain(SetOf({&leaf}))) << "there is no environment any more";
}

}  // namespace
