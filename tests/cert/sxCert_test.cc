#include "kxcert/cert/sxCert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <utility>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certFile.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/pem.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/foundation/textStream.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/tempDir.h"
#include "support/testPki.h"

namespace {

// In a block of its own, so that a read past it shows.
sxCert CertOf(const Octets &octets) { return sxCert(octets.data(), static_cast<unsigned>(octets.size())); }

// The certificate with something changed in its tree; its signature is then another's.
Octets Edited(const sxCert &cert, const std::function<void(sxASN_Certificate &)> &edit) {
  sxASN_Certificate tree;
  EXPECT_EQ(0, sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(cert.GetBuf()), static_cast<int>(cert.BufLen())));
  edit(tree);
  kxBinBuf der;
  EXPECT_EQ(0, sxASN_EncodeBuf(tree, der, 0));
  return Octets(der.Data(), der.Data() + der.Len());
}

std::string Pem(const Octets &der) {
  const kxBinBuf data(der.data(), static_cast<unsigned>(der.size()));
  const sxString begin("-----BEGIN CERTIFICATE-----\n"), end("-----END CERTIFICATE-----\n");
  sxString text;
  EXPECT_EQ(0, Base64Encode_PEM(begin, end, data, text));
  return text.getstr();
}

// The text with other line ends.
std::string WithLineEnds(const std::string &text, const char *lineEnd) {
  std::string out;
  for (const char c : text) out += c == '\n' ? lineEnd : std::string(1, c);
  return out;
}

// Every constructed element with an indefinite length.
Octets ToIndefinite(const Octets &der) {
  Octets out;
  for (size_t pos = 0; pos < der.size();) {
    const int tag = der[pos];
    size_t len = der[pos + 1];
    size_t headerLen = 2;
    if (len >= 0x80) {
      const size_t numOctets = len & 0x7F;
      for (len = 0; headerLen < 2 + numOctets; ++headerLen) len = len << 8 | der[pos + headerLen];
    }
    const auto start = der.begin() + static_cast<long>(pos + headerLen);
    const Octets content(start, start + static_cast<long>(len));
    const Octets element = (tag & 0x20) != 0 ? Indefinite(tag, ToIndefinite(content)) : Der(tag, content);
    out.insert(out.end(), element.begin(), element.end());
    pos += headerLen + len;
  }
  return out;
}

std::string SerialHex(const sxCert &cert) {
  int len = 0;
  const unsigned char *octets = cert.SerialNum(len);
  return EncodeHex(octets, static_cast<size_t>(len));
}

void ExpectSameFields(const sxCert &a, const sxCert &b) {
  ASSERT_EQ(1, a.OK()) << a.Error().getstr();
  ASSERT_EQ(1, b.OK()) << b.Error().getstr();
  EXPECT_EQ(a.Version(), b.Version());
  EXPECT_EQ(SerialHex(a), SerialHex(b));
  EXPECT_TRUE(a.SerialNum()->intEquiv(*b.SerialNum()));
  EXPECT_STREQ(a.Issuer()->GetStr(), b.Issuer()->GetStr());
  EXPECT_STREQ(a.Subject()->GetStr(), b.Subject()->GetStr());
  EXPECT_EQ(a.notBefore(), b.notBefore());
  EXPECT_EQ(a.notAfter(), b.notAfter());
  EXPECT_EQ(a.signatureSignAlgorithm(), b.signatureSignAlgorithm());
  EXPECT_EQ(a.signatureHashAlgorithm(), b.signatureHashAlgorithm());
  EXPECT_EQ(1, sxPubKey_Equal(a.PubKey(), b.PubKey()));
  EXPECT_EQ(a.GetBasicConstraint() == nullptr, b.GetBasicConstraint() == nullptr);
  EXPECT_EQ(a.SubjectKeyId() == nullptr, b.SubjectKeyId() == nullptr);
}

