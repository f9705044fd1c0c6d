#include "kxcert/cert/sxCert.h"

#include <ctime>
#include <regex>
#include <sstream>

#include "support/rows.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/printed.h"
#include "support/scopedEnv.h"
#include "support/testPki.h"

namespace {

// In a block of its own, so that a read past it shows.
sxCert CertOf(const Octets &octets) {
  const Octets own(octets);
  return sxCert(own.data(), static_cast<unsigned>(own.size()));
}

// All of its extensions' getters, as digits.
std::string Extensions(const sxCert &cert) {
  const void *const all[] = {cert.KeyUsage(), cert.ExtKeyUsage(), cert.GetBasicConstraint(), cert.AltNames(),
                             cert.SubjectKeyId(), cert.AuthorityKeyId(), cert.AuthInfoAccess(), cert.DistPoints(),
                             cert.UnhandledCritExt()};
  std::string text;
  for (const void *each : all) text += each == nullptr ? '0' : '1';
  return text;
}

std::string Facts(const sxCert &cert) {
  if (cert.OK() == 0) return cert.Error().getstr();
  int len = 0;
  const unsigned char *serial = cert.SerialNum(len);
  std::ostringstream out;
  out << "version " << cert.Version() << ", serial " << EncodeHex(serial, static_cast<size_t>(len)) << ", signature "
      << cert.signatureSignAlgorithm() << ", digest " << cert.signatureHashAlgorithm() << ", bits "
      << cert.PubKey()->GetLen(sxPK_len_bits) << "\nissuer " << cert.Issuer()->GetStr() << "\nsubject "
      << cert.Subject()->GetStr() << "\nfrom " << cert.notBefore() << " to " << cert.notAfter() << "\nusages";
  for (int bit = -1; bit <= 64; ++bit) {
    if (cert.HasKeyUsage(static_cast<sxKeyUsageType>(bit)) != 0) out << " " << bit;
  }
  out << ", critical " << cert.IsCritical(&sxASN_id_ce_basicConstraints)
      << cert.IsCritical(&sxASN_id_ce_subjectKeyIdentifier) << ", extensions " << Extensions(cert) << "\n";
  return out.str();
}

void ExpectSameFields(const sxCert &a, const sxCert &b) {
  EXPECT_EQ(Facts(a), Facts(b));
  EXPECT_TRUE(a.SerialNum()->intEquiv(*b.SerialNum()));
  EXPECT_EQ(1, sxPubKey_Equal(a.PubKey(), b.PubKey()));
}

TEST(sxCert, KnowsItsFields) {
  const TestCert all("C=DE/O=Ex, Inc/CN=ca", nullptr, CaOptions({.serial = "00F1020304050607", .keyIds = true}));
  const sxCert &cert = *all.Get();
  EXPECT_TRUE(cert.Issuer()->Equal(*cert.Subject()));
  EXPECT_TRUE(cert.GetBasicConstraint()->IsCA());
  EXPECT_TRUE(cert.AuthorityKeyId()->KIdBuf() == cert.SubjectKeyId()->KIdBuf());
  PrintOuts out;
  out.Add("what a CA has", Facts(cert));
  const TestCert unknown("CN=a", nullptr, {.criticalUnknown = true});
  EXPECT_TRUE(unknown.Get()->UnhandledCritExt()->OidEquiv(sxAsnOid({1, 2, 3, 4, 5})));
  out.Add("a critical extension that is not known", Facts(*unknown.Get()));
  const struct { const char *key, *digest, *serial, *subject; } kCases[] = {
      {"RSA-1024", "SHA256", "00", "C=DE/O=Ex \"quoted\"/CN=host.example"},
      {"RSA-1024", "SHA1", "80", "O=K\xC3\xA4se/CN=x@y/emailAddress=a@b"},
      {"RSA-1536", "SHA512", "7F00000001", "DC=ex/OU=b/CN=a"},
      {"RSA-1024", "MD5", "01", "1.2.3.4=b/CN=a"},
      {"P-384", "SHA384", "FFFFFFFF", "CN=ec"},
      {"P-521", "SHA1", "0102030405", "CN=ec"},
  };
  for (const auto &c : kCases) {
    const TestCert made(c.subject, nullptr, {.serial = c.serial, .key = c.key, .digest = c.digest});
    EXPECT_EQ(0, made.Get()->VerifySig(made.Get()->PubKey()));
    out.Add(std::string(c.key) + " " + c.digest, Facts(*made.Get()));
  }
  const Octets der = DerOf(*unknown.Get());
  const Octets noVersion = Replaced(der, CaseOctets("A003"), {});
  out.Add("version 1", Facts(CertOf(Replaced(noVersion, CaseOctets("A3"), {}))));
  EXPECT_EQ(nullptr, CertOf(Replaced(noVersion, CaseOctets("A3"), {})).Extensions().First());
  const Octets every = Text(CaseData("cert/every-extension.der"));
  out.Add("every extension", Extensions(CertOf(every)) + "\n");
  out.ExpectIn("cert/certificate-fields.txt");
}

TEST(sxCert, TellsWhatIsWrong) {
  const TestCert good("CN=a", nullptr, CaOptions({.serial = "0102030405"}));
  const Octets der = DerOf(*good.Get());
  const auto said = [&good](const Octets &octets) -> std::string {
    const sxCert cert = CertOf(octets);
    if (sxCert *decoded = sxCert_Decode(octets.data(), LenOf(octets))) {
      EXPECT_EQ(1, *decoded == cert);
      sxCert_Free(decoded);
      if (*good.Get() == cert) ExpectSameFields(*good.Get(), cert);   // what is kept is the DER
      return *good.Get() == cert ? "as before" : "OK";
    }
    EXPECT_EQ(0, cert.OK());
    cert.Issuer(), cert.PubKey(), cert.Extensions();  // may all be asked
    return cert.Error().getstr();
  };
  ExpectRows("cert/certificates.txt", 4, {
      {"replaced", [&](const CaseRow &r) { return said(Replaced(der, CaseOctets(r[1]), CaseOctets(r[2]))); }},
      {"whole", [&](const CaseRow &r) { return said(CaseOctets(r[1])); }},
      {"around", [&](const CaseRow &r) { return said(Joined({CaseOctets(r[1]), der, CaseOctets(r[2])})); }},
      {"aroundPem", [&](const CaseRow &r) { return said(Text(CaseText(r[1]) + Pem(der) + CaseText(r[2]))); }},
  });
  const std::string pem = Pem(der);
  EXPECT_EQ("as before", said(Text(pem.substr(0, pem.size() - 1))));
  EXPECT_EQ("as before", said(Text(Pem(der, "CERTIFICATE", 64, "\r\n"))));
  EXPECT_EQ(0, CertOf(Text(Pem(der, "CERTIFICATE", 76))).OK());   // lines of another length
  EXPECT_STREQ("Empty data", sxCert(nullptr, 5).Error().getstr());
  for (long len = 0; len < LenOf(der); ++len) EXPECT_EQ(0, CertOf(Octets(der.begin(), der.begin() + len)).OK()) << len;
}

// Any octet changed: the certificate and its text are survived; what is left OK answers everything.
TEST(sxCert, SurvivesEveryChangedOctet) {
  const TestCert made("C=DE/CN=a", nullptr, CaOptions({.keyIds = true}));
  Octets der = DerOf(*made.Get());
  int numOk = 0;
  for (size_t i = 0; i < der.size(); ++i) {
    for (const int change : {0x01, 0x20, 0x80, 0xFF}) {
      der[i] = static_cast<unsigned char>(der[i] ^ change);
      const sxCert cert = CertOf(der);
      sxASN_Certificate tree;
      EXPECT_TRUE(DecodeOctets(der, tree) == 0 || cert.OK() == 0) << i;
      if (cert.OK() != 0) {
        ++numOk;
        EXPECT_NE("", Sprinted(cert, sxCert_full, 0));
      }
      der[i] = static_cast<unsigned char>(der[i] ^ change);
    }
  }
  EXPECT_GT(numOk, 100);
}

TEST(sxCert, BerHasTheSameFields) {
  const TestCert made("C=DE/CN=a", nullptr, CaOptions({.serial = "0102030405", .keyIds = true}));
  const Octets der = DerOf(*made.Get());
  const auto toIndefinite = [](const Octets &octets) {
    return Rewritten(octets, [](int tag, const Octets &content) {
      return (tag & 0x20) != 0 ? Indefinite(tag, content) : Der(tag, content);
    });
  };
  const sxCert outer = CertOf(Indefinite(0x30, Octets(der.begin() + 4, der.end())));
  ExpectSameFields(*made.Get(), outer);
  EXPECT_EQ(0, outer.VerifySig(made.Get()->PubKey()));  // the signed octets are the same
  EXPECT_NE(0, CertOf(toIndefinite(der)).VerifySig(made.Get()->PubKey()));  // and here they are not
  for (const char *serial : {"0102030405", "FF02030405", "0002030405", "FFFFFFFF05", "7F"}) {
    const Octets other = Replaced(der, CaseOctets("02050102030405"), CaseOctets("02{" + std::string(serial) + "}"));
    int len = 0;
    const sxCert cert = CertOf(other);
    const unsigned char *octets = cert.SerialNum(len);
    EXPECT_EQ(CaseOctets(serial), Octets(octets, octets + len));
    ExpectSameFields(cert, CertOf(toIndefinite(other)));
  }
}

// A name may be empty or hold values without text; the certificate is one all the same.
TEST(sxCert, NamesNeedNoText) {
  const TestCert made("CN=a", nullptr);
  const auto named = [&made](const char *name) {
    return CertOf(Replaced(DerOf(*made.Get()), CaseOctets("30{31{30{06{550403}0c{\"a\"}}}}"), CaseOctets(name)));
  };
  const sxCert empty = named("30{}"), odd = named("30{31{30{06{550403}A0<05{}>}}}");
  ASSERT_TRUE(empty.OK() == 1 && odd.OK() == 1);
  EXPECT_STREQ("", empty.Subject()->GetStr());
  EXPECT_EQ(nullptr, odd.Subject()->GetStr());
  EXPECT_EQ(1, odd.Subject()->Count());
  EXPECT_EQ(0, odd.Subject()->IsContain(&sxASN_id_at_commonName));
}

TEST(sxCert, EqualOctetsAreEqual) {
  const TestCert a("CN=a", nullptr);
  const TestCert b("CN=a", nullptr, {.keyOf = &a});  // another signature
  EXPECT_EQ(1, *a.Get() == CertOf(DerOf(*a.Get())));
  EXPECT_EQ(0, *a.Get() == *b.Get());
  EXPECT_EQ(1, sxCert(nullptr, 0) == sxCert(nullptr, 0));
  EXPECT_EQ(0, *a.Get() == sxCert(nullptr, 0));
}

TEST(sxCert, FlatFunctionsLendAndHandOver) {
  const TestCert made("C=DE/CN=a", nullptr);
  const Octets der = DerOf(*made.Get());
  for (const int len : {0, -1}) EXPECT_EQ(nullptr, sxCert_Decode(der.data(), len));
  EXPECT_EQ(nullptr, sxCert_Decode(nullptr, 1));
  sxCert *cert = sxCert_Decode(der.data(), LenOf(der));
  ASSERT_NE(nullptr, cert);
  sxCert_Save(cert);
  sxCert_Free(cert);
  char text[16] = "old";
  LogCapture log;
  EXPECT_EQ(-1, sxCert_GetSubject(cert, text, 9));
  EXPECT_TRUE(log.Has("sxCert_GetSubject: 9 characters do not fit 9"));
  EXPECT_EQ(-1, sxCert_GetSubject(nullptr, text, 16));
  EXPECT_STREQ("old", text);
  EXPECT_EQ(0, sxCert_GetSubject(cert, text, 10));
  EXPECT_STREQ("CN=a,C=DE", text);
  sxCert_Free(cert);
}

// Public roots, and what openssl says of them.
TEST(sxCert, ReadsPublicRootsAsOpensslDoes) {
  const auto time = [](std::string date) {
    std::erase_if(date, [](char c) { return c < '0' || c > '9'; });
    date += 'Z';
    return sxGeneralTime2time(reinterpret_cast<const unsigned char *>(date.data()), static_cast<int>(date.size()));
  };
  const auto name = [](const std::string &text) {
    static const std::regex kDotted("(^|[,+])([0-9]+(\\.[0-9]+)+)=");
    const sxDN dn(std::regex_replace(text, kDotted, "$1OID.$2=").c_str());
    return std::string(dn.GetStr() == nullptr ? "(null)" : dn.GetStr());
  };
  for (const CaseBlock &root : CaseBlocks("cert/roots.txt", {"version", "serial", "notBefore", "notAfter", "issuer",
                                                             "subject", "bits"})) {
    SCOPED_TRACE(testing::PrintToString(root));
    const sxCert cert = CertOf(Text(CaseData("cert/" + root.name)));
    ASSERT_EQ(1, cert.OK()) << cert.Error().getstr();
    const Octets serial = CaseOctets("00" + root["serial"]);
    const std::unique_ptr<sxAsnInt> number(AsnIntFromBuf(serial.data(), LenOf(serial)));
    EXPECT_TRUE(number->intEquiv(*cert.SerialNum()));
    EXPECT_EQ(root["version"], std::to_string(cert.Version()));
    EXPECT_EQ(time(root["notBefore"]), cert.notBefore());
    EXPECT_EQ(time(root["notAfter"]), cert.notAfter());
    EXPECT_EQ(name(root["issuer"]), cert.Issuer()->GetStr());
    EXPECT_EQ(name(root["subject"]), cert.Subject()->GetStr());
    EXPECT_EQ(root["bits"], std::to_string(cert.PubKey()->GetLen(sxPK_len_bits)));
    EXPECT_EQ(0, cert.VerifySig(cert.PubKey()));  // they are all self-signed
  }
}

TEST(sxCert, SupportsTheKeyAlgorithmsOfItsList) {
  for (const sxAsnOid *oid : {&sxASN_rsaEncryption, &sxASN_md5WithRSAEncryption, &sxASN_sha1WithRSAEncryption,
                              &sxASN_sha_1WithRSAEncryption, &sxASN_sha256WithRSAEncryption,
                              &sxASN_sha384WithRSAEncryption, &sxASN_sha512WithRSAEncryption, &sxASN_ECDSAPublicKey}) {
    EXPECT_EQ(1, isSupportedSignatureAlgorithm(*oid));
  }
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxASN_sha256WithECDSAEncryption));
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxASN_dsa));
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxAsnOid()));
}

