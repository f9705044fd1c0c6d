// PKCS #12: what others write, what is refused, what is written.
#include "kxcert/cert/pkcs12.h"

#include <gtest/gtest.h>

#include "cert/pkcs12/containerPassword.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/rows.h"
#include "support/testPki.h"

namespace {

constexpr char kPfx[] = "30{ 020103 30{ 06092A864886F70D010701 A0{ 04{ 30{ ";

Octets Bytes(std::string_view text) { return Octets(text.begin(), text.end()); }
Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }
Octets Container(const std::string &name) { return Bytes(CaseData("cert/pkcs12/" + name + ".p12")); }
std::string CommonName(const sxDN *name) { return std::string(name->GetStr()).substr(3); }

std::string Told(const sxPkcs12Bag &bag) {
  std::string text = sxPkcs12_KindText(bag.kind);
  if (bag.cert != nullptr) text += " " + CommonName(bag.cert->Subject());
  else if (bag.crl != nullptr) text += " " + CommonName(bag.crl->Issuer());
  else if (bag.key != nullptr) text += " key";
  else if (!bag.value.IsEmpty()) text += " " + EncodeHex(bag.value.Data(), std::min(bag.value.Len(), 4U));
  else text += " -";
  if (!bag.name.empty()) text += " " + bag.name;
  return bag.result == sxPkcs12_ok ? text : text + " (" + bag.why + ")";
}

std::string Told(const sxPkcs12 &container) {
  std::string text = container.Mac().text + ":";
  for (const sxPkcs12Bag &bag : container.Bags()) text += (&bag == container.Bags().data() ? " " : ", ") + Told(bag);
  return text;
}

int OpenWith(sxPkcs12 &container, const std::string &cell, std::string *why = nullptr) {
  const Octets password = Bytes(cell == "\"\"" ? "x" : cell);
  if (cell == "-") return container.Open({}, why);
  return container.Open({password.data(), cell == "\"\"" ? 0 : password.size()}, why);
}

