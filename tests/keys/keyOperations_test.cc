// Operations of keys of all kinds, as rows: what they answer, write and log.
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <map>
#include <sstream>

#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/printed.h"

namespace {

// A kind that can do nothing, or exports what a test gives it.
struct BareKey : sxPubKey_imp_vc {
  explicit BareKey(std::string octets = "") : m_octets(std::move(octets)) {}
  int algorithm() const override { return 9; }
  int OK() const override { return 1; }
  int Flags() const override { return 0; }
  const char *ClassName() const override { return "BareKey"; }
  int Export(sxPK_Format format, unsigned char *out, int outLen) override {
    if (m_octets.empty()) return sxPubKey_imp_vc::Export(format, out, outLen);
    if (m_octets == "nothing") return 0;
    if (out == nullptr) return LenOf(Text(m_octets));
    if (m_octets == "broken") return kKeyOutputShort;
    m_octets.copy(reinterpret_cast<char *>(out), m_octets.size());
    return LenOf(Text(m_octets));
  }
  const std::string m_octets;
};

sxPubKey *NewKey(const std::string &name) {
  const Num three(3), eight(8);
  const sxDhParams toy("toy"), group14("Group 14 (2048 bit)");
  if (name == "null") return nullptr;
  if (name.starts_with("bare")) return new sxPubKey(new BareKey(name.substr(std::min<size_t>(name.size(), 5))));
  if (name == "no implementation") return new sxPubKey(nullptr);
  if (name == "no rsa") return new kxSRSA(sxPK_public, nullptr, 0);
  if (name == "no ec") return new kxECDSA(sxPK_public, nullptr, 0, 415);
  if (name == "no dh") return new kxSDH(sxDhParams("nobody"), 160);
  if (name == "no kept dh") return new kxDhKey(sxDhParams("nobody"), 160);
  if (name == "toy") return new kxSDH(toy, three.n, nullptr);
  if (name == "toy public") return new kxSDH(toy, nullptr, eight.n);
  if (name == "kept toy") return new kxDhKey(toy, 0);
  if (name == "group 14") return new kxSDH(group14, three.n, nullptr);
  PubKeyRef whole = TestKey(name.substr(0, name.find(' ')));
  return name.ends_with("public") ? PublicPart(*whole).release() : whole.release();
}

const std::map<int, std::string> kCodes = {
    {kKeyUnequal, "unequal"},         {kKeyLibraryFailed, "libraryFailed"}, {kKeyNotImplemented, "notImplemented"},
    {kKeyNotUsable, "notUsable"},     {kKeyBadInput, "badInput"},           {kKeyLenMismatch, "lenMismatch"},
    {kKeyOutputShort, "outputShort"}, {kKeyNoDigestInfo, "noDigestInfo"}};
std::string Named(int rc) {
  const auto found = kCodes.find(rc);
  return found != kCodes.end() ? found->second : std::to_string(rc);
}

// "null": no area, but a length; "negative": an area with the length -1.
struct Input {
  explicit Input(const std::string &text) : octets(text == "null" || text == "negative" ? Octets(20, 7) : CaseOctets(text)) {
    octets.reserve(1);
    data = text == "null" ? nullptr : octets.data();
    len = text == "negative" ? -1 : LenOf(octets);
  }
  Octets octets;
  const unsigned char *data;
  int len;
};

class Operation {
 public:
  explicit Operation(const CaseRow &row) : m_row(row), m_key(NewKey(row[0])), m_in(row[1] == "equal" ? "" : row[2]), m_words(row[1]) {
    m_words >> m_verb;
    m_asks = row[3].empty() || row[3] == "no area";
    m_room = m_asks ? 0 : std::atoi(row[3].c_str());
    m_out = Octets(static_cast<size_t>(std::max(m_room, 0)) + 1, 0xEE);
  }
  std::string Result() {
    if (m_verb == "sign" || m_verb == "verify") return Signature();
    if (m_verb == "encrypt") return Encryption();
    if (m_verb == "decrypt") return Written(sxPubKey_Decrypt(Key(), Op("digest"), m_in.data, m_in.len, Out(), m_room));
    if (m_verb == "derive") return Written(sxPubKey_Derive(Key(), Op("raw"), m_in.data, m_in.len, Out(), m_room));
    if (m_verb == "export") return Written(sxPubKey_Export(Key(), static_cast<sxPK_Format>(Number()), Out(), m_room));
    if (m_verb == "raw") return Written(static_cast<kxSDH *>(Key())->GetDHRawPublic(Out(), m_room));
    if (m_verb == "length") return Named(m_key->GetLen(static_cast<sxPK_Len_Type>(Number())));
    if (m_verb == "equal") return std::to_string(sxPubKey_Equal(Key(), PubKeyRef(NewKey(m_row[2])).get()));
    if (m_verb == "kind") return std::to_string(m_key->algorithm()) + " " + m_key->ClassName();
    if (m_verb == "flags") return std::to_string(m_key->Flags());
    if (m_verb == "usable") return std::to_string(m_key->OK());
    if (m_verb == "setup") return Named(m_key->SignSetup());
    if (m_verb == "remove") return Named(m_key->Remove());
    if (m_verb == "print") return Sprinted(*m_key, Number());
    if (m_verb == "herror") return m_key->Herror(), "";
    if (m_verb == "hash") {
      EXPECT_EQ(m_key->PublicKeyHash(), m_key->ID());
      return m_key->IdLen() == 0 ? "0" : EncodeHex(m_key->PublicKeyHash(), static_cast<size_t>(m_key->IdLen()));
    }
    return "no such operation";
  }