const TestCertOptions kPrinted{.serial = "F102", .issuerName = "O=\xC3\xA4/CN=ca"};

// The format is read by others.
TEST(CertPrint, PrintsByLevel) {
  const ScopedEnv zone("TZ", "UTC");
  tzset();
  const TestCert made("O=Ex/CN=a,b", nullptr, kPrinted);
  const sxCert &cert = *made.Get();
  PrintOuts out;
  out.Add("brief", Sprinted(cert, sxCert_brief, 1));
  out.Add("full", Sprinted(cert, sxCert_full, 0));
  TestCertOptions options = kPrinted;
  options.basicConstraints = "critical,CA:TRUE";
  options.keyUsage = "keyCertSign";
  options.criticalUnknown = true;
  const TestCert extended("O=Ex/CN=a,b", nullptr, options);
  out.Add("extensions, one of them not known", Sprinted(*extended.Get(), sxCert_full, 2));
  // The labels of the digests, with their spaces, over RSA.
  const TestCert rsa("CN=rsa", nullptr, {.key = "RSA-1024"});
  for (const char *digest : {"MD5", "SHA1", "SHA384", "SHA512", "SHA224"}) {
    const TestCert other("CN=rsa", nullptr, {.keyOf = &rsa, .digest = digest});
    out.Add(digest, Sprinted(*other.Get(), sxCert_full, 0));
  }
  SxStream text;
  const unsigned char octets[] = {0x30, 0x00};
  sxCert_Sprint_certbuf(&text, octets, 2, 1);
  sxCert_Sprint_certbuf(&text, octets, 0, 1);   // nothing is added
  sxCert_Sprint_certbuf(&text, nullptr, 2, 1);
  sxCert_Sprint_certbuf(nullptr, octets, 2, 1);
  out.Add("no certificate, nothing", text.Text() + Sprinted(sxCert(nullptr, 0), sxCert_full, 1));
  const TestCert a("CN=a", nullptr), b("CN=b", nullptr);
  sxCerts certs = SetOf({&a, &b, &a});
  certs.Del(0);
  out.Add("sets", Fprinted(certs, "Ours", sxCert_brief, 1) + Fprinted(sxCerts(), nullptr, sxCert_brief, 0));
  out.ExpectIn("cert/certificate-prints.txt");

  LogCapture log;
  EXPECT_EQ(Sprinted(cert, sxCert_full, 0), Sprinted(cert, sxCert_full_key, 0));
  ASSERT_LT(1U, log.Lines().size());
  EXPECT_NE(std::string::npos, log.Lines()[0].find("PubKey:"));
  log.Clear();
  certs.Herror("Ours", sxCert_brief);
  EXPECT_TRUE(log.Has("Ours: 2 certificates") && log.Has("Subject: CN=b"));
  certs.Herror(nullptr, sxCert_brief);
  EXPECT_EQ(6U, log.Lines().size());
}

