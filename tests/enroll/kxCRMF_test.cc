// Certificate request messages: those of the openssl command, changed ones, and our own.
#include "kxcert/enroll/kxCRMF.h"

#include <optional>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/enroll/crmfMessages.h"
#include "kxcert/enroll/passwordMac.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/keyFiles.h"
#include "support/rows.h"
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

sxASN_SubjectPublicKeyInfo *NewSpki(const std::string &key) {
  sxCertTemplate holder;
  EXPECT_EQ(0, holder.SetPubKey(TestKey(key).get()));
  return new sxASN_SubjectPublicKeyInfo(*holder.Tree().publicKey);
}

kxBinBuf Buf(const std::string &text) { return kxBinBuf(text.data(), static_cast<unsigned int>(text.size())); }

struct Change {
  sxASN_CertReqMsg &msg;
  sxASN_CertTemplate &Wanted() const { return *msg.certReq->certTemplate; }
  sxASN_POPOSigningKey &Pop() const { return *msg.popo->signature(); }
  sxASN_AlgorithmIdentifier &Algorithm() const { return *Pop().algorithmIdentifier; }
  sxASN_PKMACValue &Mac() const { return *Pop().poposkInput->authInfo->publicKeyMAC(); }
  sxASN_PBMParameter &MacParameters() const {
    return *static_cast<sxASN_PBMParameter *>(Mac().algId->parameters->Value());
  }
  template <class T>
  static void Drop(T *&slot, T *by = nullptr) {
    delete slot;
    slot = by;
  }
};

// One thing each, of a message that is good without it.
const std::map<std::string, std::function<void(const Change &)>> kChanges = {
    {"nothing", [](const Change &) {}},
    {"control without octets",
     [](const Change &c) {
       auto *const controls = c.msg.certReq->controls = new sxASN_Controls;
       controls->Append()->type = new sxAsnOid(sxASN_id_regCtrl_oldCertID);
       (*controls->begin()).value = new sxAsnAny(sxASN_id_regCtrl_oldCertID, new sxAsnRawAny);
     }},
    {"no request", [](const Change &c) { c.Drop(c.msg.certReq); }},
    {"no template", [](const Change &c) { c.Drop(c.msg.certReq->certTemplate); }},
    {"no proof", [](const Change &c) { c.Drop(c.msg.popo); }},
    {"empty proof", [](const Change &c) { c.Drop(c.msg.popo, new sxASN_ProofOfPossession); }},
    {"verified by an RA", [](const Change &c) { c.msg.popo->Set_raVerified(sxAsnNull()); }},
    {"no algorithm", [](const Change &c) { c.Drop(c.Pop().algorithmIdentifier); }},
    {"algorithm without identifier", [](const Change &c) { c.Drop(c.Algorithm().algorithm); }},
    {"ECDSA", [](const Change &c) { *c.Algorithm().algorithm = sxASN_sha256WithECDSAEncryption; }},
    {"DSA", [](const Change &c) { *c.Algorithm().algorithm = sxASN_dsa; }},
    {"RSA without digest", [](const Change &c) { *c.Algorithm().algorithm = sxASN_rsaEncryption; }},
    {"parameters", [](const Change &c) { c.Algorithm().parameters->SetValue(new sxAsnInt(1)); }},
    {"no parameters", [](const Change &c) { c.Drop(c.Algorithm().parameters); }},
    {"no key", [](const Change &c) { c.Drop(c.Wanted().publicKey); }},
    {"broken key", [](const Change &c) { c.Wanted().publicKey->subjectPublicKey->Set(nullptr, 0); }},
    {"EC key", [](const Change &c) { c.Drop(c.Wanted().publicKey, NewSpki("prime256v1")); }},
    {"other key", [](const Change &c) { c.Drop(c.Wanted().publicKey, NewSpki("rsa3072")); }},
    {"other digest", [](const Change &c) { *c.Algorithm().algorithm = sxASN_sha384WithRSAEncryption; }},
    {"no signature", [](const Change &c) { c.Pop().signature->Set(0); }},
    {"seven more bits", [](const Change &c) { c.Pop().signature->Concat(sxAsnBits(7)); }},
    {"other number", [](const Change &c) { c.msg.certReq->certReqId->Set(1); }},
    {"a subject for no key", [](const Change &c) {
       c.Drop(c.Wanted().publicKey);
       c.Drop(c.Wanted().subject, new sxASN_RDNSequence(*sxDN("CN=other").GetName()));
     }},
    {"a subject", [](const Change &c) { c.Drop(c.Wanted().subject, new sxASN_RDNSequence(*sxDN("CN=other").GetName())); }},
    {"no subject", [](const Change &c) { c.Drop(c.Wanted().subject); }},
    {"other key in the input", [](const Change &c) { c.Drop(c.Pop().poposkInput->publicKey, NewSpki("rsa3072")); }},
    {"sender", [](const Change &c) { c.Pop().poposkInput->authInfo->Set_sender(sxASN_GeneralName()); }},
    {"other MAC algorithm", [](const Change &c) { *c.Mac().algId->algorithm = sxASN_hmac_sha1; }},
    {"short MAC", [](const Change &c) { c.Mac().value->Set(152); }},
    {"too many rounds", [](const Change &c) { c.MacParameters().iterationCount->Set(kMaxPbmIterations + 1); }},
    {"longer digest", [](const Change &c) { *c.MacParameters().owf->algorithm = sxASN_sha256; }},
    {"other MAC", [](const Change &c) { c.MacParameters().iterationCount->Set(999); }},
};

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
  if (name == "public") return PublicPart(*TestKey("rsa2048"));
  return TestKey(name);
}

