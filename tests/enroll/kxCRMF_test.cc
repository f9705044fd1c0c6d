// Certificate request messages: those of the openssl command, changed ones, and our own.
#include "kxcert/enroll/kxCRMF.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/enroll/crmfMessages.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/printed.h"
#include "support/script.h"
#include "support/words.h"

namespace {

// The only message in a sample, and what carried it.
Octets Message(const std::string &sample, std::string *carrier = nullptr) {
  const Octets all = Text(CaseData("enroll/" + sample + ".der"));
  const kxCrmfMessages found(all.data(), LenOf(all));
  EXPECT_EQ(1, found.Count()) << found.Error();
  if (carrier != nullptr) *carrier = found.Carrier();
  return Octets(found.Get(0).begin(), found.Get(0).end());
}

std::string Judged(const kxCRMF &crmf, int rc, const sxString &text) {
  EXPECT_EQ(rc == 0, crmf.Status() == 0);
  return std::to_string(crmf.Status()) + (rc == 0 ? "" : " ") + text.getstr();
}

std::string Judged(const Octets &der) {
  kxCRMF crmf;
  sxString text;
  const int rc = crmf.DerDecode(der.data(), LenOf(der), text);
  return Judged(crmf, rc, text);
}

std::string Judged(const sxASN_CertReqMsg &msg) {
  kxCRMF crmf;
  sxString text;
  const int rc = crmf.Set(msg, text);
  return Judged(crmf, rc, text);
}

kxBinBuf Buf(const std::string &text) { return kxBinBuf(text.data(), static_cast<unsigned int>(text.size())); }
Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }

// What a CHOICE or an ANY holds.
sxAsnType *Held(sxAsnType *value) {
  if (const auto *const choice = dynamic_cast<const sxAsnChoice *>(value)) return Held(choice->Value());
  if (const auto *const any = dynamic_cast<const sxAsnAny *>(value)) return any->Value();
  return value;
}

sxAsnType *NewValue(const sxAsnTypeInfo &type, const std::string &octets) {
  if (octets == "-") return nullptr;
  std::unique_ptr<sxAsnType> value(type.create());
  if (octets.starts_with('@')) {
    sxCertTemplate holder;
    EXPECT_EQ(0, holder.SetPubKey(TestKey(octets.substr(1)).get()));
    value->CopyFrom(*holder.Tree().publicKey);
  } else if (!octets.empty()) {
    EXPECT_EQ(0, DecodeHex(octets.c_str(), *value)) << octets;
  }
  return value.release();
}

// "certReq.certTemplate=30{}": an element, and its octets; "-" none, "" one without a value, "@rsa3072" that key.
void Change(sxAsnType &msg, const std::string &change) {
  const size_t equals = change.find('=');
  std::istringstream path(change.substr(0, equals));
  sxAsnType *value = &msg;
  const sxAsnElem *elem = nullptr;
  char *slot = nullptr;
  for (std::string name; std::getline(path, name, '.');) {
    sxAsnType *const parent = Held(value);
    if (const auto *const list = dynamic_cast<const sxAsnList *>(parent)) {
      value = list->Elems()[std::stoi(name)];
      continue;
    }
    const auto elems = std::span(parent->Info()->elems, static_cast<size_t>(parent->Info()->numElems));
    const auto found = std::ranges::find(elems, name, &sxAsnElem::name);
    if (found == elems.end()) throw std::runtime_error(change + ": no " + name);
    elem = &*found;
    slot = reinterpret_cast<char *>(parent) + elem->offset;
    std::memcpy(&value, slot, sizeof value);
  }
  delete value;
  value = NewValue(*elem->type, change.substr(equals + 1));
  std::memcpy(slot, &value, sizeof value);
}

// Of a message that is good without the changes.
std::string ChangeAndJudge(sxASN_CertReqMsg msg, const Words &changes) {
  for (const std::string &change : changes) Change(msg, change);
  return Judged(msg);
}

sxASN_CertReqMsg Sample(const std::string &name) {
  sxASN_CertReqMsg msg;
  EXPECT_EQ(0, DecodeOctets(Message(name), msg));
  return msg;
}

// A key of another kind, or without what signing needs.
class FakeKey : public sxPubKey_imp_vc {
 public:
  explicit FakeKey(int kind) : m_kind(kind) {}
  int algorithm() const override { return m_kind; }
  int OK() const override { return 1; }
  int Flags() const override { return kKeyFlagsPublic | kKeyFlagsPrivate; }
  const char *ClassName() const override { return "FakeKey"; }

 private:
  const int m_kind;
};

