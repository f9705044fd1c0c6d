// CRLs that are made here, with libcrypto as the other reader.
#include "kxcert/cert/sxCRL_Encoder.h"

#include <unistd.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <fstream>
#include <random>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/keys/keyTasks.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/platform/eventEnv.h"
#include "kxcert/platform/wholeFile.h"
#include "platform/owned.h"
#include "support/derOctets.h"
#include "support/tempDir.h"

namespace {

constexpr int64_t kTime = 1893456000;   // 2030-01-01 00:00 UTC
using CrlRef = sxOwned<sxCRL, sxCRL_Free>;
using TheirCrl = sxOwned<X509_CRL, X509_CRL_free>;

struct TestKey {
  sxOwned<EVP_PKEY, EVP_PKEY_free> theirs;
  sxOwned<sxPubKey, sxFreePubKey> ours;
  explicit TestKey(bool isRsa) {
    theirs.reset(isRsa ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048})
                       : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    unsigned char *der = nullptr;
    const int len = i2d_PrivateKey(theirs.get(), &der);
    ours.reset(isRsa ? sxImportRSAKey(sxPK_private, der, len) : sxImportECDSAKey(sxPK_private, der, len, 0));
    OPENSSL_free(der);
  }
};

void Begin(sxCRL_Encoder &crl) {
  EXPECT_EQ(0, crl.SetIssuer(sxDN("CN=ca,O=Example")));
  EXPECT_EQ(0, crl.SetThisUpdate(kTime));
  EXPECT_EQ(0, crl.SetNextUpdate(kTime + 86400));
}

sxRevokedEntry Entry(const Octets &serial, int reason = sxCrlReason_none) {
  sxRevokedEntry entry;
  entry.serial = serial.data();
  entry.serialLen = LenOf(serial);
  entry.revokedSec = kTime;
  entry.reason = reason;
  return entry;
}

TheirCrl Theirs(const sxCRL &crl) {
  const unsigned char *pos = crl.GetBuf();
  return TheirCrl(d2i_X509_CRL(nullptr, &pos, static_cast<long>(crl.BufLen())));
}

int TheirReason(const X509_REVOKED *entry) {
  int critical = 0;
  const sxOwned<ASN1_ENUMERATED, ASN1_ENUMERATED_free> reason(
      static_cast<ASN1_ENUMERATED *>(X509_REVOKED_get_ext_d2i(entry, NID_crl_reason, &critical, nullptr)));
  return reason == nullptr ? -1 : static_cast<int>(ASN1_ENUMERATED_get(reason.get()));
}

// Numbers of one to twenty octets, some negative; every reason; every digest of every kind of key.
TEST(sxCRL_Encoder, LibcryptoReadsWhatIsMade) {
  std::mt19937 random(20300101);
  for (const bool isRsa : {false, true}) {
    const TestKey key(isRsa);
    for (const sx_md_type md : {sx_md_sha1, sx_md_sha256, sx_md_sha384, sx_md_sha512}) {
      SCOPED_TRACE(md);
      sxCRL_Encoder crl;
      Begin(crl);
      for (int i = 0; i < 300; ++i) {
        Octets serial(1 + random() % 20);
        for (unsigned char &octet : serial) octet = static_cast<unsigned char>(random() % 3 == 0 ? 0 : random());
        const int reason = static_cast<int>(random() % 12) - 1;
        if (sxCrlReasonText(reason) != nullptr || reason == -1) crl.AddEntry(Entry(serial, reason));
      }
      const CrlRef made(crl.Encode(key.ours.get(), md));
      ASSERT_NE(nullptr, made);
      EXPECT_EQ(crl.GetSize(), made->GetSize());
      const TheirCrl theirs = Theirs(*made);
      ASSERT_NE(nullptr, theirs);
      EXPECT_EQ(1, X509_CRL_verify(theirs.get(), key.theirs.get()));
      STACK_OF(X509_REVOKED) *const list = X509_CRL_get_REVOKED(theirs.get());
      ASSERT_EQ(made->GetSize(), sk_X509_REVOKED_num(list));
      sxRevokedEntry entry;
      for (int i = 0; i < sk_X509_REVOKED_num(list); ++i) {
        const X509_REVOKED *const revoked = sk_X509_REVOKED_value(list, i);
        ASSERT_TRUE(made->NextEntry(&entry));
        Octets content(entry.serial - 2, entry.serial + entry.serialLen);   // with its header
        const unsigned char *pos = content.data();
        const sxOwned<ASN1_INTEGER, ASN1_INTEGER_free> number(d2i_ASN1_INTEGER(nullptr, &pos, LenOf(content)));
        EXPECT_EQ(0, ASN1_INTEGER_cmp(number.get(), X509_REVOKED_get0_serialNumber(revoked)));
        EXPECT_EQ(TheirReason(revoked), entry.reason);
      }
    }
  }
}

