#include "kxcert/trust/fixChain.h"

#include <gmock/gmock.h>

#include "support/logCapture.h"
#include "support/testRoots.h"

using testing::ElementsAre;

namespace {

class FixChain : public testing::Test {
 protected:
  ~FixChain() override { sxCert_SetSubCAFunc(nullptr); }

  sxRootCA *Fix(std::initializer_list<const TestCert *> certs, sxKeyHolder &in) {
    chain = SetOf(certs);
    return sxCert_FixChain(&chain, in);
  }

  const TestCert root{"O=Fix/CN=root", nullptr, CaOptions()}, upper{"O=Fix/CN=upper", &root, CaOptions()};
  const TestCert lower{"O=Fix/CN=lower", &upper, CaOptions()}, leaf{"O=Fix/CN=leaf", &lower};
  sxSWKeyHolder holder;
  sxCerts chain;
  LogCapture log;
};

TEST_F(FixChain, NeedsAChainAndAHolder) {
  sxRootCA *ca = AddRoot(holder, root);
  EXPECT_EQ(nullptr, Fix({}, holder));
  EXPECT_EQ(nullptr, sxCert_FixChain(nullptr, holder));
  chain = SetOf({&upper});
  EXPECT_EQ(nullptr, sxCert_FixChainC(&chain, nullptr));
  EXPECT_EQ(ca, sxCert_FixChainC(&chain, &holder));
  EXPECT_THAT(Members(chain), ElementsAre(upper.Get(), root.Get()));
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
  EXPECT_EQ(nullptr, Fix({&leaf}, holder));
  sxCert_SetSubCAFunc(AddMissing);
  EXPECT_EQ(ca, Fix({&leaf}, holder));
  EXPECT_THAT(Members(chain), ElementsAre(leaf.Get(), lower.Get(), upper.Get(), root.Get()));
  EXPECT_EQ(2, g_numCalls);
  const TestCert alone("O=Fix/CN=alone", nullptr);
  EXPECT_EQ(nullptr, Fix({&alone}, holder));   // self-issued: nobody is asked
  EXPECT_EQ(2, g_numCalls);
}

TEST_F(FixChain, TakesTheUserNameOnlyWhereTheRootSaysSo) {
  sxRootCA *ca = AddRoot(holder, root);
  char cn[16] = "", dn[16] = "";
  chain = SetOf({&root, &upper, &leaf, &lower});
  EXPECT_EQ(0, sxCert_UseCN2FetchUser(&chain, &holder, cn, sizeof cn, dn, sizeof dn));
  ca->SetUseCN2FetchUser(true);
  EXPECT_EQ(1, sxCert_UseCN2FetchUser(&chain, &holder, cn, sizeof cn, dn, sizeof dn));
  EXPECT_STREQ("leaf", cn);
  EXPECT_STREQ("CN=leaf,O=Fix", dn);
  EXPECT_EQ(1, sxCert_UseCN2FetchUser(&chain, &holder, cn, 3, dn, 1));
  EXPECT_STREQ("le", cn);
  EXPECT_STREQ("", dn);

  const std::string longest(5000, 'n');
  const TestCert longName("O=Fix/CN=" + longest, &root);
  chain = SetOf({&longName});
  std::vector<char> area(longest.size() + 1);
  EXPECT_EQ(1, sxCert_UseCN2FetchUser(&chain, &holder, area.data(), static_cast<int>(area.size()), dn, sizeof dn));
  EXPECT_EQ(longest, area.data());

  const TestCert noCN("O=Fix/OU=nobody", &root), stranger("O=Else/CN=x", nullptr);
  const TestCert withNul(std::string("O=Fix/CN=leaf\0.guest", 20), &root);
  struct Case { const char *said; sxCerts chain; int cnLen; };
  Case cases[] = {{"Got inconsistent chain from peer", SetOf({&leaf, &root}), 3},
                  {"Failed to get root CA from chain", SetOf({&stranger}), 3},
                  {"Failed to find common name in the DN", SetOf({&noCN}), 3},
                  {"NUL within the common name", SetOf({&withNul}), 16},
                  {"Bad Input, No Key Holder or Chain or User Name", chain, 0}};
  for (Case &c : cases) {
    EXPECT_EQ(-1, sxCert_UseCN2FetchUser(&c.chain, &holder, cn, c.cnLen, dn, 1));
    EXPECT_TRUE(log.Has(std::string("sxCert_UseCN2FetchUser: ") + c.said)) << c.said;
  }
}

}  // namespace
