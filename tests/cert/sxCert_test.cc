#include "kxcert/cert/sxCert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certFormats.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/textStream.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/runCommand.h"
#include "support/tempDir.h"
#include "support/testPki.h"

namespace {

Octets DerOf(const sxCert &cert) { return Octets(cert.GetBuf(), cert.GetBuf() + cert.BufLen()); }

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
  kxBinBuf data;
  data.Set(der.data(), static_cast<unsigned>(der.size()));
  sxString text;
  EXPECT_EQ(0, Base64Encode_PEM(sxString("-----BEGIN CERTIFICATE-----\n"), sxString("-----END CERTIFICATE-----\n"), data, text));
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

std::string KeyHash(const sxCert &cert) { return EncodeHex(cert.PubKey()->PublicKeyHash(), kPublicKeyHashLen); }

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
  EXPECT_EQ(KeyHash(a), KeyHash(b));
  EXPECT_EQ(a.GetBasicConstraint() == nullptr, b.GetBasicConstraint() == nullptr);
  EXPECT_EQ(a.SubjectKeyId() == nullptr, b.SubjectKeyId() == nullptr);
}

TEST(sxCert, KnowsItsFields) {
  TestCertOptions options = CaOptions();
  options.serial = "00F1020304050607";
  options.keyIds = true;
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
  EXPECT_EQ(nullptr, cert.AltNames());
  EXPECT_EQ(nullptr, cert.ExtKeyUsage());
  EXPECT_EQ(nullptr, cert.DistPoints());
  EXPECT_EQ(nullptr, cert.AuthInfoAccess());
  EXPECT_EQ(nullptr, cert.UnhandledCritExt());
}

TEST(sxCert, TellsDerFromPem) {
  const TestCert made("CN=a", nullptr, CaOptions());
  const Octets der = DerOf(*made.Get());
  const std::string pem = Pem(der);
  for (const std::string &text : {pem, pem.substr(0, pem.size() - 1), pem + "\n",
                                  WithLineEnds(pem, "\r\n")}) {
    SCOPED_TRACE(text);
    const sxCert cert = CertOf(Text(text));
    ExpectSameFields(*made.Get(), cert);
    EXPECT_EQ(der, DerOf(cert));   // what is kept is the DER
    EXPECT_EQ(1, cert == *made.Get());
  }
  const std::string joined = WithLineEnds(pem, "");   // lines of another length
  std::string wide = "-----BEGIN CERTIFICATE-----";
  for (size_t i = 27; i + 25 < joined.size(); i += 76) {
    wide += "\n" + joined.substr(i, std::min<size_t>(76, joined.size() - 25 - i));
  }
  wide += "\n-----END CERTIFICATE-----\n";
  EXPECT_EQ(0, CertOf(Text(wide)).OK());
  EXPECT_EQ(0, CertOf(Text(" " + pem)).OK());
  EXPECT_EQ(0, CertOf(Text(pem + "\n\n\n")).OK());
}

// One thing is broken in a good certificate, and the certificate says which.
struct BrokenCase {
  const char *what;
  std::function<Octets(const sxCert &)> make;
  const char *error;
};

void SetKeyAlgorithm(sxASN_Certificate &cert, const sxAsnOid &oid) {
  *cert.tbsCertificate->subjectPublicKeyInfo->algorithm->algorithm = oid;
}

