#include "kxcert/trust/sxRootCA.h"

#include <gmock/gmock.h>

#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxOcspServer.h"
#include "support/logCapture.h"
#include "support/testPki.h"

namespace {

using RootPtr = std::unique_ptr<sxRootCA, decltype(&sxFreePKobj)>;

RootPtr NewRoot(const char *name, sxCert *cert, const unsigned char *id = nullptr, int idLen = 0) {
  return {new sxRootCA(name, cert, 3, sxCaType_second, 9, id, idLen, nullptr, 60), sxFreePKobj};
}

TEST(sxRootCA, IsNamedByItsNameOrElseByItsSubject) {
  const TestCert cert("O=Named/CN=root", nullptr);
  const unsigned char id[] = {0x0A, 0xFF};
  LogCapture log;
  NewRoot("display", cert.Get(), id, 2)->Herror();
  EXPECT_THAT(log.Lines(), testing::ElementsAre("display", "ID: 0aff"));
  EXPECT_STREQ("CN=root,O=Named", NewRoot("", cert.Get())->Name());
  EXPECT_STREQ("CN=root,O=Named", NewRoot(nullptr, cert.Get())->Name());
  EXPECT_STREQ("", NewRoot("", nullptr)->Name());
  log.Clear();
  const RootPtr bare = NewRoot(nullptr, nullptr, id, 0);
  bare->Herror();
  EXPECT_THAT(log.Lines(), testing::ElementsAre("<no name>"));
  EXPECT_EQ(nullptr, bare->Name());
  EXPECT_EQ(nullptr, bare->DN());
  EXPECT_EQ(0, bare->IdLen());
  EXPECT_FALSE(bare->HasId(bare->Id(), bare->IdLen()));   // nothing equals an absent identifier
}

TEST(sxRootCA, FindsWhichOfItsCertificatesSigned) {
  const TestCert own("O=Signee/CN=root", nullptr, CaOptions()), second("O=Signee/CN=root", nullptr, CaOptions());
  const TestCert third("O=Signee/CN=root", nullptr, CaOptions()), byOwn("O=Signee/CN=a", &own);
  const TestCert bySecond("O=Signee/CN=b", &second), byThird("O=Signee/CN=c", &third);
  LogCapture log;
  const RootPtr root = NewRoot("root", own.Get());
  EXPECT_EQ(own.Get(), root->CertBySignee(byOwn.Get()));
  EXPECT_EQ(nullptr, root->CertBySignee(bySecond.Get()));
  EXPECT_TRUE(log.Has("sxRootCA::CertBySubordinate: \"this\" has NULL additional certs"));
  auto *additional = new sxCerts(SetOf({&third, &second}));
  root->SetAdditionalCerts(additional);
  root->SetAdditionalCerts(additional);   // again: it stays
  EXPECT_EQ(second.Get(), root->CertBySignee(bySecond.Get()));
  EXPECT_EQ(third.Get(), root->CertBySignee(byThird.Get()));
  additional->Del(0);
  EXPECT_EQ(nullptr, root->CertBySignee(byThird.Get()));
  EXPECT_EQ(nullptr, root->CertBySignee(nullptr));
  EXPECT_TRUE(log.Has("sxRootCA::CertBySubordinate: got NULL argument"));
  EXPECT_EQ(nullptr, NewRoot("none", nullptr)->CertBySignee(byOwn.Get()));
  EXPECT_TRUE(log.Has("sxRootCA::CertBySubordinate: \"this\" has NULL cert"));
}

TEST(sxCertifiedKey, KeepsItsChainAndRootAlive) {
  auto cert = std::make_unique<TestCert>("O=Key/CN=own", nullptr);
  sxRootCA *root = NewRoot("root", cert->Get()).release();
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