 private:
  sxPubKey *Key() const { return m_key.get(); }
  unsigned char *Out() { return m_asks ? nullptr : m_out.data(); }
  int Number() {
    int number = -1;
    m_words >> number;
    return number;
  }
  static sxPKop_type Op(const std::string &word) {
    const std::map<std::string, int> words = {{"digest", 0}, {"raw", 1}, {"alt", 2}, {"either", 3}};
    return static_cast<sxPKop_type>(words.contains(word) ? words.at(word) : 4);
  }
  // The count, and what was written when the row asks for octets; the area behind it is untouched.
  std::string Written(int rc) {
    EXPECT_EQ(0xEE, m_out.back());
    if (rc <= 0 || m_asks || m_row[4].find(' ') == std::string::npos) return Named(rc);
    return Named(rc) + " " + EncodeHex(m_out.data(), static_cast<size_t>(rc));
  }
  std::string Encryption() {
    const int rc = m_key->Encrypt(Op("digest"), m_in.data, m_in.len, Out(), m_room);
    Octets back(static_cast<size_t>(std::max(rc, 0)));
    if (rc <= 0 || m_asks) return Named(rc);
    const PubKeyRef whole(NewKey(m_row[0].substr(0, m_row[0].find(' '))));
    back.resize(static_cast<size_t>(std::max(0, whole->Decrypt(Op("digest"), m_out.data(), rc, back.data(), rc))));
    EXPECT_EQ(m_in.octets, back);
    return Named(rc);
  }
  std::string Signature() {
    std::string opWord;
    int md = 0;
    m_words >> opWord >> md;
    const auto op = Op(opWord);
    const auto kind = static_cast<sx_md_type>(md);
    if (m_verb == "sign") {
      const int rc = sxPubKey_Sign(Key(), op, kind, m_in.data, m_in.len, Out(), m_room);
      EXPECT_EQ(0xEE, m_out.back());
      if (rc <= 0 || m_asks) return Named(rc);
      // What an EC key signs is the DigestInfo; it verifies what it is given.
      const bool asGiven = Key()->algorithm() == sxPK_RSA || opWord == "raw" || opWord == "either";
      EXPECT_EQ(asGiven ? 0 : kKeyUnequal, Key()->Verify(op, kind, m_in.data, m_in.len, m_out.data(), rc));
      return m_row[4] == "written" ? "written" : Named(rc);
    }
    Octets sig = SignatureOf(m_row[3]);
    const int sigLen = m_row[3] == "negative" ? -1 : LenOf(sig);
    sig.reserve(1);
    const unsigned char *const octets = m_row[3] == "null" ? nullptr : sig.data();
    return Named(sxPubKey_Verify(Key(), op, kind, m_in.data, m_in.len, octets, sigLen));
  }
  // "good" is of twenty octets 07; so are "flipped" and "short", but for an octet. "of ..." is of those octets as
  // they stand. All else are the octets themselves.
  Octets SignatureOf(const std::string &what) {
    const bool isOfGiven = what.starts_with("of ");
    if (what == "null" || what == "negative") return Octets(128);
    if (!isOfGiven && what != "good" && what != "flipped" && what != "short") return CaseOctets(what);
    const PubKeyRef whole(NewKey(m_row[0].starts_with("n") ? "rsa1024" : m_row[0].substr(0, m_row[0].find(' '))));
    const Octets message = isOfGiven ? CaseOctets(what.substr(3)) : Octets(20, 7);
    const sxPKop_type op = isOfGiven || whole->algorithm() == sxPK_ECDSA ? sxPKop_raw : sxPKop_digest;
    Octets sig(static_cast<size_t>(whole->GetLen(sxPK_len_output)));
    const int len = whole->Sign(op, sx_md_sha1, message.data(), LenOf(message), sig.data(), LenOf(sig));
    sig.resize(static_cast<size_t>(what == "short" ? len - 1 : len));
    if (what == "flipped") sig[sig.size() / 2] ^= 1;
    return sig;
  }