TEST(sxCRL_Encoder, MakesNoneThatWouldBeNone) {
  const TestKey key(false);
  const auto encode = [&key](sxCRL_Encoder &crl) { return CrlRef(crl.Encode(key.ours.get(), sx_md_sha256)) != nullptr; };
  sxCRL_Encoder crl;
  const sxAsnInt number(7);
  EXPECT_FALSE(encode(crl));
  EXPECT_EQ(0, crl.SetIssuer(sxDN("CN=ca")));
  EXPECT_FALSE(encode(crl));
  EXPECT_EQ(0, crl.SetThisUpdate(kTime));
  EXPECT_TRUE(encode(crl));
  EXPECT_EQ(0, crl.SetNextUpdate(kTime - 1));
  EXPECT_FALSE(encode(crl));
  EXPECT_EQ(0, crl.RemoveNextUpdate());
  EXPECT_EQ(0, crl.SetDeltaBase(&number));
  EXPECT_FALSE(encode(crl));
  EXPECT_EQ(0, crl.SetNumber(&number));
  EXPECT_TRUE(encode(crl));
  EXPECT_EQ(nullptr, crl.Encode(nullptr, sx_md_sha256));
  EXPECT_EQ(nullptr, crl.Encode(key.ours.get(), sx_md_md5));   // ECDSA has no such signature
  EXPECT_EQ(-1, crl.SetIssuer(sxDN()));
  EXPECT_EQ(-1, crl.SetThisUpdate(INT64_MAX));
  EXPECT_EQ(-1, crl.AddEntry(sxAsnInt(1), INT64_MIN));
  EXPECT_EQ(-1, crl.AddEntry(Entry({1}, 7)));
  EXPECT_EQ(-1, crl.AddEntry(sxRevokedEntry()));
  EXPECT_EQ(0, crl.GetSize());
}

// What holds for the entries after one still holds when that one goes.
TEST(sxCRL_Encoder, ChangesACopyOfAnIndirectCrl) {
  const TestKey key(false);
  sxCRL_Encoder first;
  Begin(first);
  sxIssuingDP scope((sxGeneralNames()));
  scope.SetIndirectCRL(true);
  scope.SetSomeReasons(0x06);
  const Octets five{5}, six{6};
  sxRevokedEntry foreign = Entry(five);
  const sxDN b("CN=b"), c("CN=c");
  unsigned char *name = nullptr;
  ASSERT_EQ(0, b.DerEncode(&name, &foreign.certIssuerLen));
  foreign.certIssuer = name;
  EXPECT_EQ(-1, first.AddEntry(foreign));
  EXPECT_EQ(0, first.SetIssuingDP(&scope));
  EXPECT_EQ(1, first.AddEntry(Entry({5})));
  EXPECT_EQ(1, first.AddEntry(foreign));
  EXPECT_EQ(0, first.AddEntry(foreign));
  foreign.serial = six.data();
  EXPECT_EQ(1, first.AddEntry(foreign));
  EXPECT_EQ(1, first.AddEntry(Entry({7})));   // of the CRL's own issuer again
  EXPECT_EQ(-1, first.SetIssuingDP(nullptr));
  const CrlRef made(first.Encode(key.ours.get(), sx_md_sha256));
  ASSERT_NE(nullptr, made);

  sxCRL_Encoder copy(*made);
  EXPECT_EQ(0, copy.RemoveEntry(&b, sxAsnInt(5)));
  EXPECT_EQ(-1, copy.RemoveEntry(&c, sxAsnInt(6)));
  const CrlRef changed(copy.Encode(key.ours.get(), sx_md_sha256));
  ASSERT_NE(nullptr, changed);
  EXPECT_EQ(3, changed->GetSize());
  EXPECT_TRUE(changed->FindEntry(nullptr, sxAsnInt(5), nullptr));
  EXPECT_FALSE(changed->FindEntry(&b, sxAsnInt(5), nullptr));
  EXPECT_TRUE(changed->FindEntry(&b, sxAsnInt(6), nullptr));
  EXPECT_FALSE(changed->FindEntry(&b, sxAsnInt(7), nullptr));
  EXPECT_TRUE(changed->FindEntry(nullptr, sxAsnInt(7), nullptr));
  EXPECT_EQ(0x06U, changed->IssuingDP()->SomeReasons());
  EXPECT_EQ(nullptr, changed->UnknownListExt());
  EXPECT_EQ(nullptr, changed->UnknownEntryExt());
}

