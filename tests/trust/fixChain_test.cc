#include "kxcert/trust/fixChain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "support/logCapture.h"
#include "support/testRoots.h"

namespace {

std::vector<const sxCert *> Members(const sxCerts &certs) {
  std::vector<const sxCert *> members;
  for (int i = 0; i <= certs.Top(); ++i) members.push_back(certs.Get(i));
  return members;
}

class FixChain : public testing::Test {
 protected:
  ~FixChain() override { sxCert_SetSubCAFunc(nullptr); }

  const TestCert root{"O=Fix/CN=root", nullptr, CaOptions()};
  const TestCert upper{"O=Fix/CN=upper", &root, CaOptions()};
  const TestCert lower{"O=Fix/CN=lower", &upper, CaOptions()};
  const TestCert leaf{"O=Fix/CN=leaf", &lower};
  sxSWKeyHolder holder;
};

TEST_F(FixChain, EndsChainsInTheRootsOwnCertificate) {
  sxRootCA *ca = AddRoot(holder, root);
  struct Case { const char *what; sxCerts chain; std::vector<const sxCert *> fixed; };
  Case cases[] = {
      {"the root alone", SetOf({&root}), {root.Get()}},
      {"the root in the chain", SetOf({&upper, &root}), {upper.Get(), root.Get()}},
      {"the root in a longer chain", SetOf({&leaf, &lower, &upper, &root}),
       {leaf.Get(), lower.Get(), upper.Get(), root.Get()}},
      {"the root left out", SetOf({&leaf, &lower, &upper}), {leaf.Get(), lower.Get(), upper.Get(), root.Get()}},
  };
  for (Case &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(ca, sxCert_FixChainC(&c.chain, &holder));
    EXPECT_EQ(c.fixed, Members(c.chain));
  }
  EXPECT_EQ(nullptr, sxCert_FixChain(nullptr, holder));
  EXPECT_EQ(nullptr, sxCert_FixChainC(&cases[0].chain, nullptr));
  sxCerts empty;
  EXPECT_EQ(nullptr, sxCert_FixChain(&empty, holder));
}

TEST_F(FixChain, RefusesAStrangerWithATrustedName) {
  AddRoot(holder, root);
  const TestCert stranger("O=Fix/CN=root", nullptr, CaOptions());
  const TestCert victim("O=Fix/CN=victim", &stranger);
  LogCapture log;
  sxCerts chain = SetOf({&victim, &stranger});
  EXPECT_EQ(nullptr, sxCert_FixChain(&chain, holder));
  EXPECT_TRUE(log.Has("sxCert_FixChain_do: Failed to fix chain, certificate of non-trusted CA with DN of trusted CA"));
  sxCerts withoutIt = SetOf({&victim});
  EXPECT_EQ(nullptr, sxCert_FixChain(&withoutIt, holder));
  EXPECT_TRUE(log.Has("sxCert_FixChain_do: didn't find cert in CA that matches chain top"));
}

TEST_F(FixChain, TakesAdditionalCertificatesOfTheRoot) {
  const TestCert renewed("O=Fix/CN=root", nullptr, CaOptions());
  sxRootCA *ca = AddRoot(holder, renewed);
  ca->SetAdditionalCerts(new sxCerts(SetOf({&root})));
  LogCapture log;
  sxCerts chain = SetOf({&upper, &root});
  EXPECT_EQ(ca, sxCert_FixChain(&chain, holder));
  EXPECT_EQ((std::vector<const sxCert *>{upper.Get(), root.Get()}), Members(chain));
  EXPECT_TRUE(log.Has("(MCC) continue looking for root CA cert in additional CA certs (1)"));
}

TEST_F(FixChain, CutsChainsThatGoOnPastARoot) {
  sxRootCA *lowerCA = AddRoot(holder, lower);
  LogCapture log;
  sxCerts longChain = SetOf({&leaf, &lower, &upper, &root});   // neither the top nor its issuer is known
  EXPECT_EQ(lowerCA, sxCert_FixChain(&longChain, holder));
  EXPECT_EQ((std::vector<const sxCert *>{leaf.Get(), lower.Get()}), Members(longChain));
  EXPECT_TRUE(log.Has("sxCert_FixChain_do: Got a long chain. Found the root CA down the chain"));

  // Both are roots: the lower one ends the chain, whether the upper one was in it or only its issuer.
  AddRoot(holder, root);
  sxCerts withRoot = SetOf({&leaf, &lower, &upper, &root});
  EXPECT_EQ(lowerCA, sxCert_FixChain(&withRoot, holder));
  EXPECT_EQ((std::vector<const sxCert *>{leaf.Get(), lower.Get()}), Members(withRoot));
  sxCerts withoutRoot = SetOf({&leaf, &lower, &upper});
  EXPECT_EQ(lowerCA, sxCert_FixChain(&withoutRoot, holder));
  EXPECT_EQ((std::vector<const sxCert *>{leaf.Get(), lower.Get()}), Members(withoutRoot));
}

TEST_F(FixChain, ExtendsShortChainsFromItsOwnKeys) {
  sxSWKeyHolder other;
  sxRootCA *ca = AddRoot(other, root);   // known to the key, not to the holder
  const TestCert own("O=Fix/CN=own", &lower);
  AddKey(holder, SetOf({&own, &lower, &upper}), ca);
  LogCapture log;
  sxCerts chain = SetOf({&leaf});
  EXPECT_EQ(ca, sxCert_FixChain(&chain, holder));
  EXPECT_EQ((std::vector<const sxCert *>{leaf.Get(), lower.Get(), upper.Get(), root.Get()}), Members(chain));
  EXPECT_TRUE(log.Has("sxCert_FixChain_do: Got short chain. Extended it to my root CA"));

  // What the own certificate itself issued is not below a CA of its chain.
  const TestCert byOwn("O=Fix/CN=byOwn", &own);
  sxCerts wrong = SetOf({&byOwn});
  EXPECT_EQ(nullptr, sxCert_FixChain(&wrong, holder));
  EXPECT_TRUE(log.Has("sxCert_FixChain_do: Failed to fix chain"));
  // The key's chain holds the root's certificate already: it stands once.
  sxSWKeyHolder whole;
  AddKey(whole, SetOf({&byOwn, &own, &lower, &upper, &root}), ca);
  sxCerts below = SetOf({&byOwn});
  EXPECT_EQ(ca, sxCert_FixChain(&below, whole));
  EXPECT_EQ(5, below.Count());
}

const TestCert *g_missing[2];
int g_numCalls;
int AddMissing(sxCerts &chain) {
  ++g_numCalls;
  for (const TestCert *cert : g_missing) chain.Add(cert->Ref());
  return 0;
}

TEST_F(FixChain, AsksForSubCAsOnceAndTriesAgain) {
  sxRootCA *ca = AddRoot(holder, root);
  g_missing[0] = &upper;
  g_missing[1] = &lower;
  g_numCalls = 0;
  sxCert_SetSubCAFunc([](sxCerts &) { ++g_numCalls; return -1; });
  sxCerts chain = SetOf({&leaf});
  EXPECT_EQ(nullptr, sxCert_FixChain(&chain, holder));
  sxCert_SetSubCAFunc(AddMissing);
  EXPECT_EQ(ca, sxCert_FixChain(&chain, holder));
  EXPECT_EQ((std::vector<const sxCert *>{leaf.Get(), lower.Get(), upper.Get(), root.Get()}), Members(chain));
  EXPECT_EQ(2, g_numCalls);
  const TestCert alone("O=Fix/CN=alone", nullptr);
  sxCerts selfIssued = SetOf({&alone});
  EXPECT_EQ(nullptr, sxCert_FixChain(&selfIssued, holder));
  EXPECT_EQ(2, g_numCalls);
}

TEST_F(FixChain, TakesTheUserNameOnlyWhereTheRootSaysSo) {
  sxRootCA *ca = AddRoot(holder, root);
  const TestCert noCN("O=Fix/OU=nobody", &root);
  char cn[16] = "", dn[16] = "";
  sxCerts chain = SetOf({&root, &upper, &leaf, &lower});
  EXPECT_EQ(0, sxCert_UseCN2FetchUser(&chain, &holder, cn, sizeof cn, dn, sizeof dn));
  ca->SetUseCN2FetchUser(true);
  EXPECT_EQ(1, sxCert_UseCN2FetchUser(&chain, &holder, cn, sizeof cn, dn, sizeof dn));
  EXPECT_STREQ("leaf", cn);
  EXPECT_STREQ("CN=leaf,O=Fix", dn);
  EXPECT_EQ(1, sxCert_UseCN2FetchUser(&chain, &holder, cn, 3, dn, 1));
  EXPECT_STREQ("le", cn);
  EXPECT_STREQ("", dn);

  LogCapture log;
  sxCerts inconsistent = SetOf({&leaf, &root});
  EXPECT_EQ(-1, sxCert_UseCN2FetchUser(&inconsistent, &holder, cn, 3, dn, 1));
  EXPECT_TRUE(log.Has("sxCert_UseCN2FetchUser: Got inconsistent chain from peer"));
  const TestCert stranger("O=Else/CN=x", nullptr);
  sxCerts foreign = SetOf({&stranger});
  EXPECT_EQ(-1, sxCert_UseCN2FetchUser(&foreign, &holder, cn, 3, dn, 1));
  EXPECT_TRUE(log.Has("sxCert_UseCN2FetchUser: Failed to get root CA from chain"));
  sxCerts nameless = SetOf({&noCN});
  EXPECT_EQ(-1, sxCert_UseCN2FetchUser(&nameless, &holder, cn, 3, dn, 1));
  EXPECT_TRUE(log.Has("sxCert_UseCN2FetchUser: Failed to find common name in the DN"));
  EXPECT_EQ(-1, sxCert_UseCN2FetchUser(&chain, &holder, cn, 0, dn, 1));
  EXPECT_TRUE(log.Has("sxCert_UseCN2FetchUser: Bad Input, No Key Holder or Chain or User Name"));
}

}  // namespace