// "key digest [key=...] [subject=...] [password=...]"
struct Asked {
  explicit Asked(Words words) {
    const std::string templateKey = Take(words, "key=", words.at(0)), subject = Take(words, "subject=");
    const std::string secret = Take(words, "password=");
    key = SigningKey(words.at(0));
    md = static_cast<sx_md_type>(std::stoi(words.at(1)));
    sxCertTemplate wanted;
    const sxDN name(subject.empty() ? nullptr : subject.c_str());
    wanted.SetSubject(&name);
    if (templateKey != "absent") wanted.SetPubKey(TestKey(templateKey).get());
    crmf = kxCRMF(7, wanted);
    if (!secret.empty()) password = Buf(secret);
  }
  const kxBinBuf *Password() const { return password ? &*password : nullptr; }

  kxCRMF crmf;
  PubKeyRef key;
  sx_md_type md = sx_md_unknown;
  std::optional<kxBinBuf> password;
};

std::string Make(const CaseRow &row) {
  Asked asked(Split(row[1]));
  kxBinBuf der;
  const int rc = asked.crmf.DerEncode(asked.md, asked.key.get(), der, asked.Password());
  EXPECT_EQ(rc != 0, der.IsEmpty());
  if (rc != 0) return std::to_string(rc);
  return "0, judged " + Judged(Octets(der.Data(), der.Data() + der.Len()));
}

std::string ChangeAndJudge(sxASN_CertReqMsg &msg, const std::string &change) {
  kChanges.at(change)({msg});
  kxCRMF crmf;
  sxString text;
  const int rc = crmf.Set(msg, text);
  return Judged(crmf, rc, text);
}