PubKeyRef SigningKey(const std::string &name) {
  if (name == "none") return nullptr;
  if (name == "dsa") return PubKeyRef(new sxPubKey(new FakeKey(sxPK_DSA)));
  if (name == "failing") return PubKeyRef(new sxPubKey(new FakeKey(sxPK_RSA)));
  return name == "public" ? PublicPart(*TestKey("rsa2048")) : TestKey(name);
}

// "key digest [key=...] [subject=...] [password=...]"
struct Asked {
  explicit Asked(Words words) {
    const std::string templateKey = Take(words, "key=", words.at(0)), subject = Take(words, "subject=");
    if (const Words secret = TakeAll(words, "password="); !secret.empty()) password = Buf(secret[0]);
    key = SigningKey(words.at(0));
    md = static_cast<sx_md_type>(std::stoi(words.at(1)));
    sxCertTemplate wanted;
    const sxDN name(subject.empty() ? nullptr : subject.c_str());
    wanted.SetSubject(&name);
    if (templateKey != "absent") wanted.SetPubKey(TestKey(templateKey).get());
    crmf = kxCRMF(7, wanted);
  }
  int Encode(kxBinBuf &der) { return crmf.DerEncode(md, key.get(), der, password ? &*password : nullptr); }
  sxASN_CertReqMsg Prepared() {
    sxASN_CertReqMsg msg;
    EXPECT_EQ(0, crmf.Prepare_sxASN_CertReqMsg(md, key.get(), msg, password ? &*password : nullptr));
    return msg;
  }

  kxCRMF crmf;
  PubKeyRef key;
  sx_md_type md = sx_md_unknown;
  std::optional<kxBinBuf> password;
};

std::string Make(const Words &asked) {
  kxBinBuf der;
  const int rc = Asked(asked).Encode(der);
  EXPECT_EQ(rc != 0, der.IsEmpty());
  return rc != 0 ? std::to_string(rc) : "0, judged " + Judged(OctetsOf(der));
}

// Copied and moved they are the same, and come out as they came.
std::string Controls(const std::string &octets) {
  sxASN_Controls tree;
  EXPECT_EQ(0, DecodeHex(octets.c_str(), tree));
  kxControlsList read;
  read.Set(&tree);
  read = static_cast<const kxControlsList &>(read);
  const kxControlsList moved(std::move(read));
  EXPECT_EQ(EncodeHex(tree), EncodeHex(*std::unique_ptr<sxASN_Controls>(moved.NewTree())));
  return OnOneLine(Sprinted(moved, 1));
}

kxCRMF Read(const Octets &der) {
  kxCRMF crmf;
  sxString text;
  EXPECT_EQ(0, crmf.DerDecode(der.data(), LenOf(der), text)) << text.getstr();
  return crmf;
}

TEST(kxCRMF, JudgesAndMakesMessages) {
  const Octets old = ReadPem(std::string(KXCERT_TEST_DATA) + "/enroll/old.pem");
  const std::unique_ptr<sxCert, decltype(&sxCert_Free)> oldCert(sxCert_Decode(old.data(), LenOf(old)), sxCert_Free);
  Script()
      .OnCopiesOf<kxCRMF>()
      .On("sample", [](const std::string &sample) {
        std::string carrier;
        const Octets der = Message(sample, &carrier);
        return carrier + " " + Judged(der);
      })
      .On("octets", [](const Octets &der) { return Judged(der); })
      .On("find", [](const Octets &der) {
        const kxCrmfMessages found(der.data(), LenOf(der));
        return std::string(found.Carrier()) + std::to_string(found.Count()) + found.Error();
      })
      .On("changed", [](const Words &changes) { return ChangeAndJudge(Sample("ir"), changes); })
      .On("changedInput", [](const Words &changes) {
        return ChangeAndJudge(Asked({"rsa2048", "2", "password=secret"}).Prepared(), changes);
      })
      .On("spareBits", [](int numBits) {
        sxASN_CertReqMsg msg = Sample("ir");
        msg.popo->signature()->signature->Concat(sxAsnBits(numBits));
        return Judged(msg);
      })
      .On("make", Make)
      .On("controls", Controls)
      .On("status", [](int status) {
        return CrmfStat2string(status) + (" " + std::to_string(CRMFstatus2CMCfailInfo(status)));
      })
      .On("None", [] { return kxCRMF(); })
      .On("Sample", [](const std::string &sample) { return Read(Message(sample)); })
      .On("Made", [](const Words &asked) {
        kxBinBuf der, again;
        EXPECT_EQ(0, Asked(asked).Encode(der));
        EXPECT_EQ(0, Asked(asked).Encode(again));
        EXPECT_NE(der, again) << "the salt is new each time";
        return Read(OctetsOf(der));
      })
      .On("Like", [](const kxCRMF &other) { return kxCRMF(0, other.CertTemplate()); })
      .On("replaceOld", [&oldCert](kxCRMF &crmf) { return crmf.AddOldCertIdControl(oldCert.get()); })
      .On("replaceNone", [](kxCRMF &crmf) { return crmf.AddOldCertIdControl(nullptr); })
      .On("controlsOf", [](const kxCRMF &crmf) {
        return EncodeHex(*std::unique_ptr<sxASN_Controls>(crmf.Controls().NewTree()));
      })
      .On("encode", [](kxCRMF &crmf) {
        kxBinBuf der;
        return crmf.DerEncode(sx_md_sha1, TestKey("rsa2048").get(), der);
      })
      .On("herror", &kxCRMF::Herror)
      .On("verifyPassword", [](const kxCRMF &crmf, const std::string &secret) {
        return crmf.VerifyPasswordMac(Buf(secret));
      })
      .On("hasPasswordMac", &kxCRMF::HasPasswordMac)
      .On("verifySigOf", [](const kxCRMF &crmf, const kxCRMF &other) {
        return crmf.VerifySig(other.Signature().Data(), static_cast<int>(other.Signature().Len()));
      })
      .Run("enroll/requests.steps");
}