TEST(sxCert, KnowsItsFields) {
  const TestCertOptions options = CaOptions({.serial = "00F1020304050607", .keyIds = true});
  const TestCert made("C=DE/O=Ex, Inc/CN=ca", nullptr, options);
  const sxCert &cert = *made.Get();
  EXPECT_EQ(3, cert.Version());
  EXPECT_EQ("00f1020304050607", SerialHex(cert));
  EXPECT_STREQ("CN=ca,O=Ex\\, Inc,C=DE", cert.Subject()->GetStr());
  EXPECT_TRUE(cert.Issuer()->Equal(*cert.Subject()));
  EXPECT_EQ(options.notBefore, cert.notBefore());
  EXPECT_EQ(options.notAfter, cert.notAfter());
  EXPECT_EQ(3, cert.signatureSignAlgorithm());
  EXPECT_EQ(5, cert.signatureHashAlgorithm());
  EXPECT_EQ(256, cert.PubKey()->GetLen(sxPK_len_bits));
  EXPECT_EQ(1, cert.IsCritical(&sxASN_id_ce_basicConstraints));
  EXPECT_EQ(0, cert.IsCritical(&sxASN_id_ce_subjectKeyIdentifier));
  EXPECT_EQ(1, cert.HasKeyUsage(sxKU_keyCertSign));
  EXPECT_EQ(0, cert.HasKeyUsage(sxKU_digitalSignature));
  EXPECT_EQ(0, cert.HasKeyUsage(static_cast<sxKeyUsageType>(64)));
  EXPECT_EQ(0, cert.HasKeyUsage(static_cast<sxKeyUsageType>(-1)));
  ASSERT_NE(nullptr, cert.GetBasicConstraint());
  EXPECT_TRUE(cert.GetBasicConstraint()->IsCA());
  ASSERT_NE(nullptr, cert.AuthorityKeyId());
  EXPECT_TRUE(cert.AuthorityKeyId()->KIdBuf() == cert.SubjectKeyId()->KIdBuf());
  EXPECT_TRUE(cert.AltNames() == nullptr && cert.ExtKeyUsage() == nullptr && cert.DistPoints() == nullptr);
  EXPECT_TRUE(cert.AuthInfoAccess() == nullptr && cert.UnhandledCritExt() == nullptr);
}

TEST(sxCert, TellsDerFromPem) {
  const TestCert made("CN=a", nullptr, CaOptions());
  const Octets der = DerOf(*made.Get());
  const std::string pem = Pem(der);
  for (const std::string &text : {pem, pem.substr(0, pem.size() - 1), pem + "\n", WithLineEnds(pem, "\r\n")}) {
    SCOPED_TRACE(text);
    const sxCert cert = CertOf(Text(text));
    ExpectSameFields(*made.Get(), cert);
    EXPECT_EQ(der, DerOf(cert));  // what is kept is the DER
    EXPECT_EQ(1, cert == *made.Get());
  }
  const std::string joined = WithLineEnds(pem, "");  // lines of another length
  std::string wide = "-----BEGIN CERTIFICATE-----";
  for (size_t i = 27; i + 25 < joined.size(); i += 76) {
    wide += "\n" + joined.substr(i, std::min<size_t>(76, joined.size() - 25 - i));
  }
  wide += "\n-----END CERTIFICATE-----\n";
  EXPECT_EQ(0, CertOf(Text(wide)).OK());
  EXPECT_EQ(0, CertOf(Text(" " + pem)).OK());
  EXPECT_EQ(0, CertOf(Text(pem + "\n\n\n")).OK());
}