TEST(Pkcs12, ReadsWhatOthersWrite) {
  for (const CaseRow &row : CaseRows("cert/pkcs12/containers.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    sxPkcs12 container;
    std::string why;
    ASSERT_EQ(sxPkcs12_ok, container.Read(Container(row[0]), &why)) << why;
    EXPECT_EQ(container.HasMac(), !container.Mac().text.empty());
    EXPECT_EQ(row[2] == "done", OpenWith(container, row[1], &why) == sxPkcs12_ok);
    EXPECT_EQ(row[2], why);
    EXPECT_EQ(row[3], Told(container));
  }
}

TEST(Pkcs12, RefusesWithItsReason) {
  for (const CaseRow &row : CaseRows("cert/pkcs12/refused.txt", 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    std::string notation = row[0];
    const bool isAuth = notation.starts_with("AUTH{"), isPfx = notation.starts_with("PFX{");
    if (isAuth) notation = kPfx + notation.substr(5, notation.rfind('}') - 5) + "} } } } }";
    if (isPfx) {
      const size_t end = notation.rfind('}');
      notation = kPfx + ("30{ 06092A864886F70D010701 A0{ 04{ 30{ " + notation.substr(4, end - 4)) + "} } } } } } } } }" +
                 notation.substr(end + 1);
    }
    sxPkcs12 container;
    std::string why;
    const int result = container.Read(CaseOctets(notation), &why);
    EXPECT_EQ(row[1], why);
    EXPECT_EQ(result == sxPkcs12_ok, row[1] == "done");
    if (result != sxPkcs12_ok) { EXPECT_EQ(sxPkcs12_failed, container.Open({})); }
  }
}

// Whatever changes in what the MAC is over, and wherever it is cut.
TEST(Pkcs12, OpensNothingThatTheMacIsNotOf) {
  const Octets sound = Container("every-bag");
  const size_t begin = 26, end = sound.size() - 67;  // MacData at the end: two lengths, digest, salt and iterations
  for (size_t i = 0; i < sound.size(); ++i) {
    Octets changed = sound;
    changed[i] ^= 0x20;
    sxPkcs12 container, cut;
    const bool isOpen = container.Read(changed) == sxPkcs12_ok && OpenWith(container, "secret") == sxPkcs12_ok;
    if (i >= begin && i < end) { EXPECT_FALSE(isOpen) << "octet " << i; }
    changed.resize(i);
    EXPECT_NE(sxPkcs12_ok, cut.Read(changed)) << i << " octets";
  }
}

// Two iterations each: for a key of as many digests as its length takes, and where it is derived for a vector.
TEST(Pkcs12, CountsEachDigestThatIsDerived) {
  for (const auto &[name, password, spent] : {std::tuple{"pbmac1", "secret", 2U}, {"pbmac1-long", "pässword", 4U},
                                              {"openssl", "secret", 6U}, {"openssl-legacy", "secret", 12U}}) {
    sxPkcs12 container;
    ASSERT_EQ(sxPkcs12_ok, container.Read(Container(name)));
    EXPECT_EQ(sxPkcs12_ok, OpenWith(container, password));
    EXPECT_EQ(spent, container.Spent()) << name;
  }
}

TEST(Pkcs12, SpendsNoMoreThanIsAllowed) {
  const unsigned char secret[] = {'x'};
  ContainerPassword password(secret);
  ContainerFailure failure;
  uint64_t tries = 0;
  const auto isRight = [&tries](sxOctetView, PbeFailure *) { return ++tries, true; };
  while (password.Try(PbeKdf::kPbkdf2, kMaxPbeIterations, isRight, &failure)) {}
  EXPECT_EQ(kMaxPkcs12Iterations / kMaxPbeIterations, tries);
  EXPECT_EQ("costs more than is tried: more than 40000000 iterations in the whole container", failure.Text());
}

struct Written {
  const char *what;
  sxPkcs12Settings settings;
  const char *password;
  const char *expected;
};

sxPkcs12Settings Quick(sxPkcs12Settings settings) {
  settings.keys.iterations = settings.certs.iterations = settings.macIterations = 2;
  return settings;
}

TEST(Pkcs12, WritesWhatItReads) {
  const PubKeyRef key = TestKey("rsa2048"), other = TestKey("prime256v1");
  const TestCert cert("CN=issuer", nullptr, CaOptions());
  sxPkcs12Settings pbmac1 = Quick({}), open = Quick({}), mixed = Quick({});
  pbmac1.mac = sxPkcs12MacKind::kPbmac1;
  pbmac1.macDigest = sx_md_sha512;
  open.isOpen = true;
  mixed.keys.cipher = sxPbe_3des;
  mixed.macDigest = sx_md_sha384;
  const sxPkcs12Entry entries[] = {{key.get(), nullptr, nullptr, "Schlüssel 🔑"}, {nullptr, cert.Get(), nullptr, "ca"}};
  const std::string keys = " key Schlüssel 🔑";
  const Written rows[] = {
      {"modern", Quick({}), "secret", "HMAC-SHA2-256: certBag issuer ca, pkcs8ShroudedKeyBag"},
      {"legacy", Quick(sxPkcs12_LegacySettings()), "secret", "HMAC-SHA1: certBag issuer ca, pkcs8ShroudedKeyBag"},
      {"PBMAC1", pbmac1, "pässword",
       "PBMAC1 with HMAC-SHA2-512 and PBKDF2 with HMAC-SHA2-512: certBag issuer ca, pkcs8ShroudedKeyBag"},
      {"mixed", mixed, "\"\"", "HMAC-SHA2-384: certBag issuer ca, pkcs8ShroudedKeyBag"},
      {"open", open, "-", ": certBag issuer ca, keyBag"}};
  for (const Written &row : rows) {
    SCOPED_TRACE(row.what);
    const std::string cell = row.password;
    const Octets password = Bytes(cell == "\"\"" ? "x" : cell);
    const sxPbeOctets given = cell == "-" ? sxPbeOctets() : sxPbeOctets(password.data(), cell == "\"\"" ? 0 : password.size());
    kxBinBuf out;
    std::string why;
    ASSERT_EQ(sxPkcs12_ok, sxPkcs12_Write(entries, row.settings, given, out, &why)) << why;
    EXPECT_EQ(row.settings.isOpen, out.IsSensitive());
    sxPkcs12 again;
    ASSERT_EQ(sxPkcs12_ok, again.Read(OctetsOf(out)));
    ASSERT_EQ(sxPkcs12_ok, OpenWith(again, cell, &why)) << why;
    EXPECT_EQ(row.expected + keys, Told(again));
    EXPECT_EQ(1, sxPubKey_Equal(key.get(), again.Bags().back().key));
  }
  kxBinBuf out("as it was", 9);
  const auto refused = [&](const sxPkcs12Entry &entry, const sxPkcs12Settings &settings, sxPbeOctets given) {
    std::string why;
    EXPECT_NE(sxPkcs12_ok, sxPkcs12_Write({&entry, 1}, settings, given, out, &why));
    EXPECT_EQ(9U, out.Len());
    return why;
  };
  const Octets secret = Bytes("secret");
  EXPECT_EQ("a password is needed", refused(entries[0], {}, {}));
  EXPECT_EQ("failed: a password, but nothing to protect", refused(entries[0], open, secret));
  EXPECT_EQ("failed: nothing to write", refused({}, Quick({}), secret));
  EXPECT_EQ("failed: the key is not the certificate's", refused({other.get(), cert.Get(), nullptr, ""}, Quick({}), secret));
  EXPECT_EQ("failed: a name that is too long, or no UTF-8", refused({nullptr, cert.Get(), nullptr, "\xFF"}, Quick({}), secret));
  EXPECT_EQ("failed: a key without its private part, or of no form that is written",
            refused({cert.Get()->PubKey(), nullptr, nullptr, ""}, Quick({}), secret));
  open.isOpen = false;
  open.mac = static_cast<sxPkcs12MacKind>(7);
  EXPECT_EQ("failed: settings out of range", refused(entries[0], open, secret));
  mixed.macIterations = 0;
  EXPECT_EQ("failed: settings out of range", refused(entries[0], mixed, secret));
}

}  // namespace
