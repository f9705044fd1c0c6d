// CRLs that are made here, with libcrypto as the other reader.
#include "kxcert/cert/sxCRL_Encoder.h"

#include <unistd.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <random>
#include <set>

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
#include "support/testCrl.h"
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
      const sxAsnInt base(127), above(128);   // a delta CRL may have every reason
      EXPECT_EQ(0, crl.SetDeltaBase(&base));
      EXPECT_EQ(0, crl.SetNumber(&above));
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
  const sxAsnInt number(7), next(8);
  EXPECT_EQ(-1, crl.AddEntry(Entry({1}, sxCrlReason_removeFromCRL)));
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
  EXPECT_EQ(0, crl.SetNumber(crl.DeltaBase()));
  EXPECT_FALSE(encode(crl));   // not above its base
  EXPECT_EQ(0, crl.SetNumber(&next));
  EXPECT_EQ(1, crl.AddEntry(Entry({2}, sxCrlReason_removeFromCRL)));
  EXPECT_TRUE(encode(crl));
  const CrlRef delta(crl.Encode(key.ours.get(), sx_md_sha256));
  sxCRL_Encoder again(*delta);
  EXPECT_FALSE(encode(again));   // its number is that of the other one
  const Octets longest(20, 0x7F), tooLong(21, 0x7F);
  EXPECT_EQ(-1, again.SetNumber(std::unique_ptr<sxAsnInt>(AsnIntFromBuf(tooLong.data(), 21)).get()));
  EXPECT_EQ(0, again.SetNumber(std::unique_ptr<sxAsnInt>(AsnIntFromBuf(longest.data(), 20)).get()));
  EXPECT_TRUE(encode(again));
  EXPECT_EQ(0, again.SetDeltaBase(nullptr));
  EXPECT_FALSE(encode(again));   // removes an entry, and is no delta
  EXPECT_EQ(0, crl.RemoveEntry(sxAsnInt(2)));
  EXPECT_EQ(nullptr, crl.Encode(nullptr, sx_md_sha256));
  EXPECT_EQ(nullptr, crl.Encode(key.ours.get(), sx_md_md5));   // ECDSA has no such signature
  EXPECT_EQ(-1, crl.SetIssuer(sxDN()));
  constexpr unsigned char kEmptyRdn[] = {0x30, 2, 0x31, 0};
  const sxDN emptyRdn(kEmptyRdn, sizeof kEmptyRdn);
  EXPECT_NE(nullptr, emptyRdn.GetName());
  EXPECT_EQ(-1, crl.SetIssuer(emptyRdn));
  EXPECT_EQ(-1, crl.SetThisUpdate(INT64_MAX));
  EXPECT_EQ(-1, crl.AddEntry(sxAsnInt(1), INT64_MIN));
  EXPECT_EQ(-1, crl.AddEntry(Entry({1}, 7)));
  EXPECT_EQ(-1, crl.AddEntry(sxRevokedEntry()));
  const Octets one{1};
  sxRevokedEntry odd = Entry(one);
  odd.certIssuer = odd.serial;
  odd.certIssuerLen = -5;
  EXPECT_EQ(-1, crl.AddEntry(odd));
  odd = Entry(one);
  odd.isIssuerUnreadable = true;
  EXPECT_EQ(-1, crl.AddEntry(odd));
  EXPECT_EQ(-1, crl.AddEntry(sxAsnInt(1), kCrlTimeUnreadable));
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

void BecomeIndirect(sxCRL_Encoder &crl) {
  sxIssuingDP scope((sxGeneralNames()));
  scope.SetIndirectCRL(true);
  EXPECT_EQ(0, crl.SetIssuingDP(&scope));
}

// What is lent moves when there is no more room.
TEST(sxCRL_Encoder, TakesPartsOfItself) {
  sxCRL_Encoder crl;
  Begin(crl);
  EXPECT_EQ(0, crl.SetIssuer(*crl.Issuer()));
  EXPECT_TRUE(crl.Issuer()->Equal(sxDN("CN=ca,O=Example")));
  BecomeIndirect(crl);
  EXPECT_EQ(0, crl.SetIssuingDP(crl.IssuingDP()));
  EXPECT_TRUE(crl.IsIndirect());
  const sxDN b("CN=b");
  unsigned char *name = nullptr;
  int nameLen = 0;
  ASSERT_EQ(0, b.DerEncode(&name, &nameLen));
  for (int i = 1000; i < 2000; ++i) {
    sxRevokedEntry entry;
    ASSERT_EQ(1, crl.AddEntry(sxAsnInt(i), kTime));
    ASSERT_TRUE(crl.FindEntry(nullptr, sxAsnInt(i), &entry));
    entry.certIssuer = name;
    entry.certIssuerLen = nameLen;
    ASSERT_EQ(1, crl.AddEntry(entry));
    ASSERT_TRUE(crl.FindEntry(&b, sxAsnInt(i), nullptr));
  }
}