  const CaseRow &m_row;
  const PubKeyRef m_key;
  const Input m_in;
  std::istringstream m_words;
  std::string m_verb;
  bool m_asks = false;
  int m_room = 0;
  Octets m_out;
};

TEST(KeyOperations, AnswerAndLogAsTheRowsSay) {
  const DhTable table(UsualDhGroups());
  for (const CaseRow &row : CaseRows("keys/operations.txt", 6, 5)) {
    SCOPED_TRACE(testing::PrintToString(row) + ", " + row[1]);
    Operation operation(row);
    const LogCapture log;
    EXPECT_EQ(row[4].starts_with('"') ? CaseText(row[4]) : row[4], operation.Result());
    std::string all;
    for (const std::string &line : log.Lines()) all += (all.empty() ? "" : " / ") + line;
    if (row[5] == "nothing") {
      EXPECT_EQ("", all);
    } else {
      EXPECT_NE(std::string::npos, all.find(row[5])) << all;
    }
    EXPECT_EQ(0u, ERR_peek_error());   // nothing is left to be taken for a later failure
    ERR_clear_error();
  }
}

// What keys print, and what goes to the debug log of them: their public parts, and nothing else.
TEST(KeyOperations, PrintPublicPartsOnly) {
  const DhTable table(UsualDhGroups());
  std::string all;
  for (const char *name : {"rsa1024", "rsa1024 public", "prime256v1", "prime256v1 public", "toy", "toy public", "bare abc"}) {
    const PubKeyRef key(NewKey(name));
    all += std::string("== ") + name + "\n" + Sprinted(*key, 1);
    EXPECT_EQ(Sprinted(*key, 1), Fprinted(*key, 1));
    const LogCapture log;
    key->Herror();
    for (const std::string &line : log.Lines()) all += line + "\n";
  }
  EXPECT_EQ(CaseData("keys/printed.txt"), all);
}

// PKCS #1 version 1.5 signatures are deterministic: these are the openssl command's.
TEST(KeyOperations, SignAsTheOpensslCommandDoes) {
  for (const CaseRow &row : CaseRows("keys/signatures.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const PubKeyRef key(NewKey(row[0])), publicKey = PublicPart(*key);
    const auto md = static_cast<sx_md_type>(std::stoi(row[1]));
    const Octets digest = CaseOctets(row[2]);
    Octets sig = row[3].size() == 64 ? Octets(static_cast<size_t>(key->GetLen(sxPK_len_output))) : CaseOctets(row[3]);
    if (key->algorithm() == sxPK_RSA) {
      ASSERT_EQ(LenOf(sig), key->Sign(sxPKop_digest, md, digest.data(), LenOf(digest), sig.data(), LenOf(sig)));
      unsigned char hash[32];
      kx_md_hashbuf(sx_md_sha256, sig.data(), sig.size(), hash, 32);
      EXPECT_EQ(row[3], EncodeHex(hash, 32));
    }
    EXPECT_EQ(0, publicKey->Verify(sxPKop_digest_alt, md, digest.data(), LenOf(digest), sig.data(), LenOf(sig)));
    sig[sig.size() / 2] ^= 1;
    EXPECT_NE(0, publicKey->Verify(sxPKop_digest_alt, md, digest.data(), LenOf(digest), sig.data(), LenOf(sig)));
  }
}

}  // namespace
