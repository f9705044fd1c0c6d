// Certification requests, read and made, with the openssl command on the other side.
#include "kxcert/cert/sxCertRequest.h"

#include <sstream>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "platform/owned.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/keyFiles.h"
#include "support/printed.h"
#include "support/runCommand.h"
#include "support/script.h"
#include "support/testPki.h"

namespace {

using RequestRef = sxOwned<sxCertRequest, sxCertRequest_Free>;

std::string TextOf(const sxCertRequest &request) { return OnOneLine(Sprinted(request, 0)); }
std::string PasswordOf(const sxCertRequest &request) {
  char text[64] = "";
  return request.ChallengePassword(text, sizeof text) == 0 ? text : "-";
}
Octets DerOf(const sxCertRequest &request) { return Octets(request.GetBuf(), request.GetBuf() + request.BufLen()); }

// "1.2.3 0500", or "-" for none.
template <class Take>
void ForTyped(const std::string &cell, const Take &take) {
  std::istringstream words(cell);
  std::string type, value;
  words >> type;
  std::getline(words, value);
  if (type != "-") take(*OidOf(type.c_str()), CaseOctets(value));
}

// A key, what else the command is told, then what is read of it.
TEST(sxCertRequest, ReadsWhatOpensslMakes) {
  for (const CaseRow &row : CaseRows("cert/requests.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const TempDir dir;
    const std::string command = "openssl req -new -key " + KeyFile(row[0] + ".pem") + " -config " KXCERT_TEST_DATA
                                "/cert/requests.cnf " + row[1];
    for (const char *const form : {" -outform DER", "", " -newhdr", " -text", " | sed '/^-/s/$/\\r/'"}) {
      const Octets octets = Text(RunCommand(command + form));
      const RequestRef request(sxCertRequest_Decode(octets.data(), LenOf(octets)));
      ASSERT_NE(nullptr, request) << form;
      EXPECT_EQ(row[2], TextOf(*request)) << form;
      EXPECT_EQ(row[3], PasswordOf(*request)) << form;
      EXPECT_EQ(0, request->VerifySig());
      EXPECT_EQ(1, sxPubKey_Equal(request->PubKey(), TestKey(row[0]).get()));
      EXPECT_NE(0, request->VerifySig(TestKey("rsa1024").get()));
      // What it asks for, asked once more.
      sxCertTemplate wanted, again;
      ASSERT_EQ(0, wanted.Set(request.get()));
      sxCertRequest *made = nullptr;
      ASSERT_EQ(sxIssue_ok, sxMakeRequest(wanted, nullptr, TestKey(row[0]).get(), {}, &made));
      const RequestRef owned(made);
      ASSERT_EQ(0, again.Set(made));
      sxASN_CertTemplate first(wanted.Tree()), second(again.Tree());
      EXPECT_EQ(EncodeHex(first), EncodeHex(second));
    }
  }
}

TEST(sxCertRequest, OpensslReadsWhatIsMade) {
  for (const CaseRow &row : CaseRows("cert/requests-made.txt", 7)) {
    SCOPED_TRACE(testing::PrintToString(row));
    sxCertTemplate wanted;
    sxRequestAttributes attributes;
    const sxDN subject(row[2] == "-" ? nullptr : row[2].c_str());
    wanted.SetSubject(&subject);
    ForTyped(row[3], [&](const sxAsnOid &type, const Octets &value) {
      EXPECT_EQ(0, wanted.SetExtension(type, true, value.data(), LenOf(value)));
    });
    if (row[4] != "-") { EXPECT_EQ(0, attributes.SetChallengePassword(Plain(row[4]).c_str())); }
    ForTyped(row[5], [&](const sxAsnOid &type, const Octets &value) {
      EXPECT_EQ(0, attributes.Add(type, value.data(), LenOf(value)));
    });
    const PubKeyRef key = TestKey(row[0]);
    sxSignOptions options;
    options.md = static_cast<sx_md_type>(std::stoi(row[1]));
    sxCertRequest *made = nullptr;
    ASSERT_EQ(sxIssue_ok, sxMakeRequest(wanted, &attributes, key.get(), options, &made));
    const RequestRef request(made);
    EXPECT_EQ(row[4] == "-" ? "-" : Plain(row[4]), PasswordOf(*request));
    const TempDir dir;
    const std::string path = dir.Write("request.pem", Pem(DerOf(*request), "CERTIFICATE REQUEST"));
    EXPECT_EQ(row[6], OnOneLine(RunCommand("openssl req -verify -noout -text -nameopt RFC2253 -in " + path +
                                           " 2>&1 | sed -nE 's/^ *//; /verify OK|Subject:|Signature Algorithm|"
                                           "X509v3|DNS:|challengePassword|unstructuredName/p'")));
    const std::string again = "openssl req -outform DER -in " + path + " | cmp - ";
    EXPECT_EQ("", RunCommand(again + dir.Write("request.der", StringOf(DerOf(*request)))));
  }
}

// Requests whose octets are changed by hand.
TEST(sxCertRequest, DoesWhatTheStepsSay) {
  std::vector<RequestRef> made;
  const auto add = [&made](sxCertRequest *request) { return made.emplace_back(request).get(); };
  Script()
      .OnCopiesOf<sxRequestAttributes>()
      .On("Request", [&add](const Octets &der) {
        return add(new sxCertRequest(der.data(), static_cast<unsigned>(der.size())));
      })
      .On("Template", [] { return sxCertTemplate(); })
      .On("Attributes", [] { return sxRequestAttributes(); })
      .On("subject", [](sxCertTemplate &t, const char *text) {
        const sxDN name(text);
        t.SetSubject(&name);
      })
      .On("key", [](sxCertTemplate &t, const char *name) { return t.SetPubKey(TestKey(name).get()); })
      .On("ext", [](sxCertTemplate &t, const char *oid, const Octets &value) {
        return t.SetExtension(*OidOf(oid), false, value.data(), LenOf(value));
      })
      .On("put", [](sxRequestAttributes &a, const char *oid, const Octets &value) {
        return a.Add(*OidOf(oid), value.data(), LenOf(value));
      })
      .On("password", &sxRequestAttributes::SetChallengePassword)
      .On("count", &sxRequestAttributes::Count)
      .On("Make", [&add](const sxCertTemplate &t, const sxRequestAttributes *a, const char *key) {
        sxCertRequest *request = nullptr;
        EXPECT_EQ(sxIssue_ok, sxMakeRequest(t, a, TestKey(key).get(), {}, &request));
        return add(request);
      })
      .On("make", [](const sxCertTemplate &t, const sxRequestAttributes *a, const char *key, int md) {
        sxSignOptions options;
        options.md = static_cast<sx_md_type>(md);
        sxCertRequest *request = nullptr;
        const sxIssueStatus status = sxMakeRequest(t, a, TestKey(key).get(), options, &request);
        EXPECT_EQ(nullptr, request);
        return std::string(sxIssueStatusText(status));
      })
      .On("Changed", [&add](const sxCertRequest &request, const Octets &from, const Octets &to) {
        const Octets der = Replaced(DerOf(request), from, to);
        EXPECT_NE(DerOf(request), der);
        return add(new sxCertRequest(der.data(), static_cast<unsigned>(der.size())));
      })
      .On("Indefinite", [&add](const sxCertRequest &request) {   // the same in BER
        const Octets der = DerOf(request), outer = Indefinite(0x30, Octets(der.begin() + 4, der.end()));
        return add(new sxCertRequest(outer.data(), static_cast<unsigned>(outer.size())));
      })
      .On("text", TextOf)
      .On("error", [](const sxCertRequest &request) { return std::string(request.Error().getstr()); })
      .On("verifies", [](const sxCertRequest &request) { return request.VerifySig() == 0; })
      .On("passwordOf", PasswordOf)
      .On("fits", [](const sxCertRequest &request, int len) {
        char text[64] = "untouched";
        return request.ChallengePassword(text, len) == 0 ? std::string(text) : std::string(text) + " still";
      })
      .On("attributes", [](const sxCertRequest &request) {
        std::string all;
        for (int i = 0; i < request.CountAttributes(); ++i) {
          char oid[64];
          request.AttributeType(i)->GetStr(oid, sizeof oid);
          all += (i > 0 ? "; " : "") + std::string(oid);
          for (int number = 0; number < request.CountAttributeValues(i); ++number) {
            int len = 0;
            const unsigned char *const value = request.AttributeValue(i, number, &len);
            all += " " + EncodeHex(value, static_cast<size_t>(len));
          }
        }
        int len = 0;
        EXPECT_EQ(nullptr, request.AttributeType(request.CountAttributes()));
        EXPECT_EQ(nullptr, request.AttributeValue(0, -1, &len));
        return all;
      })
      .Run("cert/sxCertRequest.steps");
}

// Wherever an octet changes, nobody proves to have the key any longer.
TEST(sxCertRequest, NoChangeOfAnOctetIsSignedStill) {
  const Octets der = Text(CaseData("enroll/request.der"));
  const sxCertRequest sound(der.data(), static_cast<unsigned>(der.size()));
  ASSERT_EQ(0, sound.VerifySig());
  for (size_t i = 0; i < der.size(); ++i) {
    Octets other = der;
    other[i] ^= 1;
    const sxCertRequest changed(other.data(), static_cast<unsigned>(other.size()));
    if (changed.OK() == 1 && changed.VerifySig() == 0) { EXPECT_EQ(TextOf(sound), TextOf(changed)) << i; }
    const sxCertRequest shorter(der.data(), static_cast<unsigned>(i));
    EXPECT_EQ(0, shorter.OK()) << i;
  }
}

}  // namespace
