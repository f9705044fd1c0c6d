#include "kxcert/cert/sxCertTemplate.h"

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/keyFiles.h"
#include "support/printed.h"
#include "support/script.h"
#include "support/testPki.h"

namespace {

std::string TextOf(const sxCertTemplate &wanted) { return OnOneLine(Sprinted(wanted, 0)); }

// The tree, through octets and back.
std::string Through(const sxCertTemplate &wanted) {
  sxASN_CertTemplate filled, decoded;
  EXPECT_EQ(0, wanted.Fill(&filled));
  EXPECT_EQ(0, DecodeHex(EncodeHex(filled).c_str(), decoded));
  sxCertTemplate read;
  EXPECT_EQ(0, read.Set(&decoded));
  EXPECT_EQ(TextOf(wanted), TextOf(read));
  return TextOf(read);
}

TEST(sxCertTemplate, DoesWhatTheStepsSay) {
  const TestCert issuer("CN=issuer", nullptr);
  const TestCert cert("O=Example/CN=leaf", &issuer,
                      {.serial = "80010203040506", .criticalUnknown = true, .key = "RSA-1024"});
  const Octets request = Text(CaseData("enroll/request.der"));
  Script()
      .OnCopiesOf<sxCertTemplate>()
      .On("Template", [] { return sxCertTemplate(); })
      .On("Cert", [&cert] { return cert.Get(); })
      .On("Key", TestKey)
      .On("Dn", [](const char *name) { return sxDN(name); })
      .On("Serial", [](int number) { return sxAsnInt(number); })
      .On("Extensions", [] { return sxExtensionsList(); })
      .On("addKeyUsage", [](sxExtensionsList &list) { list.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1)); })
      .On("addNothing", [](sxExtensionsList &list) { list.Add(OidOf("1.2.3").get(), 1, nullptr); })
      .On("Tree", [](const std::string &octets) {
        sxASN_CertTemplate tree;
        EXPECT_EQ(0, DecodeHex(octets.c_str(), tree));
        return tree;
      })
      .On("treeOf", [](const sxCertTemplate &wanted) { return &wanted.Tree(); })
      .On("octets", [](sxASN_CertTemplate &tree) { return EncodeHex(tree); })
      .On("setCert", [](sxCertTemplate &wanted, const sxCert *from) { return wanted.Set(from); })
      .On("setTree", [](sxCertTemplate &wanted, const sxASN_CertTemplate *from) { return wanted.Set(from); })
      .On("setRequest", [&request](sxCertTemplate &wanted, int len) { return wanted.SetFromRequest(request.data(), len); })
      .On("setSubject", &sxCertTemplate::SetSubject)
      .On("setIssuer", &sxCertTemplate::SetIssuer)
      .On("setSerial", &sxCertTemplate::SetSerialNum)
      .On("setValidity", &sxCertTemplate::SetValidity)
      .On("setKey", &sxCertTemplate::SetPubKey)
      .On("setExtensions", &sxCertTemplate::SetExtensions)
      .On("issuer", &sxCertTemplate::Issuer)
      .On("notBefore", &sxCertTemplate::notBefore)
      .On("notAfter", &sxCertTemplate::notAfter)
      .On("key", &sxCertTemplate::PubKey)
      .On("hasKey", &sxCertTemplate::HasPubKey)
      .On("keyOf", &sxCert::PubKey)
      .On("isEqual", sxPubKey_Equal)
      .On("canSign", [](sxPubKey &key) { return (key.Flags() & kKeyFlagCanSign) != 0; })
      .On("text", TextOf)
      .On("through", Through)
      .Run("cert/sxCertTemplate.steps");
}

// No change of an octet gives another template; the algorithm's parameters nobody reads.
TEST(sxCertTemplate, TakesOverNoRequestThatIsChanged) {
  Octets der = Text(CaseData("enroll/request.der"));
  sxCertTemplate wanted;
  ASSERT_EQ(0, wanted.SetFromRequest(der.data(), LenOf(der)));
  for (unsigned char &octet : der) {
    octet ^= 1;
    sxCertTemplate other;
    if (other.SetFromRequest(der.data(), LenOf(der)) == 0) { EXPECT_EQ(TextOf(wanted), TextOf(other)) << &octet - der.data(); }
    octet ^= 1;
  }
}

}  // namespace
