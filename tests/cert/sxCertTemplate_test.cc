#include "kxcert/cert/sxCertTemplate.h"

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/textStream.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/keyFiles.h"
#include "support/rows.h"
#include "support/testPki.h"

namespace {

std::string TextOf(const sxCertTemplate &wanted) {
  SxStream text;
  wanted.Sprint(&text, 0);
  return OnOneLine(text.Text());
}

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

TEST(sxCertTemplate, TakesOverACertificate) {
  const TestCert issuer("CN=issuer", nullptr);
  const TestCert cert("O=Example/CN=leaf", &issuer, {.serial = "80010203040506", .criticalUnknown = true, .key = "RSA-1024"});
  sxCertTemplate wanted;
  ASSERT_EQ(0, wanted.Set(cert.Get()));
  EXPECT_EQ("Certificate Template: / Serial Number: 0080010203040506 / Issuer: CN=issuer / Subject: CN=leaf,O=Example"
            " / Not valid before: 2029-12-31 00:00:00 UTC / Not valid after:  2031-01-01 00:00:00 UTC"
            " / Public key: RSA (1024 bits) / Critical Extension 1.2.3.4.5",
            Through(wanted));
  EXPECT_EQ(1, sxPubKey_Equal(wanted.PubKey(), cert.Get()->PubKey()));
  EXPECT_TRUE(wanted.SerialNum()->intEquiv(*cert.Get()->SerialNum()));
  EXPECT_EQ(cert.Get()->notBefore(), wanted.notBefore());
  EXPECT_EQ(cert.Get()->notAfter(), wanted.notAfter());
  EXPECT_TRUE(wanted.UnhandledCritExt()->OidEquiv(*OidOf("1.2.3.4.5")));
  // What it holds outlives what it came from; a template may be set from parts of itself.
  sxCertTemplate copy(wanted);
  copy.Set(&copy.Tree());
  copy.SetSubject(copy.Issuer());
  wanted = sxCertTemplate();
  EXPECT_EQ("Certificate Template:", TextOf(wanted));
  EXPECT_EQ(-1, wanted.Set(static_cast<const sxCert *>(nullptr)));
  EXPECT_EQ(-1, wanted.Set(static_cast<const sxASN_CertTemplate *>(nullptr)));
  wanted = std::move(copy);
  EXPECT_TRUE(wanted.Subject()->Equal(sxDN("CN=issuer")));
}

// Of the openssl command. No change of an octet gives another template; the algorithm's parameters nobody reads.
TEST(sxCertTemplate, TakesOverARequestThatIsSigned) {
  Octets der = Text(CaseData("enroll/request.der"));
  sxCertTemplate wanted;
  ASSERT_EQ(0, wanted.SetFromRequest(der.data(), LenOf(der)));
  const std::string text = Through(wanted);
  EXPECT_TRUE(text.starts_with("Certificate Template: / Subject: CN=request,O=Example / Public key: RSA (2048 bits) / "))
      << text;
  EXPECT_NE(std::string::npos, text.find("a.example")) << text;
  EXPECT_EQ(1, wanted.Extensions().IsCritical(&sxASN_id_ce_keyUsage));
  EXPECT_EQ(1, sxPubKey_Equal(wanted.PubKey(), TestKey("rsa2048").get()));
  for (unsigned char &octet : der) {
    octet ^= 1;
    sxCertTemplate other;
    const bool taken = other.SetFromRequest(der.data(), LenOf(der)) == 0;
    EXPECT_EQ(text, taken ? Through(other) : text) << &octet - der.data();
    octet ^= 1;
  }
  EXPECT_EQ(-1, wanted.SetFromRequest(nullptr, 0));
  EXPECT_EQ(text, TextOf(wanted)) << "a failure leaves it as it was";
}

TEST(sxCertTemplate, TakesItsFieldsOneByOne) {
  sxCertTemplate wanted;
  const PubKeyRef key = TestKey("secp384r1");
  ASSERT_EQ(0, wanted.SetPubKey(key.get()));
  EXPECT_EQ(0, wanted.PubKey()->Flags() & kKeyFlagCanSign) << "the private part stays out of it";
  EXPECT_EQ(1, sxPubKey_Equal(wanted.PubKey(), key.get()));
  const sxDN issuer("CN=issuer");
  wanted.SetIssuer(&issuer);
  sxAsnInt serial(127);
  wanted.SetSerialNum(&serial);
  wanted.SetValidity(2524607999, 2524608000);  // the last UTCTime, the first GeneralizedTime
  EXPECT_NE(nullptr, wanted.Tree().validity->notBefore->utcTime());
  EXPECT_NE(nullptr, wanted.Tree().validity->notAfter->generalTime());
  sxExtensionsList extensions;
  extensions.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1));
  ASSERT_EQ(0, wanted.SetExtensions(&extensions));
  EXPECT_EQ("Certificate Template: / Serial Number: 7f / Issuer: CN=issuer"
            " / Not valid before: 2038-01-01 23:59:59 UTC / Not valid after:  2038-01-01 00:00:00 UTC"
            " / Public key: ECDSA (384 bits) / Critical: / Key Usage: digitalSignature",
            Through(wanted));
  wanted.SetValidity(-1, INT64_MAX);
  const sxAsnOcts &last = *wanted.Tree().validity->notAfter->generalTime();
  EXPECT_EQ("99991231235959Z", std::string(reinterpret_cast<const char *>(last.Data()), static_cast<size_t>(last.Len())));
  extensions.Add(OidOf("1.2.3").get(), 1, nullptr);
  EXPECT_EQ(-1, wanted.SetExtensions(&extensions));
  wanted.SetExtensions(nullptr);
  wanted.SetIssuer(nullptr);
  wanted.SetSerialNum(nullptr);
  wanted.SetValidity(-1, -1);
  wanted.SetPubKey(nullptr);
  EXPECT_EQ("Certificate Template:", TextOf(wanted));
  EXPECT_FALSE(wanted.HasPubKey());
}

// A field that is there and cannot be used is no field that is absent.
TEST(sxCertTemplate, TellsAnUnusableKeyFromNone) {
  sxASN_CertTemplate tree;
  tree.publicKey = new sxASN_SubjectPublicKeyInfo;
  tree.subject = new sxASN_RDNSequence;
  tree.validity = new sxASN_OptionalValidity;
  tree.validity->notAfter = new sxASN_Time;
  sxCertTemplate wanted;
  ASSERT_EQ(0, wanted.Set(&tree));
  EXPECT_TRUE(wanted.HasPubKey());
  EXPECT_EQ(nullptr, wanted.PubKey());
  EXPECT_EQ(-1, wanted.notAfter());
  EXPECT_EQ("Certificate Template: / Subject:  / Not valid after:  ? / Public key: not usable", TextOf(wanted));
}

}  // namespace
