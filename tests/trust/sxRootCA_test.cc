// What keys and OCSP servers hold; roots are in tests/data/trust.
#include "kxcert/trust/sxRootCA.h"

#include <gtest/gtest.h>

#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxOcspServer.h"
#include "support/logCapture.h"
#include "support/testPki.h"

namespace {

TEST(sxCertifiedKey, KeepsItsChainAndRootAlive) {
  auto cert = std::make_unique<TestCert>("O=Key/CN=own", nullptr);
  auto *root = new sxRootCA("root", cert->Get(), 3, sxCaType_second, 9, nullptr, 0, nullptr, 60);
  auto *key = new sxCertifiedKey(nullptr, SetOf({cert.get()}), root, cert->Get()->PubKey(), 1, nullptr, 0);
  sxFreePKobj(root);
  cert.reset();
  EXPECT_STREQ("CN=own,O=Key", key->Name());
  EXPECT_TRUE(key->Root()->DN()->Equal(*key->DN()));
  EXPECT_EQ(0, key->Chain().Get(0)->VerifySig(key->PubKey()));
  sxFreePKobj(key);
}

TEST(sxOcspServer, IsReadFromItsConfiguration) {
  const TestCert cert("O=Ocsp/CN=responder", nullptr);
  char *base64 = Base64Encode(cert.Get()->GetBuf(), static_cast<int>(cert.Get()->BufLen()));
  sxset config("first");
  config.SetText("url", "http://ocsp.example/");
  config.SetText("certificate", base64);
  Base64FreeBuffer(base64);
  sxOcspServer *server = sxOcspServer::CreateObject(&config);
  ASSERT_NE(nullptr, server);
  EXPECT_STREQ("first", server->Name());
  EXPECT_STREQ("http://ocsp.example/", server->Url());
  ASSERT_NE(nullptr, server->Cert());
  EXPECT_EQ(1, *server->Cert() == *cert.Get());
  sxFreePKobj(server);

  LogCapture log;
  config.SetText("url", "");
  config.Remove("certificate");
  server = sxOcspServer::CreateObject(&config);
  ASSERT_NE(nullptr, server);
  EXPECT_EQ(nullptr, server->Url().getstr());
  EXPECT_EQ(nullptr, server->Cert());
  EXPECT_TRUE(log.Has("sxOcspServer::CreateObject: No cert template in params."));
  sxFreePKobj(server);

  config.SetText("certificate", "AAAA");
  EXPECT_EQ(nullptr, sxOcspServer::CreateObject(&config));
  EXPECT_EQ(nullptr, sxOcspServer::CreateObject(nullptr));
}

}  // namespace