TEST(sxCert, SaysWhatIsWrong) {
  constexpr char kUndecodable[] = "Error decoding buffer after trying both DER and Base64 formats";
  const TestCert good("CN=a", nullptr);
  const auto withKey = [&good](auto edit) {
    return Edited(*good.Get(), [&](sxASN_Certificate &t) { edit(*t.tbsCertificate->subjectPublicKeyInfo); });
  };
  const auto keyCalled = [&](const sxAsnOid &oid) {
    return withKey([&](sxASN_SubjectPublicKeyInfo &key) { *key.algorithm->algorithm = oid; });
  };
  const struct { const char *what; Octets octets; const char *error; } kCases[] = {
      {"nothing", {}, "Empty data"},
      {"no certificate", DecodeHex("3000"), kUndecodable},
      {"an octet behind it", Joined({DerOf(*good.Get()), {0}}), kUndecodable},
      {"PEM of no certificate", Text(Pem(DecodeHex("3000"))), "Error Decoding DER buffer after Base64 conversion."},
      {"a DSA key", keyCalled(sxASN_dsa), "DSA key not supported"},
      {"an unknown kind of key", keyCalled(sxASN_sha1), "Not RSA key"},
      {"an EC key called RSA", keyCalled(sxASN_rsaEncryption), "Error decoding key"},
      {"or by a signature's name", keyCalled(sxASN_sha256WithRSAEncryption), "Error decoding key"},
      {"a point that is none", withKey([](auto &key) { key.subjectPublicKey->ClearBit(5); }),
       "Error decoding ECDSA key"},
      {"unused bits in the key", withKey([](auto &key) {
         const Octets point(key.subjectPublicKey->Data(), key.subjectPublicKey->Data() + key.subjectPublicKey->Len());
         key.subjectPublicKey->Set(point.data(), key.subjectPublicKey->BitLen() - 1);
       }), "Error decoding ECDSA key"},
      {"no curve", withKey([](auto &key) { delete std::exchange(key.algorithm->parameters, nullptr); }),
       "Error decoding ECDSA key"},
  };
  ASSERT_EQ(1, CertOf(withKey([](auto &) {})).OK());
  LogCapture log;
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.what);
    const sxCert cert = CertOf(c.octets);
    EXPECT_EQ(0, cert.OK());
    EXPECT_STREQ(c.error, cert.Error().getstr());
    log.Clear();
    EXPECT_EQ(nullptr, sxCert_Decode(c.octets.data(), LenOf(c.octets)));
    EXPECT_EQ(!c.octets.empty(), log.Has(std::string("sxCert_Decode: ") + c.error));
    cert.Issuer(), cert.PubKey(), cert.Extensions();  // may all be asked
  }
  EXPECT_STREQ("Empty data", sxCert(nullptr, 5).Error().getstr());
}

TEST(sxCert, RefusesEveryPrefix) {
  const TestCert made("CN=a", nullptr, CaOptions());
  const Octets der = DerOf(*made.Get());
  for (size_t len = 0; len < der.size(); ++len) {
    EXPECT_EQ(0, CertOf(Octets(der.begin(), der.begin() + static_cast<long>(len))).OK()) << len;
  }
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
      const bool decodes = sxASN_DecodeBuf(tree, Chars(der), LenOf(der)) == 0;
      EXPECT_TRUE(decodes || cert.OK() == 0) << i;
      if (cert.OK() != 0) {
        ++numOk;
        SxStream text;
        cert.Sprint(&text, sxCert_full, 0);
        EXPECT_LT(0, text.Length());
      }
      der[i] = static_cast<unsigned char>(der[i] ^ change);
    }
  }
  EXPECT_GT(numOk, 100);
}

TEST(sxCert, BerHasTheSameFields) {
  const TestCert made("C=DE/CN=a", nullptr, CaOptions({.serial = "0102030405", .keyIds = true}));
  Octets der = DerOf(*made.Get());
  const Octets content(der.begin() + 4, der.end());
  const sxCert outer = CertOf(Indefinite(0x30, content));
  ExpectSameFields(*made.Get(), outer);
  EXPECT_EQ(0, outer.VerifySig(made.Get()->PubKey()));  // the signed octets are the same
  ExpectSameFields(*made.Get(), CertOf(ToIndefinite(der)));
  EXPECT_NE(0, CertOf(ToIndefinite(der)).VerifySig(made.Get()->PubKey()));  // and here they are not

  const Octets serial = DecodeHex("02050102030405");
  const auto at = std::search(der.begin(), der.end(), serial.begin(), serial.end());
  ASSERT_NE(der.end(), at);
  for (const char *hex : {"0205FF02030405", "02050002030405", "0205FFFFFFFF05"}) {
    SCOPED_TRACE(hex);
    const Octets other = DecodeHex(hex);
    std::copy(other.begin(), other.end(), at);
    EXPECT_EQ(EncodeHex(Octets(other.begin() + 2, other.end())), SerialHex(CertOf(der)));
    ExpectSameFields(CertOf(der), CertOf(ToIndefinite(der)));
  }
}

TEST(sxCert, VersionOneHasNeitherNumberNorExtensions) {
  const TestCert made("CN=a", nullptr, CaOptions());
  const sxCert cert = CertOf(Edited(*made.Get(), [](sxASN_Certificate &t) {
    delete std::exchange(t.tbsCertificate->version, nullptr);
    delete std::exchange(t.tbsCertificate->extensions, nullptr);
  }));
  ASSERT_EQ(1, cert.OK());
  EXPECT_EQ(1, cert.Version());
  EXPECT_EQ(nullptr, cert.GetBasicConstraint());
  EXPECT_EQ(nullptr, cert.Extensions().First());
}

