// What OCSP responses are worth, made by libcrypto; and requests as libcrypto reads them.
#include <gtest/gtest.h>

#include "kxcert/trust/ocsp.h"
#include "support/hexOctets.h"
#include "support/rows.h"
#include "support/testOcsp.h"
#include "support/words.h"

namespace {

TestCertOptions Delegate(TestCertOptions options = {}) {
  options.extKeyUsage = "OCSPSigning";
  return options;
}

struct Certs {
  const TestCert issuer{"O=Ocsp/CN=ca", nullptr, CaOptions()};
  const TestCert foreignCa{"O=Ocsp/CN=foreign ca", nullptr, CaOptions()};
  const TestCert leaf{"O=Ocsp/CN=leaf", &issuer};
  const TestCert other{"O=Ocsp/CN=other", &issuer, {.serial = "02"}};
  const TestCert sameNumber{"O=Ocsp/CN=leaf", &foreignCa};
  const TestCert renewed{"O=Ocsp/CN=ca", nullptr, CaOptions({.serial = "03", .keyOf = &issuer})};
  const TestCert namesake{"O=Ocsp/CN=ca", nullptr, CaOptions()};
  const TestCert foreign{"O=Ocsp/CN=foreign", &foreignCa};
  const TestCert delegate{"O=Ocsp/CN=delegate", &issuer, Delegate({.keyUsage = "digitalSignature"})};
  const TestCert impostor{"O=Ocsp/CN=delegate", &issuer, Delegate()};
  const TestCert noCheck{"O=Ocsp/CN=noCheck", &issuer, Delegate({.noCheck = true})};
  const TestCert shortLived{"O=Ocsp/CN=short", &issuer, Delegate({.notAfter = kTestNow + 600, .noCheck = true})};
  const TestCert early{"O=Ocsp/CN=early", &issuer, Delegate({.notBefore = kTestNow + 1})};
  const TestCert noPurpose{"O=Ocsp/CN=noPurpose", &issuer, {.extKeyUsage = "serverAuth"}};
  const TestCert anyPurpose{"O=Ocsp/CN=anyPurpose", &issuer, {.extKeyUsage = "anyExtendedKeyUsage"}};
  const TestCert noSigner{"O=Ocsp/CN=noSigner", &issuer, Delegate({.keyUsage = "keyEncipherment"})};
  const TestCert critical{"O=Ocsp/CN=critical", &issuer, Delegate({.criticalUnknown = true})};
  const TestCert stranger{"O=Ocsp/CN=stranger", &foreignCa, Delegate()};
  const TestCert forged{"O=Ocsp/CN=forged", &foreignCa, Delegate({.issuerName = "O=Ocsp/CN=ca"})};

  const TestCert &Get(const std::string &name) const {
    const std::map<std::string, const TestCert *> all = {
        {"issuer", &issuer}, {"leaf", &leaf}, {"other", &other}, {"sameNumber", &sameNumber}, {"renewed", &renewed},
        {"namesake", &namesake}, {"foreign", &foreign}, {"delegate", &delegate}, {"impostor", &impostor},
        {"noCheck", &noCheck}, {"short", &shortLived}, {"early", &early}, {"noPurpose", &noPurpose},
        {"anyPurpose", &anyPurpose}, {"noSigner", &noSigner}, {"critical", &critical}, {"stranger", &stranger},
        {"forged", &forged}};
    return *all.at(name);
  }

  TestOcspSingle Single(const std::string &text) const {
    Words words = Split(text);
    TestOcspSingle single;
    const std::string of = Take(words, "of=", "leaf"), digest = Take(words, "digest=", "SHA1");
    single.cert = &Get(of);
    single.issuer = of == "sameNumber" ? &foreignCa : &issuer;
    single.digest = digest == "SHA1" ? "SHA1" : digest == "SHA256" ? "SHA256" : digest == "SHA512" ? "SHA512" : "SHA224";
    single.thisUpdate = kTestNow + std::stol(Take(words, "this=", "-60"));
    const std::string next = Take(words, "next=", "3600");
    single.nextUpdate = next == "none" ? 0 : kTestNow + std::stol(next);
    single.critical = !TakeAll(words, "critical").empty();
    single.status = words.at(0);
    return single;
  }