struct Told {
  int numCalls = 0, rc = 1;
  CrlRef crl;
  sxd_env *env = nullptr;
};
void Tell(void *opaque, int rc, sxCRL *crl) {
  auto *const told = static_cast<Told *>(opaque);
  ++told->numCalls;
  told->rc = rc;
  told->crl.reset(crl);
  sxd_env_stop(told->env);
}

TEST(sxCRL_Encoder, SignsOnAWorkerWhenItIsGone) {
  const TestKey key(true);
  for (const int numThreads : {0, 1}) {
    Told told;
    told.env = sxd_env_create();
    {
      sxCRL_Encoder crl;
      Begin(crl);
      EXPECT_EQ(1, crl.AddEntry(sxAsnInt(5), kTime));
      EXPECT_EQ(TASK_NOT_INITIALIZED, crl.EncodeA(key.ours.get(), sx_md_sha256, Tell, &told));
      ASSERT_EQ(numThreads > 0 ? 0 : -1, KeyTaskMngmnt_init(told.env, numThreads));   // -1: done at once
      EXPECT_EQ(TASK_BAD_INPUT, crl.EncodeA(nullptr, sx_md_sha256, Tell, &told));
      EXPECT_EQ(1, crl.EncodeA(key.ours.get(), sx_md_sha256, Tell, &told));
      EXPECT_EQ(0, crl.RemoveEntry(sxAsnInt(5)));
    }
    EXPECT_EQ(0, told.numCalls);
    sxd_env_run(told.env);
    EXPECT_EQ(1, told.numCalls);
    EXPECT_EQ(0, told.rc);
    ASSERT_NE(nullptr, told.crl);
    EXPECT_TRUE(told.crl->FindEntry(nullptr, sxAsnInt(5), nullptr));
    EXPECT_EQ(0, told.crl->VerifySig(key.ours.get()));
    KeyTaskMngmnt_destroy();
    sxd_env_destroy(told.env);
  }
}

// Longer than what the codec encodes; through a file with four octets in front, which is replaced meanwhile.
TEST(sxCRL_Encoder, LargeOnesComeOutOfAMap) {
  const TestKey key(false);
  constexpr int kNum = 500000;
  sxCRL_Encoder crl(kNum);
  Begin(crl);
  Octets serial(16, 0x40);
  for (int i = 0; i < kNum; ++i) {
    for (int at = 0; at < 4; ++at) serial[static_cast<size_t>(8 + at)] = static_cast<unsigned char>(i >> 8 * at);
    crl.AddEntry(Entry(serial));
  }
  const CrlRef made(crl.Encode(key.ours.get(), sx_md_sha256));
  ASSERT_NE(nullptr, made);
  ASSERT_GT(made->BufLen(), 1U << 24);
  Octets record(4);
  record.insert(record.end(), made->GetBuf(), made->GetBuf() + made->BufLen());
  const TempDir dir;
  const std::string path = dir.Path() + "/crl";
  ASSERT_EQ(0, kxFile_WriteWhole(path.c_str(), record.data(), record.size(), true));
  const CrlRef mapped(sxCRL_DecodeFile(path.c_str(), 4));
  ASSERT_NE(nullptr, mapped);
  ASSERT_EQ(0, kxFile_WriteWhole(path.c_str(), "x", 1, true));
  EXPECT_EQ(kNum, mapped->GetSize());
  const std::unique_ptr<sxAsnInt> last(AsnIntFromBuf(serial.data(), 16));
  EXPECT_TRUE(mapped->FindEntry(nullptr, *last, nullptr));
  EXPECT_EQ(0, mapped->VerifySig(key.ours.get()));
  EXPECT_EQ(nullptr, sxCRL_DecodeFile(path.c_str(), 4));
  EXPECT_EQ(nullptr, sxCRL_DecodeFile((path + ".none").c_str(), 0));
  EXPECT_EQ(nullptr, sxCRL_DecodeFile(nullptr, 0));

  // Others may write this one: it is read, so that it may shrink.
  ASSERT_EQ(0, kxFile_WriteWhole(path.c_str(), record.data(), record.size(), true));
  ASSERT_EQ(0, chmod(path.c_str(), 0666));
  const CrlRef read(sxCRL_DecodeFile(path.c_str(), 4));
  ASSERT_EQ(0, truncate(path.c_str(), 4));
  ASSERT_NE(nullptr, read);
  EXPECT_EQ(0, read->VerifySig(key.ours.get()));
}

}  // namespace
