// Trust objects as text: Sprint, Fprint and Herror of each.
#include <gtest/gtest.h>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxOcspServer.h"
#include "kxcert/trust/sxPKObjects.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "support/logCapture.h"
#include "support/printed.h"
#include "support/testPki.h"

namespace {

constexpr char kRootText[] =
    "\tCN=root\n\tID: 0aff\n\t\tSubject: CN=root\n\t\tValidation type: 0x11\n\t\tCA type: 1\n\t\tPurpose: 7\n"
    "\t\tCRL-to: 3\n\t\tRevocation method: 2\n\t\tEnterprise CA\n\t\tName constraints:\n\t\tDNS: example.net\n"
    "\t\tOCSP servers:\n\t\t\tOCSP server: ours\n\t\t\tURL: http://ocsp.example\n";

// All three forms; the log has what Sprint writes without an indent.
template <class Object, class... Args>
void ExpectForms(const std::string &expected, const Object &object, Args... title) {
  EXPECT_EQ(expected, Sprinted(object, title..., 1));
  EXPECT_EQ(expected, Fprinted(object, title..., 1));
  object.Sprint(nullptr, title..., 1);
  LogCapture log;
  object.Herror(title...);
  EXPECT_EQ(!expected.empty(), !log.Lines().empty() && log.Has(Sprinted(object, title..., 0)));
  dodebugprt = 0;
  log.Clear();
  object.Herror(title...);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(TrustPrint, EveryClassDescribesItself) {
  const TestCert root("CN=root", nullptr, CaOptions()), own("CN=own", &root);
  const unsigned char id[] = {0x0A, 0xFF};
  auto *constraints = new sxGeneralNames;
  const sxGeneralName dns(sxGN_dns, "example.net", 11);
  constraints->Add(&dns);
  auto *ca = new sxRootCA(nullptr, root.Get(), 0x11, sxCaType_first, 7, id, 2, constraints, 3);
  auto *server = new sxOcspServer("ours", "http://ocsp.example", nullptr);
  auto *servers = new sxPKObjects;
  servers->Add(server);
  ca->SetOcspServers(servers);
  ca->SetRevocationMethod(sxRevocationMethod_ocsp);
  ca->SetMsEnterprise(true);
  auto *key = new sxCertifiedKey("mine", SetOf({&own}), ca, own.Get()->PubKey(), 4, nullptr, 0);
  const std::string keyText = "\tmine\n\t\tPurpose: 4\n\t\tRoot CA: CN=root\n\t\tChain: 1 certificates\n" +
                              ("\t\t\tSubject: CN=own\n\n" + Sprinted(*own.Get()->PubKey(), 2));
  EXPECT_TRUE(Sprinted(*own.Get()->PubKey(), 0)
                  .starts_with("ECDSA key (256 bits), private part: no\nPublic key octets:\n04 "));
  EXPECT_EQ(kRootText, Fprinted(*ca, 1));
  EXPECT_EQ(keyText, Sprinted(*key, 1));
  ExpectForms("\tOCSP server: ours\n\tURL: http://ocsp.example\n", *server);
  ExpectForms("\tCN=a,O=b\n", sxDN("CN=a,O=b"));
  ExpectForms("\t<no name>\n", sxDN());

  sxPKObjects objects;
  ExpectForms("", objects, "Empty");
  objects.Add(ca);
  objects.Add(own.Get());
  objects.Add(own.Get()->PubKey());
  ExpectForms(kRootText + Sprinted(static_cast<const sxSigned &>(*own.Get()), 1) + Sprinted(*own.Get()->PubKey(), 1),
              objects, nullptr);

  sxKeyHolder *const holder = sxKeyHolder_New();
  ExpectForms("", *holder);
  holder->AddCA(ca);
  holder->AddCertKey(key);
  ExpectForms("\tRoot CAs:\n" + Sprinted(*ca, 2) + "\tCertified keys:\n" + Sprinted(*key, 2), *holder);
  for (sxPKobj *obj : std::initializer_list<sxPKobj *>{holder, ca, key, server}) sxFreePKobj(obj);
}

TEST(TrustPrint, SettingsAndBlackLists) {
  auto *list = new sxcert_black_list;
  list->Add(sxAsnInt(5));
  EXPECT_TRUE(Sprinted(*list, 1).starts_with("\tRevoked Certificates: 1\n\t\tSerial Number: 05 Revoked: "));
  ExpectForms(Sprinted(*list, 1), *list);
  ValidateParams params(1, 2, 3, 4, 5, 6, 0, 1, 8, 9);
  params.Set_BlackList(list);
  ExpectForms(
      "\tCRL validation: 1\n\tOCSP validation: 2\n\tCertificate start grace: 3\n\tCertificate end grace: 4\n"
      "\tCRL start grace: 5\n\tCRL end grace: 6\n\tCheck this update: 0\n\tCheck next update: 1\n"
      "\tCRL size validation: 8\n\tWrite CRL to web: 9\n\tBlack list entries: 1\n",
      params);
  sxcert_black_list::free(list);
}

}  // namespace