// A name may be empty or hold values without text; the certificate is one all the same.
TEST(sxCert, NamesNeedNoText) {
  const TestCert made("CN=a", nullptr);
  const sxCert empty = CertOf(Edited(*made.Get(), [](sxASN_Certificate &t) { t.tbsCertificate->subject->Clear(); }));
  ASSERT_EQ(1, empty.OK());
  EXPECT_STREQ("", empty.Subject()->GetStr());
  const Octets name = Der(0x30, Der(0x31, Der(0x30, {DecodeHex("0603550403"), Indefinite(0xA0, Der(0x05, Octets()))})));
  const sxCert odd = CertOf(Edited(*made.Get(), [&name](sxASN_Certificate &t) {
    EXPECT_EQ(0, sxASN_DecodeBuf(*t.tbsCertificate->subject, Chars(name), LenOf(name)));
  }));
  ASSERT_EQ(1, odd.OK());
  EXPECT_EQ(nullptr, odd.Subject()->GetStr());
  EXPECT_EQ(1, odd.Subject()->Count());
  EXPECT_EQ(0, odd.Subject()->IsContain(&sxASN_id_at_commonName));
}

TEST(sxCert, AnUnhandledCriticalExtensionIsNoted) {
  const TestCert made("CN=a", nullptr, CaOptions({.criticalUnknown = true}));
  ASSERT_EQ(1, made.Get()->OK());
  ASSERT_NE(nullptr, made.Get()->UnhandledCritExt());
  EXPECT_TRUE(made.Get()->UnhandledCritExt()->OidEquiv(sxAsnOid({1, 2, 3, 4, 5})));
}