// Against a model: an issuer that stands at one entry holds for those behind it, whichever of them go.
TEST(sxCRL_Encoder, AnIssuerOutlivesItsEntry) {
  const TestKey key(false);
  std::mt19937 random(20300101);
  const sxDN names[] = {sxDN("CN=ca,O=Example"), sxDN("CN=b"), sxDN("CN=c")};
  unsigned char *der[3] = {};
  int derLen[3] = {};
  for (int i = 1; i < 3; ++i) ASSERT_EQ(0, names[i].DerEncode(&der[i], &derLen[i]));
  std::set<std::pair<int, int>> model;
  sxCRL_Encoder first;
  Begin(first);
  BecomeIndirect(first);
  CrlRef made(first.Encode(key.ours.get(), sx_md_sha256));
  for (int round = 0; round < 20; ++round) {
    sxCRL_Encoder crl(*made);
    int issuer = 0;
    for (int step = 0; step < 300; ++step) {
      if (random() % 4 == 0) issuer = static_cast<int>(random() % 3);
      const int serial = static_cast<int>(random() % 40);
      const Octets octets{static_cast<unsigned char>(serial)};
      sxRevokedEntry entry = Entry(octets);
      entry.certIssuer = der[issuer];
      entry.certIssuerLen = derLen[issuer];
      if (random() % 2 == 0) {
        ASSERT_EQ(model.insert({issuer, serial}).second ? 1 : 0, crl.AddEntry(entry));
      } else {
        ASSERT_EQ(model.erase({issuer, serial}) == 1 ? 0 : -1, crl.RemoveEntry(&names[issuer], sxAsnInt(serial)));
      }
    }
    made.reset(crl.Encode(key.ours.get(), sx_md_sha256));
    ASSERT_NE(nullptr, made);
    for (const sxCRL *each : {static_cast<const sxCRL *>(&crl), static_cast<const sxCRL *>(made.get())}) {
      ASSERT_EQ(static_cast<int>(model.size()), each->GetSize());
      for (const auto &[of, number] : model) ASSERT_TRUE(each->FindEntry(&names[of], sxAsnInt(number), nullptr));
    }
  }
}

Octets Indirect(const std::string &entries, bool isIndirect = true) {
  return TestCrlOf(entries, isIndirect ? "30{06{551d1c}0101ff04{30{84{ff}}}}" : "");
}
constexpr char kOfB[] = "30{06{551d1d}04{30{a4{30{31{30{06{550403}0c{\"b\"}}}}}}}}";
std::string RevokedOf(int serial, const std::string &extensions) {
  const std::string whole = extensions.empty() ? "" : "30{" + extensions + "}";
  std::string text = "30{02{0";
  text.append(std::to_string(serial)).append("}17{\"300101000000Z\"}").append(whole).append("}");
  return text;
}

TEST(sxCRL_Encoder, CopiesAllOfAnIndirectCrlOrNothing) {
  const TestKey key(false);
  const sxDN b("CN=b");
  const sxAsnInt five(5);
  // The entry that names the issuer gives way to a graver one.
  const Octets der = Indirect(RevokedOf(5, std::string(kOfB) + "30{06{551d15}04{0a0106}}") + RevokedOf(6, "") +
                              RevokedOf(5, "") + RevokedOf(7, ""));
  const sxCRL crl(der.data(), static_cast<unsigned>(der.size()));
  sxCRL_Encoder copy(crl);
  EXPECT_EQ(3, copy.GetSize());
  for (const int serial : {5, 6, 7}) EXPECT_TRUE(copy.FindEntry(&b, sxAsnInt(serial), nullptr)) << serial;
  const CrlRef made(copy.Encode(key.ours.get(), sx_md_sha256));
  ASSERT_NE(nullptr, made);
  const std::string octets(made->GetBuf(), made->GetBuf() + made->BufLen()), oid("\x55\x1d\x1d");
  EXPECT_EQ(octets.find(oid), octets.rfind(oid));   // named once, as it was
  sxIssuingDP direct((sxGeneralNames()));
  EXPECT_EQ(-1, copy.SetIssuingDP(&direct));
  for (const int serial : {5, 6, 7}) EXPECT_EQ(0, copy.RemoveEntry(&b, sxAsnInt(serial)));
  EXPECT_EQ(0, copy.SetIssuingDP(&direct));
  EXPECT_FALSE(copy.IsIndirect());

  const Octets unreadable = Indirect(RevokedOf(5, "30{06{551d1d}04{30{}}}"));
  sxCRL_Encoder none(sxCRL(unreadable.data(), static_cast<unsigned>(unreadable.size())));
  EXPECT_EQ(nullptr, none.Issuer());
  EXPECT_NE(nullptr, strstr(none.Error().getstr(), "cannot be read"));
  Begin(none);
  EXPECT_EQ(nullptr, none.Encode(key.ours.get(), sx_md_sha256));

  const Octets plain = Indirect(RevokedOf(5, kOfB), false);   // nobody understood the issuer so far
  sxCRL_Encoder changed(sxCRL(plain.data(), static_cast<unsigned>(plain.size())));
  EXPECT_EQ(-1, changed.SetIssuingDP(crl.IssuingDP()));
  EXPECT_TRUE(changed.FindEntry(nullptr, five, nullptr));
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