TEST(kxCRMF, JudgesAndMakesMessages) {
  ExpectRows("enroll/requests.txt", 3, {
      {"sample", [](const CaseRow &row) {
         std::string carrier;
         const Octets der = Message(row[1], &carrier);
         return carrier + " " + Judged(der);
       }},
      {"octets", [](const CaseRow &row) { return Judged(CaseOctets(row[1])); }},
      {"find", [](const CaseRow &row) {
         const Octets der = CaseOctets(row[1]);
         const kxCrmfMessages found(der.data(), LenOf(der));
         return std::string(found.Carrier()) + std::to_string(found.Count()) + found.Error();
       }},
      {"changed", [](const CaseRow &row) {
         const Octets der = Message("ir");
         sxASN_CertReqMsg msg;
         EXPECT_EQ(0, sxASN_DecodeBuf(msg, Chars(der), LenOf(der)));
         return ChangeAndJudge(msg, row[1]);
       }},
      {"changed input", [](const CaseRow &row) {
         Asked asked(Split("rsa2048 2 password=secret"));
         sxASN_CertReqMsg msg;
         EXPECT_EQ(0, asked.crmf.Prepare_sxASN_CertReqMsg(asked.md, asked.key.get(), msg, asked.Password()));
         return ChangeAndJudge(msg, row[1]);
       }},
      {"make", Make},
      {"status", [](const CaseRow &row) {
         const int status = std::stoi(row[1]);
         return CrmfStat2string(status) + (" " + std::to_string(CRMFstatus2CMCfailInfo(status)));
       }},
  });
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

TEST(kxCRMF, ReadsWhatTheCommandAskedFor) {
  const Octets der = Message("kur"), old = ReadPem(std::string(KXCERT_TEST_DATA) + "/enroll/old.pem");
  kxCRMF crmf;
  sxString text;
  ASSERT_EQ(0, crmf.DerDecode(der.data(), LenOf(der), text));
  sxCert *const oldCert = sxCert_Decode(old.data(), LenOf(old));
  ASSERT_NE(nullptr, oldCert);
  const auto *const control = dynamic_cast<const kxOldCertId *>(crmf.Controls().Find(sxASN_id_regCtrl_oldCertID));
  ASSERT_NE(nullptr, control);
  EXPECT_TRUE(control->Issuer().GetDN()->Equal(*oldCert->Issuer()));
  EXPECT_TRUE(control->SerialNum()->intEquiv(*oldCert->SerialNum()));
  EXPECT_TRUE(crmf.CertTemplate().Subject()->Equal(*oldCert->Subject()));
  EXPECT_EQ(1, sxPubKey_Equal(crmf.CertTemplate().PubKey(), oldCert->PubKey()));
  // Ours has the same control, octet by octet, and so has a copy.
  kxCRMF ours(0, crmf.CertTemplate());
  EXPECT_EQ(0, ours.AddOldCertIdControl(oldCert));
  ours = kxCRMF(ours);
  const std::unique_ptr<sxASN_Controls> theirs(crmf.Controls().NewTree()), own(ours.Controls().NewTree());
  EXPECT_EQ(EncodeHex(*theirs), EncodeHex(*own));
  sxCert_Free(oldCert);
  LogCapture log;
  EXPECT_EQ(-1, ours.AddOldCertIdControl(nullptr));
  EXPECT_EQ("kxCRMF::AddOldCertIdControl: Bad old certificate. Cannot add oldCertId control.", Joined(log));
  kxBinBuf none;
  EXPECT_EQ(-1, kxCRMF().DerEncode(sx_md_sha1, TestKey("rsa2048").get(), none));
  EXPECT_TRUE(log.Has("kxCRMF - is not ok, crmf status - CRMF STATUS UnInitialized.. Operation failed."));
  log.Clear();
  crmf.Herror();
  EXPECT_TRUE(log.Has("Certificate Request Message:\nrequest ID - 0\nsignature:\n"));
  EXPECT_TRUE(log.Has("CRMF status - CRMF STATUS SUCCESS.\n"));
}

TEST(kxCRMF, TellsThePasswordOfItsMac) {
  Asked asked(Split("rsa2048 2 password=secret"));
  kxBinBuf der, again;
  ASSERT_EQ(0, asked.crmf.DerEncode(asked.md, asked.key.get(), der, asked.Password()));
  ASSERT_EQ(0, asked.crmf.DerEncode(asked.md, asked.key.get(), again, asked.Password()));
  EXPECT_NE(der, again) << "the salt is new each time";
  kxCRMF crmf;
  sxString text;
  ASSERT_EQ(0, crmf.DerDecode(der.Data(), static_cast<int>(der.Len()), text));
  EXPECT_EQ(0, crmf.VerifyPasswordMac(Buf("secret")));
  EXPECT_EQ(-1, crmf.VerifyPasswordMac(Buf("secreT")));
  EXPECT_EQ(-1, crmf.VerifyPasswordMac(kxBinBuf()));
  EXPECT_EQ(0, crmf.VerifySig(crmf.Signature().Data(), static_cast<int>(crmf.Signature().Len())));
  EXPECT_EQ(kxCRMF_popFailed, crmf.VerifySig(nullptr, 0));
  const Octets signedRequest = Message("ir");
  ASSERT_EQ(0, crmf.DerDecode(signedRequest.data(), LenOf(signedRequest), text));
  EXPECT_FALSE(crmf.HasPasswordMac());
  EXPECT_EQ(-1, crmf.VerifyPasswordMac(Buf("secret")));
  EXPECT_EQ(kxCRMF_uninitialized, kxCRMF().VerifySig(der.Data(), static_cast<int>(der.Len())));
}

// An EC key signs the DigestInfo, and verifies what it is given.
TEST(kxCRMF, SignsWithEcKeysAsTheyDo) {
  Asked asked(Split("prime256v1 2 subject=CN=asker"));
  sxASN_CertReqMsg msg;
  ASSERT_EQ(0, asked.crmf.Prepare_sxASN_CertReqMsg(asked.md, asked.key.get(), msg));
  EXPECT_EQ(nullptr, Change{msg}.Algorithm().parameters);
  kxBinBuf der, digestInfo;
  unsigned char digest[20];
  ASSERT_EQ(0, sxASN_EncodeBuf(*msg.certReq, der, 1));
  ASSERT_EQ(0, kx_md_hashbuf(sx_md_sha1, der.Data(), der.Len(), digest, sizeof digest));
  ASSERT_EQ(0, kxPKCS1DigestInfo(digest, sizeof digest, sx_md_sha1, digestInfo));
  const sxAsnBits &signature = *Change{msg}.Pop().signature;
  EXPECT_EQ(0, asked.key->Verify(sxPKop_raw, sx_md_sha1, digestInfo.Data(), static_cast<int>(digestInfo.Len()),
                                 signature.Data(), signature.Len()));
}

TEST(kxControlsList, KeepsEveryKind) {
  kxControlsList list;
  auto *const status = new kxCMCStatusInfo(2, CRMFstatus2CMCfailInfo(kxCRMF_popFailed), "no\n");
  status->AddBodyPart(5);
  list.Add(sxASN_id_cmc_cMCStatusInfo, status);
  list.Add(sxASN_id_cmc_identification, new kxCMCIdentification("asker"));
  list.Add(sxASN_id_cmc_identityProof, new kxCMCIdentProof(Buf("proof")));
  list.Add(sxASN_id_regCtrl_oldCertID, new kxOtherControl(sxAsnInt(1)));  // malformed: stays what it is
  list.Add(sxASN_sha1, nullptr);
  list += list;
  const std::unique_ptr<sxASN_Controls> tree(list.NewTree());
  sxASN_Controls decoded;
  ASSERT_EQ(0, DecodeHex(EncodeHex(*tree).c_str(), decoded));
  kxControlsList read;
  read.Set(&decoded);
  read = static_cast<const kxControlsList &>(read);
  const kxControlsList moved(std::move(read));
  SxStream before, after;
  list.Sprint(&before, 1);
  moved.Sprint(&after, 1);
  EXPECT_EQ(before.Text(), after.Text());
  EXPECT_TRUE(OnOneLine(after.Text()).starts_with(
      ">Control 1.3.6.1.5.5.7.7.1: / >>CMC Status: 2, fail info 9, no. / >Control 1.3.6.1.5.5.7.7.2: / "
      ">>Identification: asker / >Control 1.3.6.1.5.5.7.7.3: / >>Identity Proof: / >>70 72 6f 6f 66  / "));
  EXPECT_EQ("asker", dynamic_cast<const kxCMCIdentification &>(*moved.Find(sxASN_id_cmc_identification)).Name());
  EXPECT_EQ(nullptr, moved.Find(sxASN_sha1));
  int count = 0;
  for (const kxControlsList::Item *item = moved.First(); item != nullptr; item = item->next) ++count;
  EXPECT_EQ(8, count);
  EXPECT_TRUE(kxControlsList().IsEmpty());
}

}  // namespace