TEST(sxCert, EqualOctetsAreEqual) {
  const TestCert a("CN=a", nullptr);
  const TestCert b("CN=a", nullptr, {.keyOf = &a});  // another signature
  EXPECT_EQ(1, *a.Get() == *a.Get());
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

// What stands between two texts.
std::string Between(const std::string &text, const char *before, const char *behind) {
  const size_t start = text.find(before);
  if (start == std::string::npos) return "(none)";
  const size_t from = start + std::string(before).size();
  return text.substr(from, text.find(behind, from) - from);
}

// "2.5.4.3=a" becomes "CN=a", and so on at each beginning of an assertion.
std::string WithKeywords(const std::string &name) {
  std::string out;
  for (size_t pos = 0; pos < name.size();) {
    const size_t equals = name.find('=', pos);
    const bool atStart = pos == 0 || name[pos - 1] == ',' || name[pos - 1] == '+';
    const std::string type = name.substr(pos, equals - pos);
    if (!atStart || type.find('.') == std::string::npos || type.find_first_not_of("0123456789.") != std::string::npos) {
      out += name[pos++];
      continue;
    }
    char keyword[300];
    const std::unique_ptr<sxAsnOid> oid(sxDN_Str2OID(("OID." + type).c_str()));
    EXPECT_LT(0, sxDN_OID2Str(*oid, keyword, sizeof keyword));
    out += keyword;
    pos = equals;
  }
  return out;
}

// Seconds that a date of the command stands for, clamped as certificates' are.
int ClampedSeconds(std::string date) {
  std::erase_if(date, [](char c) { return c < '0' || c > '9'; });
  date += 'Z';
  return sxGeneralTime2time(reinterpret_cast<const unsigned char *>(date.data()), static_cast<int>(date.size()));
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// What the command prints of a certificate, and what the object answers.
void ExpectFieldsOf(const sxCert &cert, const std::string &printed) {
  ASSERT_EQ(1, cert.OK()) << cert.Error().getstr();
  std::string serial = SerialHex(cert);
  while (serial.size() > 2 && serial.compare(0, 2, "00") == 0) serial.erase(0, 2);
  const auto unescaped = [](const sxDN *dn) {
    std::string text = dn->GetStr() == nullptr ? "(null)" : dn->GetStr();
    std::erase(text, '\\');
    return text;
  };
  const std::map<int, const char *> digests = {{1, "md5"}, {2, "sha1"}, {5, "sha256"}, {6, "sha384"}, {7, "sha512"}};
  const auto digest = digests.find(cert.signatureHashAlgorithm());
  const std::string algorithm = Between(printed, "Signature Algorithm: ", "\n");
  EXPECT_EQ(Between(printed, "Version: ", " "), std::to_string(cert.Version()));
  EXPECT_EQ(Between(printed, "serial=", "\n"), Upper(serial));
  EXPECT_EQ(ClampedSeconds(Between(printed, "notBefore=", "Z\n")), cert.notBefore());
  EXPECT_EQ(ClampedSeconds(Between(printed, "notAfter=", "Z\n")), cert.notAfter());
  EXPECT_EQ(WithKeywords(Between(printed, "issuer=", "\n")), unescaped(cert.Issuer()));
  EXPECT_EQ(WithKeywords(Between(printed, "subject=", "\n")), unescaped(cert.Subject()));
  EXPECT_EQ(Between(printed, "Public-Key: (", " bit)"), std::to_string(cert.PubKey()->GetLen(sxPK_len_bits)));
  ASSERT_NE(digests.end(), digest);
  EXPECT_NE(std::string::npos, Upper(algorithm).find(Upper(digest->second))) << algorithm;
  EXPECT_EQ(algorithm.find("ecdsa") == 0 ? 3 : 0, cert.signatureSignAlgorithm());
}

// Every file that the pattern names: its fields here and there. @return how many there were
int CompareFiles(const std::string &pattern) {
  const std::string all = RunCommand("for f in " + pattern +
                                     "; do echo \"== $f\"; openssl x509 -in $f -noout -serial -dates -dateopt iso_8601 "
                                     "-issuer -subject -nameopt oid,dn_rev,sep_comma_plus,utf8 -text; done");
  int numFiles = 0;
  for (size_t pos = all.find("== "), next; pos != std::string::npos; pos = next) {
    next = all.find("\n== ", pos);
    if (next != std::string::npos) ++next;
    const std::string part = all.substr(pos, next == std::string::npos ? next : next - pos);
    const std::string file = Between(part, "== ", "\n");
    SCOPED_TRACE(file);
    kxBinBuf octets;
    EXPECT_EQ(0, sxCert_AsnBufFromFile(file.c_str(), octets, nullptr));
    const sxCert cert(octets.Data(), octets.Len());
    ExpectFieldsOf(cert, part);
    if (cert.OK() == 0) continue;
    EXPECT_EQ(0, cert.VerifySig(cert.PubKey()));  // they are all self-signed
    ++numFiles;
  }
  return numFiles;
}

TEST(sxCert, ReadsGeneratedCertificatesAsOpensslDoes) {
  const TempDir dir;
  const std::string at = dir.Path() + "/";
  const auto make = [&at](const char *name, const char *key, const char *rest) {
    RunCommand("openssl req -x509 -nodes -keyout " + at + "key -out " + at + name + ".pem -newkey " + key + " " + rest +
               " 2>/dev/null");
  };
  make("rsa", "rsa:2048", "-sha256 -subj '/C=DE/O=Ex \"quoted\"/CN=host.example' -days 10000 -set_serial 0x00");
  make("rsa-utf8", "rsa:1024", "-sha1 -utf8 -subj '/O=Käse/CN=x@y/emailAddress=a@b' -set_serial 0x80");
  make("rsa-long", "rsa:1536", "-sha512 -subj '/DC=ex/OU=b/CN=a' -set_serial 0x7F00000001");
  for (const char *curve : {"prime256v1", "secp384r1", "secp521r1"}) {
    make(curve, (std::string("ec -pkeyopt ec_paramgen_curve:") + curve).c_str(),
         "-sha384 -subj '/CN=ec' -set_serial 0xFFFFFFFF");
  }
  RunCommand("cd " + at +
             "; openssl req -new -nodes -newkey rsa:2048 -keyout key -subj /CN=v1 -out csr 2>/dev/null; "
             "openssl x509 -req -in csr -signkey key -set_serial 5 -out v1.pem 2>/dev/null");
  EXPECT_EQ(7, CompareFiles(at + "*.pem"));

  make("edwards", "ed25519", "-subj /CN=ed");
  kxBinBuf octets;
  ASSERT_EQ(0, sxCert_AsnBufFromFile(dir.File("edwards.pem").c_str(), octets, nullptr));
  EXPECT_STREQ("Not RSA key", sxCert(octets.Data(), octets.Len()).Error().getstr());
}

TEST(sxCert, ReadsPublicRootsAsOpensslDoes) {
  EXPECT_GT(CompareFiles("/usr/share/ca-certificates/mozilla/*.crt"), 100);
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

}  // namespace