TEST(sxCert, SaysWhatIsWrong) {
  constexpr char kUndecodable[] = "Error decoding buffer after trying both DER and Base64 formats";
  const BrokenCase kCases[] = {
      {"nothing", [](const sxCert &) { return Octets(); }, "Empty data"},
      {"no certificate", [](const sxCert &) { return DecodeHex("3000"); }, kUndecodable},
      {"an octet behind it", [](const sxCert &c) { return Joined({DerOf(c), {0}}); }, kUndecodable},
      {"PEM of no certificate", [](const sxCert &) { return Text(Pem(DecodeHex("3000"))); },
       "Error Decoding DER buffer after Base64 conversion."},
      {"a DSA key", [](const sxCert &c) { return Edited(c, [](sxASN_Certificate &t) { SetKeyAlgorithm(t, sxASN_dsa); }); },
       "DSA key not supported"},
      {"an unknown kind of key",
       [](const sxCert &c) { return Edited(c, [](sxASN_Certificate &t) { SetKeyAlgorithm(t, sxASN_sha1); }); }, "Not RSA key"},
      {"an EC key called RSA",
       [](const sxCert &c) { return Edited(c, [](sxASN_Certificate &t) { SetKeyAlgorithm(t, sxASN_rsaEncryption); }); },
       "Error decoding key"},
      {"or by a signature's name",
       [](const sxCert &c) { return Edited(c, [](sxASN_Certificate &t) { SetKeyAlgorithm(t, sxASN_sha256WithRSAEncryption); }); },
       "Error decoding key"},
      {"a point that is none",
       [](const sxCert &c) {
         return Edited(c, [](sxASN_Certificate &t) { t.tbsCertificate->subjectPublicKeyInfo->subjectPublicKey->ClearBit(5); });
       },
       "Error decoding ECDSA key"},
      {"unused bits in the key",
       [](const sxCert &c) {
         return Edited(c, [](sxASN_Certificate &t) {
           sxAsnBits *key = t.tbsCertificate->subjectPublicKeyInfo->subjectPublicKey;
           const Octets octets(key->Data(), key->Data() + key->Len());
           key->Set(octets.data(), key->BitLen() - 1);
         });
       },
       "Error decoding ECDSA key"},
      {"no curve",
       [](const sxCert &c) {
         return Edited(c, [](sxASN_Certificate &t) {
           delete std::exchange(t.tbsCertificate->subjectPublicKeyInfo->algorithm->parameters, nullptr);
         });
       },
       "Error decoding ECDSA key"},
  };
  const TestCert good("CN=a", nullptr);
  ASSERT_EQ(1, CertOf(Edited(*good.Get(), [](sxASN_Certificate &) {})).OK());
  LogCapture log;
  for (const BrokenCase &c : kCases) {
    SCOPED_TRACE(c.what);
    const Octets octets = c.make(*good.Get());
    const sxCert cert = CertOf(octets);
    EXPECT_EQ(0, cert.OK());
    EXPECT_STREQ(c.error, cert.Error().getstr());
    log.Clear();
    EXPECT_EQ(nullptr, sxCert_Decode(octets.data(), LenOf(octets)));
    EXPECT_EQ(!octets.empty(), log.Has(std::string("sxCert_Decode: ") + c.error));
    cert.Issuer(), cert.PubKey(), cert.Extensions();   // may all be asked
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
  TestCertOptions options = CaOptions();
  options.keyIds = true;
  const TestCert made("C=DE/CN=a", nullptr, options);
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
  TestCertOptions options = CaOptions();
  options.serial = "0102030405";
  options.keyIds = true;
  const TestCert made("C=DE/CN=a", nullptr, options);
  Octets der = DerOf(*made.Get());
  const Octets content(der.begin() + 4, der.end());
  const sxCert outer = CertOf(Indefinite(0x30, content));
  ExpectSameFields(*made.Get(), outer);
  EXPECT_EQ(0, outer.VerifySig(made.Get()->PubKey()));   // the signed octets are the same
  ExpectSameFields(*made.Get(), CertOf(ToIndefinite(der)));
  EXPECT_NE(0, CertOf(ToIndefinite(der)).VerifySig(made.Get()->PubKey()));   // and here they are not

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
  TestCertOptions options = CaOptions();
  options.criticalUnknown = true;
  const TestCert made("CN=a", nullptr, options);
  char dotted[32];
  ASSERT_EQ(1, made.Get()->OK());
  ASSERT_NE(nullptr, made.Get()->UnhandledCritExt());
  EXPECT_EQ(0, made.Get()->UnhandledCritExt()->GetStr(dotted, sizeof dotted));
  EXPECT_STREQ("1.2.3.4.5", dotted);
}

TEST(sxCert, EqualOctetsAreEqual) {
  const TestCert a("CN=a", nullptr);
  TestCertOptions sameKey;
  sameKey.keyOf = &a;
  const TestCert b("CN=a", nullptr, sameKey);   // another signature
  EXPECT_EQ(1, *a.Get() == *a.Get());
  EXPECT_EQ(1, *a.Get() == CertOf(DerOf(*a.Get())));
  EXPECT_EQ(0, *a.Get() == *b.Get());
  EXPECT_EQ(1, sxCert(nullptr, 0) == sxCert(nullptr, 0));
  EXPECT_EQ(0, *a.Get() == sxCert(nullptr, 0));
}

TEST(sxCert, FlatFunctionsLendAndHandOver) {
  const TestCert made("C=DE/CN=a", nullptr);
  const Octets der = DerOf(*made.Get());
  EXPECT_EQ(nullptr, sxCert_Decode(nullptr, 1));
  EXPECT_EQ(nullptr, sxCert_Decode(der.data(), 0));
  EXPECT_EQ(nullptr, sxCert_Decode(der.data(), -1));
  sxCert *cert = sxCert_Decode(der.data(), LenOf(der));
  ASSERT_NE(nullptr, cert);
  sxCert_Save(cert);
  sxCert_Free(cert);
  char text[16] = "old";
  LogCapture log;
  EXPECT_EQ(-1, sxCert_GetSubject(cert, text, 9));
  EXPECT_TRUE(log.Has("sxCert_GetSubject: 9 characters do not fit 9"));
  EXPECT_EQ(-1, sxCert_GetSubject(nullptr, text, 16));
  EXPECT_EQ(-1, sxCert_GetSubject(cert, nullptr, 16));
  EXPECT_STREQ("old", text);
  EXPECT_EQ(0, sxCert_GetSubject(cert, text, 10));
  EXPECT_STREQ("CN=a,C=DE", text);
  sxCert_Free(cert);
  sxCert_Free(nullptr);
  sxCert_Save(nullptr);
}

// What the openssl command reads from a certificate.
struct Peer {
  std::string version, serial, notBefore, notAfter, issuer, subject, keyBits, algorithm;
};

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

Peer ReadPeer(const std::string &text) {
  return {Between(text, "Version: ", " "),
          Between(text, "serial=", "\n"),
          Between(text, "notBefore=", "Z\n"),
          Between(text, "notAfter=", "Z\n"),
          WithKeywords(Between(text, "issuer=", "\n")),
          WithKeywords(Between(text, "subject=", "\n")),
          Between(text, "Public-Key: (", " bit)"),
          Between(text, "Signature Algorithm: ", "\n")};
}

std::string Unescaped(const char *text) {
  std::string out = text == nullptr ? "(null)" : text;
  out.erase(std::remove(out.begin(), out.end(), '\\'), out.end());
  return out;
}

std::string UpperSerial(const sxCert &cert) {
  std::string hex = SerialHex(cert);
  while (hex.size() > 2 && hex.compare(0, 2, "00") == 0) hex.erase(0, 2);
  std::transform(hex.begin(), hex.end(), hex.begin(), [](unsigned char c) { return std::toupper(c); });
  return hex;
}

// Seconds that a date of the command stands for, clamped as certificates' are.
int ClampedSeconds(const std::string &isoDate) {
  std::string digits;
  std::copy_if(isoDate.begin(), isoDate.end(), std::back_inserter(digits), [](char c) { return c >= '0' && c <= '9'; });
  digits += 'Z';
  return sxGeneralTime2time(reinterpret_cast<const unsigned char *>(digits.data()), static_cast<int>(digits.size()));
}

const char *DigestName(int mdType) {
  switch (mdType) {
    case 1: return "md5";
    case 2: return "sha1";
    case 5: return "sha256";
    case 6: return "sha384";
    case 7: return "sha512";
    default: return "(no digest)";
  }
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

void ExpectFieldsOf(const sxCert &cert, const Peer &peer) {
  ASSERT_EQ(1, cert.OK()) << cert.Error().getstr();
  EXPECT_EQ(peer.version, std::to_string(cert.Version()));
  EXPECT_EQ(peer.serial, UpperSerial(cert));
  EXPECT_EQ(ClampedSeconds(peer.notBefore), cert.notBefore());
  EXPECT_EQ(ClampedSeconds(peer.notAfter), cert.notAfter());
  EXPECT_EQ(peer.issuer, Unescaped(cert.Issuer()->GetStr()));
  EXPECT_EQ(peer.subject, Unescaped(cert.Subject()->GetStr()));
  EXPECT_EQ(peer.keyBits, std::to_string(cert.PubKey()->GetLen(sxPK_len_bits)));
  EXPECT_NE(std::string::npos, Lower(peer.algorithm).find(DigestName(cert.signatureHashAlgorithm()))) << peer.algorithm;
  EXPECT_EQ(peer.algorithm.find("ecdsa") == 0 ? 3 : 0, cert.signatureSignAlgorithm());
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
    ExpectFieldsOf(cert, ReadPeer(part));
    if (cert.OK() == 0) continue;
    EXPECT_EQ(0, cert.VerifySig(cert.PubKey()));   // they are all self-signed
    ++numFiles;
  }
  return numFiles;
}

TEST(sxCert, ReadsGeneratedCertificatesAsOpensslDoes) {
  const TempDir dir;
  const std::string at = dir.Path() + "/";
  const auto make = [&at](const char *name, const char *key, const char *rest) {
    RunCommand("openssl req -x509 -nodes -keyout " + at + "key -out " + at + name + ".pem -newkey " + key + " " + rest + " 2>/dev/null");
  };
  make("rsa", "rsa:2048", "-sha256 -subj '/C=DE/O=Ex \"quoted\"/CN=host.example' -days 10000 -set_serial 0x00");
  make("rsa-utf8", "rsa:1024", "-sha1 -utf8 -subj '/O=Käse/CN=x@y/emailAddress=a@b' -set_serial 0x80");
  make("rsa-long", "rsa:1536", "-sha512 -subj '/DC=ex/OU=b/CN=a' -set_serial 0x7F00000001");
  for (const char *curve : {"prime256v1", "secp384r1", "secp521r1"}) {
    make(curve, (std::string("ec -pkeyopt ec_paramgen_curve:") + curve).c_str(), "-sha384 -subj '/CN=ec' -set_serial 0xFFFFFFFF");
  }
  RunCommand("cd " + at + "; openssl req -new -nodes -newkey rsa:2048 -keyout key -subj /CN=v1 -out csr 2>/dev/null; "
             "openssl x509 -req -in csr -signkey key -set_serial 5 -out v1.pem 2>/dev/null");
  EXPECT_EQ(7, CompareFiles(at + "*.pem"));
}

TEST(sxCert, ReadsPublicRootsAsOpensslDoes) {
  EXPECT_GT(CompareFiles("/usr/share/ca-certificates/mozilla/*.crt"), 100);
}

TEST(sxCert, RefusesEdwardsKeys) {
  const TempDir dir;
  RunCommand("openssl req -x509 -nodes -newkey ed25519 -keyout " + dir.File("key") + " -out " + dir.File("c.pem") +
             " -subj /CN=ed 2>/dev/null");
  kxBinBuf octets;
  ASSERT_EQ(0, sxCert_AsnBufFromFile(dir.File("c.pem").c_str(), octets, nullptr));
  EXPECT_STREQ("Not RSA key", sxCert(octets.Data(), octets.Len()).Error().getstr());
}

TEST(sxCert, SupportsTheKeyAlgorithmsOfItsList) {
  for (const sxAsnOid *oid : {&sxASN_rsaEncryption, &sxASN_md5WithRSAEncryption, &sxASN_sha1WithRSAEncryption,
                              &sxASN_sha_1WithRSAEncryption, &sxASN_sha256WithRSAEncryption, &sxASN_sha384WithRSAEncryption,
                              &sxASN_sha512WithRSAEncryption, &sxASN_ECDSAPublicKey}) {
    EXPECT_EQ(1, isSupportedSignatureAlgorithm(*oid));
  }
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxASN_sha256WithECDSAEncryption));
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxASN_dsa));
  EXPECT_EQ(0, isSupportedSignatureAlgorithm(sxAsnOid()));
}

}  // namespace
