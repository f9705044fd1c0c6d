// Certificates that are made here, with libcrypto as the other reader and RFC 5280 stated once more.
#include "kxcert/cert/issueCert.h"

#include <openssl/x509v3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <random>
#include <set>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/keys/keyTasks.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "cert/randomSerial.h"
#include "cert/toSign.h"
#include "platform/owned.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/keyFiles.h"
#include "support/printed.h"
#include "support/script.h"

namespace {

constexpr int64_t kTime = 1893456000;   // 2030-01-01 00:00 UTC
using CertRef = sxOwned<sxCert, sxCert_Free>;
using TheirCert = sxOwned<X509, X509_free>;

TheirCert Theirs(const sxCert &cert) {
  const unsigned char *pos = cert.GetBuf();
  return TheirCert(d2i_X509(nullptr, &pos, static_cast<long>(cert.BufLen())));
}

bool Has(X509 *x, int nid) { return X509_get_ext_by_NID(x, nid, -1) >= 0; }
bool IsCritical(X509 *x, int nid) {
  const int at = X509_get_ext_by_NID(x, nid, -1);
  return at >= 0 && X509_EXTENSION_get_critical(X509_get_ext(x, at)) == 1;
}
bool IsCa(X509 *x) { return (X509_get_extension_flags(x) & EXFLAG_CA) != 0; }
bool IsUtcTo2049(const ASN1_TIME *time) {
  tm t = {};
  return ASN1_TIME_to_tm(time, &t) == 1 && (time->type == V_ASN1_UTCTIME) == (t.tm_year + 1900 < 2050);
}

struct Rule {
  const char *what;
  bool (*holds)(X509 *x);
};
constexpr Rule kRules[] = {
    {"4.1: what was read, written anew, is the same",
     [](X509 *x) {
       unsigned char *der = nullptr, *again = nullptr;
       const int len = i2d_X509(x, &der), bodyLen = i2d_re_X509_tbs(x, &again);
       const bool same = bodyLen > 0 && std::search(der, der + len, again, again + bodyLen) != der + len;
       return OPENSSL_free(der), OPENSSL_free(again), same;
     }},
    {"4.1.1.2: one algorithm inside and outside",
     [](X509 *x) { return X509_ALGOR_cmp(X509_get0_tbs_sigalg(x), [&] {
       const X509_ALGOR *outer;
       return X509_get0_signature(nullptr, &outer, x), outer;
     }()) == 0; }},
    {"4.1.2.1: version 3", [](X509 *x) { return X509_get_version(x) == 2; }},
    {"4.1.2.2: positive, 20 octets at most",
     [](X509 *x) {
       const ASN1_INTEGER *serial = X509_get0_serialNumber(x);
       return serial->type == V_ASN1_INTEGER && i2d_ASN1_INTEGER(serial, nullptr) <= 22 && serial->data[0] != 0;
     }},
    {"4.1.2.4: an issuer", [](X509 *x) { return X509_NAME_entry_count(X509_get_issuer_name(x)) > 0; }},
    {"4.1.2.5: the right kind of time, in order",
     [](X509 *x) {
       const ASN1_TIME *first = X509_get0_notBefore(x), *last = X509_get0_notAfter(x);
       return IsUtcTo2049(first) && IsUtcTo2049(last) && ASN1_TIME_compare(first, last) <= 0;
     }},
    {"4.1.2.6: a subject, or a critical alternative name",
     [](X509 *x) {
       const bool hasName = X509_NAME_entry_count(X509_get_subject_name(x)) > 0;
       return hasName || (!IsCa(x) && IsCritical(x, NID_subject_alt_name));
     }},
    {"4.1.2.8: no unique identifiers",
     [](X509 *x) {
       const ASN1_BIT_STRING *issuer, *subject;
       X509_get0_uids(x, &issuer, &subject);
       return issuer == nullptr && subject == nullptr;
     }},
    {"4.2: no extension twice, none that cannot be read",
     [](X509 *x) { return (X509_get_extension_flags(x) & EXFLAG_INVALID) == 0; }},
    {"4.2.1.1 and 4.2.1.2: key identifiers, not critical",
     [](X509 *x) {
       return X509_get0_authority_key_id(x) != nullptr && X509_get0_subject_key_id(x) != nullptr &&
              !IsCritical(x, NID_authority_key_identifier) && !IsCritical(x, NID_subject_key_identifier);
     }},
    {"4.2.1.3: whoever signs certificates is a CA, and a CA has a usage",
     [](X509 *x) {
       const bool signs = Has(x, NID_key_usage) && (X509_get_key_usage(x) & KU_KEY_CERT_SIGN) != 0;
       return IsCa(x) ? Has(x, NID_key_usage) : !signs;
     }},
    {"4.2.1.9: a CA's constraints are critical",
     [](X509 *x) { return !IsCa(x) || IsCritical(x, NID_basic_constraints); }},
    {"4.2.1.10, 4.2.1.11 and 4.2.1.14: always critical",
     [](X509 *x) {
       for (const int nid : {NID_name_constraints, NID_policy_constraints, NID_inhibit_any_policy}) {
         if (Has(x, nid) && !IsCritical(x, nid)) return false;
       }
       return true;
     }},
    {"4.2.2.1: never critical", [](X509 *x) { return !IsCritical(x, NID_info_access); }},
};

std::string TreeOf(const sxCertTemplate &wanted) {
  sxASN_CertTemplate tree(wanted.Tree());
  return EncodeHex(tree);
}

void ExpectSound(const sxCert &cert, const sxCert *issuer) {
  const TheirCert theirs = Theirs(cert), above = Theirs(issuer == nullptr ? cert : *issuer);
  ASSERT_NE(nullptr, theirs);
  for (const Rule &rule : kRules) EXPECT_TRUE(rule.holds(theirs.get())) << rule.what;
  EXPECT_EQ(1, X509_verify(theirs.get(), X509_get0_pubkey(above.get())));
  if (issuer != nullptr) { EXPECT_EQ(X509_V_OK, X509_check_issued(above.get(), theirs.get())); }
  // The chain, as strictly as libcrypto can.
  if ((X509_get_extension_flags(above.get()) & EXFLAG_SS) != 0) {
    const sxOwned<X509_STORE, X509_STORE_free> store(X509_STORE_new());
    const sxOwned<X509_STORE_CTX, X509_STORE_CTX_free> context(X509_STORE_CTX_new());
    X509_STORE_add_cert(store.get(), above.get());
    X509_STORE_CTX_init(context.get(), store.get(), theirs.get(), nullptr);
    X509_VERIFY_PARAM_set_flags(X509_STORE_CTX_get0_param(context.get()),
                                X509_V_FLAG_X509_STRICT | X509_V_FLAG_NO_CHECK_TIME | X509_V_FLAG_IGNORE_CRITICAL);
    EXPECT_EQ(1, X509_verify_cert(context.get()))
        << X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
  }
}

struct World {
  std::vector<CertRef> made;
  sxCert *Make(const sxCertTemplate &wanted, const sxCert *issuer, const char *keyName, int md, int keyIdMd,
               sxIssueStatus *status) {
    const PubKeyRef key = TestKey(keyName);
    sxSignOptions options;
    options.md = static_cast<sx_md_type>(md);
    options.keyIdMd = static_cast<sx_md_type>(keyIdMd);
    sxCert *cert = nullptr;
    *status = sxIssueCert(wanted, issuer, key.get(), options, &cert);
    EXPECT_EQ(*status == sxIssue_ok, cert != nullptr);
    if (cert == nullptr) return nullptr;
    ExpectSound(*cert, issuer);
    return made.emplace_back(cert).get();
  }
};

TEST(sxIssueCert, DoesWhatTheStepsSay) {
  World world;
  sxIssueStatus status;
  Script()
      .OnCopiesOf<sxCertTemplate>()
      .On("Template", [] {
        sxCertTemplate wanted;
        wanted.SetValidity(kTime, kTime + 86400);
        return wanted;
      })
      .On("subject", [](sxCertTemplate &t, const char *text) {
        const sxDN name(text);
        t.SetSubject(&name);
      })
      .On("issuer", [](sxCertTemplate &t, const char *text) {
        const sxDN name(text);
        t.SetIssuer(&name);
      })
      .On("times", &sxCertTemplate::SetValidity)
      .On("Changed", [&world](const sxCert &cert, const Octets &from, const Octets &to) {
        const Octets der = Replaced(Octets(cert.GetBuf(), cert.GetBuf() + cert.BufLen()), from, to);
        return world.made.emplace_back(new sxCert(der.data(), static_cast<unsigned>(der.size()))).get();
      })
      .On("version", &sxCertTemplate::SetVersion)
      .On("serial", [](sxCertTemplate &t, const Octets &content) {
        t.SetSerialNum(std::unique_ptr<sxAsnInt>(AsnIntFromBuf(content.data(), LenOf(content))).get());
      })
      .On("key", [](sxCertTemplate &t, const char *name) { return t.SetPubKey(TestKey(name).get()); })
      .On("ext", [](sxCertTemplate &t, const char *oid, int critical, const Octets &value) {
        return t.SetExtension(*OidOf(oid), critical != 0, value.data(), LenOf(value));
      })
      .On("noExt", [](sxCertTemplate &t, const char *oid) { t.RemoveExtension(*OidOf(oid)); })
      .On("add", [](sxCertTemplate &t, const Octets &fields) {   // to what the tree has
        sxASN_CertTemplate tree(t.Tree()), more;
        const Octets old = DecodeHex(EncodeHex(tree).c_str()), der = Der(0x30, fields);
        EXPECT_EQ(0, DecodeOctets(der, more));
        if (more.issuerUID != nullptr) tree.issuerUID = static_cast<sxAsnBits *>(more.issuerUID->Dup());
        if (more.signingAlg != nullptr) tree.signingAlg = new sxASN_AlgorithmIdentifier(*more.signingAlg);
        if (more.subject != nullptr) delete tree.subject, tree.subject = new sxASN_RDNSequence(*more.subject);
        if (more.validity != nullptr) delete tree.validity, tree.validity = new sxASN_OptionalValidity(*more.validity);
        if (more.extensions != nullptr) {
          delete tree.extensions;
          tree.extensions = new sxASN_Extensions(*more.extensions);
        }
        t.Set(&tree);
      })
      .On("Cert", [&](const sxCertTemplate &t, const sxCert *issuer, const char *key, int md) {
        return world.Make(t, issuer, key, md, sx_md_sha1, &status);
      })
      .On("issue", [&](const sxCertTemplate &t, const sxCert *issuer, const char *key, int md) {
        world.Make(t, issuer, key, md, sx_md_sha1, &status);
        return std::string(sxIssueStatusText(status));
      })
      .On("CertWithSha256Ids", [&](const sxCertTemplate &t, const char *key) {
        return world.Make(t, nullptr, key, sx_md_sha256, sx_md_sha256, &status);
      })
      .On("idIsOf", [](const sxCert &c, const char *digest) {   // the subject's, of the key's octets
        unsigned char md[EVP_MAX_MD_SIZE];
        const TheirCert theirs = Theirs(c);
        const ASN1_OCTET_STRING *const id = X509_get0_subject_key_id(theirs.get());
        return X509_pubkey_digest(theirs.get(), EVP_get_digestbyname(digest), md, nullptr) == 1 && id->length == 20 &&
               std::equal(md, md + 20, id->data);
      })
      .On("has", [](const sxCert &c, const Octets &octets) {   // how often
        int count = 0;
        const Octets der(c.GetBuf(), c.GetBuf() + c.BufLen());
        for (auto at = der.begin(); (at = std::search(at, der.end(), octets.begin(), octets.end())) != der.end(); ++at) {
          ++count;
        }
        return count;
      })
      .On("print", [](const sxCert &c) { return OnOneLine(Sprinted(c.Extensions(), 0)); })
      .On("text", [](const sxCertTemplate &t) { return OnOneLine(Sprinted(t, 0)); })
      .Run("cert/issueCert.steps");
}

TEST(sxIssueCert, EveryStatusHasItsOwnText) {
  std::set<std::string> texts;
  for (int i = 0; i <= sxIssue_issuer_extension; ++i) texts.insert(sxIssueStatusText(i));
  EXPECT_EQ(sxIssue_issuer_extension + 1, static_cast<int>(texts.size()));
  EXPECT_STREQ("unknown", sxIssueStatusText(-1));
  EXPECT_STREQ("unknown", sxIssueStatusText(sxIssue_issuer_extension + 1));
}

TEST(sxDrawSerial, GivesAChildOfForkNoneOfItsParents) {
  constexpr int kEach = 40;  // more than are drawn at once
  using Serial = std::array<unsigned char, kRandomSerialLen>;
  const auto draw = [] {
    unsigned char serial[kRandomSerialLen] = {};
    EXPECT_TRUE(sxDrawSerial(serial));
    EXPECT_TRUE(serial[0] >= 0x40 && serial[0] < 0x80) << "positive, and no shorter";
    return std::to_array(serial);
  };
  std::set<Serial> seen = {draw()};
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  const pid_t child = fork();
  for (int i = 0; i < kEach; ++i) {
    const Serial serial = draw();
    if (child == 0 && write(ends[1], serial.data(), serial.size()) != std::ssize(serial)) _exit(1);
    seen.insert(serial);
  }
  if (child == 0) _exit(0);
  for (Serial serial; seen.size() <= kEach * 2;) {
    ASSERT_EQ(std::ssize(serial), read(ends[0], serial.data(), serial.size()));
    ASSERT_TRUE(seen.insert(serial).second) << "twice";
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  close(ends[0]);
  close(ends[1]);
}

TEST(sxIssueCert, HoldsValuesToTheirTypes) {
  for (const CaseRow &row : CaseRows("cert/issue-values.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    World world;
    sxCertTemplate wanted;
    const sxDN subject("CN=a");
    wanted.SetSubject(&subject);
    wanted.SetValidity(kTime, kTime);
    for (const auto &[type, value] : {std::pair<const char *, const char *>{"2.5.29.19", "30{0101FF}"},
                                      {"2.5.29.15", "03020204"}, {row[0].c_str(), row[2].c_str()}}) {
      const Octets octets = CaseOctets(value);
      ASSERT_EQ(0, wanted.SetExtension(*OidOf(type), false, octets.data(), LenOf(octets)));
    }
    sxIssueStatus status;
    world.Make(wanted, nullptr, "prime256v1", sx_md_sha256, sx_md_sha1, &status);
    EXPECT_EQ(row[1] == "made" ? sxIssue_ok : sxIssue_extension, status);
  }
}

// Extensions of all kinds and of none that is known, in any order: what is made says what was asked, in its order.
TEST(sxIssueCert, RandomTemplatesComeOutAgain) {
  std::mt19937 random(20300101);
  const PubKeyRef key = TestKey("prime256v1");
  const std::vector<CaseRow> rows = CaseRows("cert/issue-extensions.txt", 3);
  sxCertTemplate ca;
  const sxDN issuer("CN=ca");
  ca.SetSubject(&issuer);
  ca.SetValidity(kTime, kTime);
  sxExtensionsList caExtensions;
  caExtensions.Add(&sxASN_id_ce_basicConstraints, 1, new sxBasicConstraint(true, -1));
  caExtensions.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(1U << sxKU_keyCertSign));
  ASSERT_EQ(0, ca.SetExtensions(&caExtensions));
  sxCert *root = nullptr;
  ASSERT_EQ(sxIssue_ok, sxIssueCert(ca, nullptr, key.get(), {}, &root));
  const CertRef rootOwned(root);
  for (int round = 0; round < 200; ++round) {
    sxCertTemplate wanted;
    const sxDN name(("CN=" + std::to_string(random())).c_str());
    const int64_t from = static_cast<int64_t>(random() % 3000000000);
    wanted.SetVersion(3);
    wanted.SetSubject(&name);
    wanted.SetIssuer(&issuer);
    wanted.SetPubKey(TestKey(random() % 2 == 0 ? "rsa2048" : "secp384r1").get());
    wanted.SetValidity(from, from + random());
    Octets serial(1 + random() % 19, 1);
    for (unsigned char &octet : serial) octet = static_cast<unsigned char>(octet + random() % 100);
    wanted.SetSerialNum(std::unique_ptr<sxAsnInt>(AsnIntFromBuf(serial.data(), LenOf(serial))).get());
    std::vector<CaseRow> some = rows;
    std::shuffle(some.begin(), some.end(), random);
    some.resize(random() % some.size());
    for (const CaseRow &row : some) {
      const Octets value = CaseOctets(row[2]);
      const bool isCritical = row[1] == "any" ? random() % 2 != 0 : row[1] == "yes";
      wanted.SetExtension(*OidOf(row[0].c_str()), isCritical, value.data(), LenOf(value));
    }
    sxCert *cert = nullptr;
    ASSERT_EQ(sxIssue_ok, sxIssueCert(wanted, root, key.get(), {}, &cert)) << OnOneLine(Sprinted(wanted, 0));
    const CertRef made(cert);
    ExpectSound(*made, root);
    sxCertTemplate read;
    ASSERT_EQ(0, read.Set(cert));
    for (const sxAsnOid *oid : {&sxASN_id_ce_subjectKeyIdentifier, &sxASN_id_ce_authorityKeyIdentifier}) {
      read.RemoveExtension(*oid);   // made, not asked for
    }
    EXPECT_EQ(TreeOf(wanted), TreeOf(read)) << round;
  }
}

struct Told {
  int numCalls = 0, rc = 1;
  CertRef cert;
  sxd_env *env = nullptr;
};
void Tell(void *opaque, int rc, sxCert *cert) {
  auto *told = static_cast<Told *>(opaque);
  ++told->numCalls;
  told->rc = rc;
  told->cert.reset(cert);
  sxd_env_stop(told->env);
}

TEST(sxIssueCert, SignsOnAWorkerWhenItIsGone) {
  for (const char *name : {"rsa2048", "prime256v1"}) {
    Told told;
    told.env = sxd_env_create();
    {
      const PubKeyRef key = TestKey(name);
      EXPECT_TRUE(sxToSign::New(key.get(), sx_md_sha256)->MayLeaveThread());
      sxCertTemplate wanted;
      const sxDN subject("CN=a");
      wanted.SetSubject(&subject);
      EXPECT_EQ(sxIssue_validity, sxIssueCertA(wanted, nullptr, key.get(), {}, Tell, &told));
      wanted.SetValidity(kTime, kTime);
      EXPECT_EQ(sxIssue_not_queued, sxIssueCertA(wanted, nullptr, key.get(), {}, Tell, &told));
      ASSERT_EQ(0, KeyTaskMngmnt_init(told.env, 1));
      EXPECT_EQ(sxIssue_ok, sxIssueCertA(wanted, nullptr, key.get(), {}, Tell, &told));
    }
    EXPECT_EQ(0, told.numCalls);
    sxd_env_run(told.env);
    EXPECT_EQ(1, told.numCalls);
    EXPECT_EQ(0, told.rc);
    ASSERT_NE(nullptr, told.cert);
    ExpectSound(*told.cert, nullptr);
    KeyTaskMngmnt_destroy();
    sxd_env_destroy(told.env);
  }
}

// A key whose private part is somewhere else, where something goes wrong; its own verdict is worth nothing.
class FaultyKey : public sxPubKey_imp_vc {
 public:
  FaultyKey(sxPubKey *real, int numGood) : m_real(real), m_numGood(numGood) {}
  int algorithm() const override { return m_real->algorithm(); }
  int OK() const override { return 1; }
  int Flags() const override { return m_real->Flags(); }
  const char *ClassName() const override { return m_real->ClassName(); }   // which proves nothing
  int Export(sxPK_Format format, unsigned char *out, int len) override { return m_real->Export(format, out, len); }
  int GetLen(sxPK_Len_Type type) override { return m_real->GetLen(type); }
  int Verify(sxPKop_type, sx_md_type, const unsigned char *, int, const unsigned char *, int) override { return 0; }
  int Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int len) override {
    if (out == nullptr || m_numGood-- > 0) return m_real->Sign(op, md, in, inLen, out, len);
    Octets other(in, in + inLen);
    other[0] ^= 1;
    return m_numGood == -1 ? m_real->Sign(op, md, other.data(), inLen, out, len) : -1;
  }

 private:
  sxPubKey *const m_real;
  int m_numGood;
};

TEST(sxIssueCert, BelievesNoSignatureFromElsewhereUnseen) {
  for (const char *name : {"rsa2048", "prime256v1"}) {
    const PubKeyRef real = TestKey(name), elsewhere(new sxPubKey(new FaultyKey(real.get(), 2)));
    sxCertTemplate wanted;
    const sxDN subject("CN=a");
    wanted.SetSubject(&subject);
    wanted.SetValidity(kTime, kTime);
    wanted.SetPubKey(real.get());
    sxCert *made = nullptr;
    sxCertRequest *request = nullptr;
    EXPECT_EQ(sxIssue_not_queued, sxIssueCertA(wanted, nullptr, elsewhere.get(), {}, Tell, nullptr));   // nor signed
    ASSERT_EQ(sxIssue_ok, sxIssueCert(wanted, nullptr, elsewhere.get(), {}, &made));
    ExpectSound(*CertRef(made), nullptr);
    ASSERT_EQ(sxIssue_ok, sxMakeRequest(wanted, nullptr, elsewhere.get(), {}, &request));
    sxCertRequest_Free(request);
    EXPECT_EQ(sxIssue_not_as_asked, sxIssueCert(wanted, nullptr, elsewhere.get(), {}, &made));
    EXPECT_EQ(nullptr, made);
    // Nor does its word about a signature become everybody's.
    const PubKeyRef liar(new sxPubKey(new FaultyKey(real.get(), 0)));
    sxCRL_Encoder crl;
    EXPECT_EQ(0, crl.SetIssuer(subject));
    EXPECT_EQ(0, crl.SetThisUpdate(kTime));
    EXPECT_EQ(0, crl.SetNextUpdate(kTime + 1));
    EXPECT_EQ(nullptr, crl.Encode(liar.get(), sx_md_sha256));
    ASSERT_EQ(sxIssue_ok, sxIssueCert(wanted, nullptr, real.get(), {}, &made));
    Octets octets(made->GetBuf(), made->GetBuf() + made->BufLen());
    sxCert_Free(made);
    octets.back() ^= 1;
    const CertRef changed(new sxCert(octets.data(), static_cast<unsigned>(octets.size())));
    EXPECT_EQ(0, changed->VerifySig(liar.get()));
    EXPECT_NE(0, changed->VerifySig(real.get())) << name;
    EXPECT_EQ(sxIssue_not_signed, sxMakeRequest(wanted, nullptr, elsewhere.get(), {}, &request));
    EXPECT_EQ(nullptr, request);
  }
}

}  // namespace