TEST(CertPrint, WritesToFilesAndToTheLog) {
  const TestCert made("O=Ex/CN=a,b", nullptr, kPrinted);
  const sxCert &cert = *made.Get();
  const std::string full = Sprinted(cert, sxCert_full, 0);
  EXPECT_EQ(full, Fprinted(cert, sxCert_full, 0));
  EXPECT_EQ("\tError: Empty data\n", Fprinted(static_cast<const sxSigned &>(sxCert(nullptr, 0)), 1));
  cert.Sprint(nullptr, sxCert_full, 0);
  static_cast<const sxSigned &>(cert).Sprint(nullptr, 0);
  SetOf({&made}).Sprint(nullptr, "Ours", sxCert_brief, 0);
  EXPECT_EQ(full, Captured([&](FILE *file) {
              sxCert_Fprint_certbuf(file, cert.GetBuf(), static_cast<int>(cert.BufLen()), 0);
            }));
  EXPECT_EQ("", Captured([&](FILE *file) { sxCert_Fprint_certbuf(file, nullptr, 0, 0); }));

  LogCapture log;
  cert.Herror(sxCert_brief);
  EXPECT_TRUE(log.Has("Subject: CN=a\\,b,O=Ex"));
  log.Clear();
  sxCert_Herror_buf(cert.GetBuf(), static_cast<int>(cert.BufLen()));
  EXPECT_TRUE(log.Has("\t\t\tSerial Number: 00f102"));
  sxCert_Herror_buf(cert.GetBuf(), 0);
  EXPECT_TRUE(log.Has("sxCert_Herror_buf: empty buf"));
  sxCert_Herror_buf(cert.GetBuf(), 5);
  EXPECT_TRUE(log.Has("\t\t\tError: Error decoding buffer"));
  log.Clear();
  dodebugprt = 0;
  cert.Herror(sxCert_full);
  sxCert_Herror_buf(cert.GetBuf(), 0);
  EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