  Octets Response(const std::string &signer, const std::string &says, const std::string &how) const {
    std::vector<TestOcspSingle> singles;
    std::istringstream in(says);
    for (std::string each; std::getline(in, each, ';');) {
      if (!Split(each).empty()) singles.push_back(Single(each));
    }
    Words words = Split(how);
    TestOcspOptions options;
    if (const std::string brings = Take(words, "brings="); !brings.empty()) options.brings = &Get(brings);
    const Words nonces = TakeAll(words, "nonce=");
    for (size_t i = 0; i < nonces.size(); ++i) options.nonces[i] = CaseOctets(nonces[i]);
    for (const std::string &word : words) {
      bool &flag = word == "noCerts" ? options.noCerts : word == "byKey" ? options.byKey : options.critical;
      flag = true;
    }
    return TestOcspResponse(Get(signer), singles, options);
  }

  sxOcspQuestion Question(const std::string &judged) const {
    Words words = Split(judged);
    sxOcspQuestion question;
    question.cert = leaf.Get();
    question.issuer = issuer.Get();
    question.timeSec = kTestNow + std::stol(Take(words, "at=", "0"));
    question.nonce = CaseOctets(Take(words, "sent="));
    const std::string nonce = Take(words, "nonce=", "off"), configured = Take(words, "configured=");
    question.policy.nonce = nonce == "send"      ? sxOcspNonce::kSend
                            : nonce == "require" ? sxOcspNonce::kRequire : sxOcspNonce::kOff;
    question.policy.maxAgeSec = std::stoi(Take(words, "maxAge=", "86400"));
    question.policy.startGraceSec = std::stoi(Take(words, "start=", "300"));
    question.policy.endGraceSec = std::stoi(Take(words, "end=", "0"));
    if (!configured.empty()) question.responder = Get(configured).Get();
    return question;
  }
};

const Certs &TheCerts() {
  static const auto *const certs = new Certs;
  return *certs;
}

std::string Text(const sxOcspAnswer &answer) {
  const char *const signers[] = {"none", "issuer", "delegate", "configured"};
  std::string text = sxOcspResult_GetString(answer.result);
  if (answer.result < sxOcsp_good) return text + (*answer.why != '\0' ? ": " : "") + answer.why;
  text += std::string(" ") + signers[static_cast<int>(answer.signer)];
  text += " holds=" + std::to_string(answer.holdsUntilSec - kTestNow);
  if (answer.result == sxOcsp_revoked) {
    EXPECT_EQ(kTestNow - kTestDay, answer.revokedSec);
    text += std::string(" ") + sxOcspReason_GetString(answer.reason);
  }
  return text + (answer.signerMustBeChecked ? " check" : "") + (answer.hadNonce ? " nonce" : "");
}

std::string Judge(const Octets &octets, const sxOcspQuestion &question) {
  return Text(sxOcsp_Judge(octets.data(), octets.size(), question));
}

TEST(OcspJudge, BelievesWhoMaySayIt) {
  for (const CaseRow &row : CaseRows("revocation/ocsp.txt", 5)) {
    SCOPED_TRACE(testing::PrintToString(row));
    EXPECT_EQ(row[4], Judge(TheCerts().Response(row[0], row[1], row[2]), TheCerts().Question(row[3])));
  }
}

TEST(OcspJudge, ReadsWholeResponsesAlone) {
  for (const CaseRow &row : CaseRows("revocation/ocspOctets.txt", 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    EXPECT_EQ(row[1], Judge(CaseOctets(row[0]), TheCerts().Question("")));
  }
}

// Whatever octet is changed, cut or added, there is the same answer or none: never another one.
TEST(OcspJudge, RefusesWhatWasChangedOnItsWay) {
  const sxOcspQuestion question = TheCerts().Question("sent=0102 nonce=send");
  for (const char *status : {"good", "revoked"}) {
    const Octets sound = TheCerts().Response("noCheck", status, "nonce=0102");
    const std::string expected = Judge(sound, question);
    ASSERT_TRUE(expected.starts_with(status));
    int numRefused = 0;
    for (size_t i = 0; i < sound.size(); ++i) {
      for (const int change : {0x01, 0x80, 0x20}) {
        Octets changed = sound;
        changed[i] = static_cast<unsigned char>(changed[i] ^ change);
        const sxOcspAnswer answer = sxOcsp_Judge(changed.data(), changed.size(), question);
        numRefused += answer.result < sxOcsp_good ? 1 : 0;
        EXPECT_TRUE(answer.result < sxOcsp_good || Text(answer) == expected) << i << ": " << Text(answer);
      }
      EXPECT_EQ(sxOcsp_notDecoded, sxOcsp_Judge(sound.data(), i, question).result) << i;
    }
    EXPECT_LT(sound.size() * 3 - 12, static_cast<size_t>(numRefused)) << "parameters of the signature's algorithm";
  }
}

TEST(OcspRequest, IsWhatLibcryptoReads) {
  const Certs &certs = TheCerts();
  const TestCert longNumber("O=Ocsp/CN=long", &certs.issuer, {.serial = "00ff02030405060708090a0b0c0d0e0f1011121314"});
  const sxOcspSubject subjects[] = {{longNumber.Get(), certs.issuer.Get()}, {certs.leaf.Get(), certs.issuer.Get()}};
  for (const int digest : {sx_md_sha1, sx_md_sha256}) {
    for (const size_t count : {1, 2}) {
      sxOcspPolicy policy;
      policy.certIdDigest = digest;
      policy.nonce = count == 1 ? sxOcspNonce::kSend : sxOcspNonce::kOff;
      sxOcspRequest made;
      ASSERT_EQ(0, sxOcsp_MakeRequest({subjects, count}, policy, &made));
      const TestOcspRequest read = ReadOcspRequest(made.der, longNumber, certs.issuer);
      EXPECT_EQ(static_cast<int>(count), read.numCerts);
      EXPECT_EQ("0xFF02030405060708090A0B0C0D0E0F1011121314", read.serial);
      EXPECT_EQ(digest == sx_md_sha1 ? "sha1" : "sha256", read.digest);
      EXPECT_TRUE(read.isAboutFirst);
      EXPECT_EQ(made.nonce, read.nonce);
      EXPECT_EQ(count == 1 ? 32U : 0U, made.nonce.size());
    }
  }
  sxOcspRequest made;
  const sxOcspSubject wrong = {certs.leaf.Get(), certs.foreignCa.Get()}, none = {certs.leaf.Get(), nullptr};
  const std::vector<sxOcspSubject> many(kMaxOcspSubjects + 1, subjects[0]);
  EXPECT_EQ(-1, sxOcsp_MakeRequest({&wrong, 1}, {}, &made));
  EXPECT_EQ(-1, sxOcsp_MakeRequest({&none, 1}, {}, &made));
  EXPECT_EQ(-1, sxOcsp_MakeRequest({}, {}, &made));
  EXPECT_EQ(-1, sxOcsp_MakeRequest(many, {}, &made));
  EXPECT_EQ(0, sxOcsp_MakeRequest({many.data(), kMaxOcspSubjects}, {}, &made));
}

// 255 octets are the most; three octets of each group may become nine characters.
TEST(OcspRequest, GoesIntoAUrlThatIsShortEnough) {
  const Octets request(66, 0xFF);   // 88 characters, 264 octets
  EXPECT_EQ("http://o.example/a/%2F%2F8%3D", sxOcsp_GetUrl("http://o.example/a", Octets{0xFF, 0xFF}));
  EXPECT_EQ("http://o.example/%2B%2B%2B%2B", sxOcsp_GetUrl("http://o.example/", Octets{0xFB, 0xEF, 0xBE}));
  EXPECT_EQ("", sxOcsp_GetUrl("http://o.example/", request));
  EXPECT_EQ("", sxOcsp_GetUrl("http://o.example/?a=b", Octets{1}));
  const std::string host = "http://" + std::string(243, 'a');
  EXPECT_EQ(255U, sxOcsp_GetUrl(host, Octets{1, 2, 3}).size());
  EXPECT_EQ("", sxOcsp_GetUrl(host + "a", Octets{1, 2, 3}));
}

}  // namespace