// The whole message, not only what is signed: a change that encoding would undo is refused as well.
TEST(kxCRMF, RefusesEveryMessageWithAnOctetChanged) {
  for (const char *sample : {"ir", "kur"}) {
    const Octets der = Message(sample);
    for (size_t i = 0; i < der.size(); ++i) {
      for (const int flip : {0x01, 0x80}) {
        Octets changed = der;
        changed[i] = static_cast<unsigned char>(changed[i] ^ flip);
        EXPECT_NE("0", Judged(changed)) << sample << " " << i << " " << flip;
      }
    }
  }
}

// An EC key signs the DigestInfo, and verifies what it is given.
TEST(kxCRMF, SignsWithEcKeysAsTheyDo) {
  Asked asked({"prime256v1", "2", "subject=CN=asker"});
  const sxASN_CertReqMsg msg = asked.Prepared();
  const sxASN_POPOSigningKey &pop = *msg.popo->signature();
  EXPECT_EQ(nullptr, pop.algorithmIdentifier->parameters);
  kxBinBuf der, info;
  unsigned char digest[20];
  ASSERT_EQ(0, sxASN_EncodeBuf(*msg.certReq, der, 1));
  ASSERT_EQ(0, kx_md_hashbuf(sx_md_sha1, der.Data(), der.Len(), digest, sizeof digest));
  ASSERT_EQ(0, kxPKCS1DigestInfo(digest, sizeof digest, sx_md_sha1, info));
  EXPECT_EQ(0, asked.key->Verify(sxPKop_raw, sx_md_sha1, info.Data(), static_cast<int>(info.Len()),
                                 pop.signature->Data(), pop.signature->Len()));
}

// As the rows of controls are read.
TEST(kxControlsList, EncodesEveryKind) {
  kxControlsList list;
  auto *const status = new kxCMCStatusInfo(2, CRMFstatus2CMCfailInfo(kxCRMF_popFailed), "no\n");
  status->AddBodyPart(5);
  list.Add(sxASN_id_cmc_cMCStatusInfo, status);
  list.Add(sxASN_id_cmc_identification, new kxCMCIdentification("asker"));
  list.Add(sxASN_id_cmc_identityProof, new kxCMCIdentProof(Buf("proof")));
  list.Add(sxASN_sha1, nullptr);
  list += list;
  const std::unique_ptr<sxASN_Controls> tree(list.NewTree());
  const std::string once = "30{06{2B06010505070701} 31{30{020102 30{020105} 0C{\"no\\n\"} 020109}}}"
                           "30{06{2B06010505070702} 31{0C{\"asker\"}}} 30{06{2B06010505070703} 31{04{\"proof\"}}}";
  EXPECT_EQ(EncodeHex(CaseOctets("30{" + once + once + "}")), EncodeHex(*tree));
  EXPECT_EQ("asker", dynamic_cast<const kxCMCIdentification &>(*list.Find(sxASN_id_cmc_identification)).Name());
  EXPECT_EQ(nullptr, list.Find(sxASN_sha1));
  EXPECT_TRUE(kxControlsList().IsEmpty());
}

}  // namespace
