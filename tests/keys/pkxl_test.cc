#include "kxcert/keys/pkxl.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "keys/offload/pkxlDecision.h"
#include "keys/offload/pkxlMessage.h"
#include "keys/offload/pkxlPatience.h"
#include "keys/rsa/rsaSelfTest.h"
#include "kxcert/keys/kxECDH.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/foundation/attributeSet.h"
#include "platform/localSocket.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"
#include "support/scopedEnv.h"
#include "support/tempDir.h"

namespace {

const TempDir &ConfDir() {
  static const TempDir folder;
  return folder;
}

// A service in a thread: each connection is handed to a function.
class Service {
 public:
  using Handle = std::function<void(int descriptor)>;
  explicit Service(Handle handle) : m_listener(kxLocalSocket_Listen(pkxl_socket_path())) {
    EXPECT_LE(0, m_listener);
    m_thread = std::thread([this, handle] {
      while (!m_ends) {
        pollfd entry = {m_listener, POLLIN, 0};
        if (poll(&entry, 1, 10) <= 0) continue;
        const int descriptor = accept(m_listener, nullptr, nullptr);
        if (descriptor < 0) continue;
        ++m_numAsked;
        handle(descriptor);
      }
    });
  }
  ~Service() {
    m_ends = true;
    m_thread.join();
    close(m_listener);
    unlink(pkxl_socket_path().c_str());
  }
  int NumAsked() const { return m_numAsked; }

 private:
  const int m_listener;
  std::atomic<bool> m_ends{false};
  std::atomic<int> m_numAsked{0};
  std::thread m_thread;
};

void ServeWell(int descriptor) {
  kxLocalSocket client(descriptor, kPkxlTimeoutMs);
  kxBinBuf request, answer;
  const auto resize = [&request](uint32_t len) { return request.Set(len), request.Data(); };
  if (client.Receive(resize) && pkxl_serve(request, answer) == 0) client.Send(answer.Data(), answer.Len());
}

class Pkxl : public testing::Test {
 protected:
  Pkxl() { PkxlForgetDecision(); }
  ~Pkxl() override { PkxlForgetDecision(); }
  const ScopedEnv m_conf{"KXCERT_CONF_DIR", ConfDir().Path().c_str()};
  const ScopedEnv m_force{"PKXL_FORCE", nullptr};
};

// RFC 5903, 8.1.
bool ExchangeWorks() {
  kxECDH exchange(
      "19:c88f01f510d9ac3f70a292daa2316de544e9aab8afe84049c62a9c57862d1433:"
      "dad0b65394221cf9b051e1feca5787d098dfe637fc90b9ef945d0c3772581180:"
      "5271a0461cdb8252d61f1c456fa3e59ab1f45b33accf5f58389e0577b8990bb3");
  const Octets peer = DecodeHex(
      "d12dfb5289c8d4f81208b70270398c342296970a0bccb74c736fc7554494bf63"
      "56fbf3ca366cc23e8157854c13c58d6aac23f046ada30f8353e74f33039872ab");
  Octets secret(32);
  return exchange.setPeerPublic(peer.data(), 64) == 0 && exchange.derive() == 0 &&
         exchange.getShared(secret.data(), 32) == 32 &&
         EncodeHex(secret) == "d6840f6b42f6edafd13116e0e12565202fef8e9ece7dce03812464d04b9442de";
}

// Every operation that may be routed; true when each gives what it should.
// @param before  called before each
bool OperationsWork(const std::function<void()> &before = [] {}) {
  const Octets digest(32, 0x5A);
  bool good = true;
  const PubKeyRef keys[] = {RsaTestKey(2048), EcTestKey("prime256v1"), EcTestKey("secp521r1")};
  for (const PubKeyRef &key : keys) {
    before();
    Octets signature(600);
    const int len = key->Sign(sxPKop_raw, sx_md_sha256, digest.data(), 32, signature.data(), 600);
    good = good && len > 0 && key->Verify(sxPKop_raw, sx_md_sha256, digest.data(), 32, signature.data(), len) == 0;
    signature[10] ^= 1;
    good = good && key->Verify(sxPKop_raw, sx_md_sha256, digest.data(), 32, signature.data(), len) != 0;
  }
  Octets sealed(256), opened(256);
  good = good && keys[0]->Encrypt(sxPKop_digest, digest.data(), 32, sealed.data(), 256) == 256;
  before();
  good = good && keys[0]->Decrypt(sxPKop_digest, sealed.data(), 256, opened.data(), 256) == 32;
  opened.resize(32);
  before();
  return good && opened == digest && ExchangeWorks();
}
constexpr int kNumPrivate = 3 + 1 + 1;   // of them: public ones stay here

TEST_F(Pkxl, OperationsGoToTheService) {
  const Service service(ServeWell);
  EXPECT_TRUE(OperationsWork());
  EXPECT_EQ(0, service.NumAsked()) << "usage is off";
  pkxl_enable_usage();
  EXPECT_TRUE(OperationsWork());
  EXPECT_EQ(kNumPrivate, service.NumAsked());
  const PubKeyRef key = RsaTestKey(1024);
  Octets block(128);   // it opens to no padding: no trouble, and no plaintext
  EXPECT_EQ(kKeyUnequal, key->Decrypt(sxPKop_digest, Octets(128, 1).data(), 128, block.data(), 128));
  EXPECT_EQ(kNumPrivate + 1, service.NumAsked());
  pkxl_stop_usage();
  EXPECT_TRUE(OperationsWork());
  EXPECT_EQ(kNumPrivate + 1, service.NumAsked());
}

TEST_F(Pkxl, WhatStaysHere) {
  const std::unique_ptr<sxset> set(sxExportRSAKey_to_Set(RsaTestKey(1024).get()));
  set->FindSet("private")->Remove("pkcs8");
  const PubKeyRef key = RsaTestKey(1024), withoutPrimes(sxImportRSAKey_from_Set(set.get()));
  const Octets digest(20, 7);
  Octets signature(128);
  const Service service(ServeWell);
  pkxl_enable_usage();
  EXPECT_TRUE(IsConsistentKey(*key));
  EXPECT_EQ(0, kxTestRSA());
  EXPECT_EQ(128, withoutPrimes->Sign(sxPKop_raw, sx_md_sha1, digest.data(), 20, signature.data(), 128));
  EXPECT_EQ(0, withoutPrimes->Verify(sxPKop_raw, sx_md_sha1, digest.data(), 20, signature.data(), 128));
  pkxl_len_and_buf_t item = {128, signature.data()};
  int result = 0;
  EXPECT_NE(0, pkxl_ecdsa_verify(&item, &item, &item, 415, &result));
  EXPECT_NE(0, pkxl_rsa_op(&item, &item, &item, 2, &result));
  EXPECT_EQ(0, service.NumAsked());
}

// The operations for octets; with room for what they write, and with an octet less.
TEST_F(Pkxl, OperationsForOctets) {
  const Service service(ServeWell);
  pkxl_enable_usage();
  Octets digest(20, 7), out(200), rsa = Exported(*RsaTestKey(1024), sxPK_private), ec = Exported(*EcTestKey("prime256v1"), sxPK_private);
  Octets sealed(128), point = Exported(*EcTestKey("prime256v1"), sxPK_public);
  ASSERT_EQ(128, RsaTestKey(1024)->Encrypt(sxPKop_digest, digest.data(), 20, sealed.data(), 128));
  const auto item = [](Octets &octets) { return pkxl_len_and_buf_t{static_cast<uint32_t>(octets.size()), octets.data()}; };
  const auto room = [&out](uint32_t len) { return pkxl_len_and_buf_t{len, out.data()}; };
  const auto in = item(digest), closed = item(sealed), peer = item(point), rsaKey = item(rsa), ecKey = item(ec);
  int result = 0;
  const auto rsaOp = [&](const pkxl_len_and_buf_t &input, uint32_t len, int operation) {
    auto output = room(len);
    return pkxl_rsa_op(&input, &output, &rsaKey, operation, &result);
  };
  EXPECT_EQ(-1, rsaOp(in, 127, 1));
  EXPECT_EQ(0, rsaOp(in, 128, 1));
  EXPECT_EQ(128, result);
  EXPECT_EQ(0, RsaTestKey(1024)->Verify(sxPKop_raw, sx_md_sha1, digest.data(), 20, out.data(), 128));
  EXPECT_EQ(0, rsaOp(closed, 128, 0));
  EXPECT_EQ(20, result);
  EXPECT_TRUE(std::equal(digest.begin(), digest.end(), out.begin()));
  EXPECT_EQ(-1, rsaOp(in, 128, 0)) << "no block";
  EXPECT_EQ(-1, rsaOp(in, 128, 2));
  const auto sign = [&](uint32_t len, const pkxl_len_and_buf_t &key, int nid) {
    auto output = room(len);
    return pkxl_ecdsa_sign(&in, &output, &key, nid, &result);
  };
  EXPECT_EQ(-1, sign(71, ecKey, 415));
  EXPECT_EQ(-1, sign(72, ecKey, 715));
  EXPECT_EQ(-1, sign(72, rsaKey, 415));
  EXPECT_EQ(0, sign(72, ecKey, 415));
  EXPECT_EQ(0, EcTestKey("prime256v1")->Verify(sxPKop_raw, sx_md_sha1, digest.data(), 20, out.data(), result));
  const auto derive = [&](uint32_t len, int nid) {
    auto output = room(len);
    return pkxl_ecdh_compute_key(&peer, &output, &ecKey, nid, &result);
  };
  EXPECT_EQ(-1, derive(31, 415));
  EXPECT_EQ(-1, derive(32, 714));
  EXPECT_EQ(-1, derive(48, 715));
  EXPECT_EQ(0, derive(32, 415));
  EXPECT_EQ(32, result);
  Octets large(1 << 20);
  kxBinBuf message;
  EXPECT_FALSE(PkxlWrite(PkxlRequest{1, 0, 128, item(large), {}, rsaKey}, message)) << "more than a message holds";
}

TEST_F(Pkxl, WhatMakesItUsable) {
  mkdir(ConfDir().File("conf").c_str(), 0700);
  for (const CaseRow &row : CaseRows("keys/offloadUse.txt", 6)) {
    SCOPED_TRACE(testing::PrintToString(row));
    PkxlForgetDecision();
    const bool listens = row[1] == "yes", isDisabled = row[2] == "yes", isFips = row[4] == "yes", isUsed = row[5] == "yes";
    const ScopedEnv force("PKXL_FORCE", row[3] == "-" ? nullptr : row[3] == "\"\"" ? "" : row[3].c_str());
    if (isDisabled) ConfDir().Write("conf/pkxl_disable", "");
    const int listener = listens ? kxLocalSocket_Listen(pkxl_socket_path()) : -1;
    const LogCapture log;
    ASSERT_EQ(1, EVP_default_properties_enable_fips(nullptr, isFips ? 1 : 0));
    EXPECT_EQ(isUsed, pkxl_should_use());
    ASSERT_EQ(1, EVP_default_properties_enable_fips(nullptr, 0));
    EXPECT_EQ(listens && !isDisabled && !isFips, log.Has("pkxl_should_use: pkxld process can be used"));
    unlink(ConfDir().File("conf/pkxl_disable").c_str());
    unlink(pkxl_socket_path().c_str());
    if (listener >= 0) close(listener);
    EXPECT_EQ(isUsed, pkxl_should_use()) << "decided once";
    pkxl_stop_usage();
    EXPECT_FALSE(pkxl_should_use());
    pkxl_enable_usage();
    EXPECT_EQ(listens && !isDisabled && !isFips, pkxl_should_use());
  }
}

// Serves, and changes an octet of every answer that can be checked.
void ServeWrongly(int descriptor) {
  kxLocalSocket client(descriptor, kPkxlTimeoutMs);
  kxBinBuf request, answer;
  PkxlRequest asked;
  const auto resize = [&request](uint32_t len) { return request.Set(len), request.Data(); };
  if (!client.Receive(resize) || !PkxlRead(request, &asked) || pkxl_serve(request, answer) != 0) return;
  if (asked.operation != kEcdhComputeKey) answer.Data()[answer.Len() - 20] ^= 1;
  client.Send(answer.Data(), answer.Len());
}

// Whatever the service does, the operation is done, and done right.
TEST_F(Pkxl, TroubleMeansDoingItHere) {
  const auto answering = [](const Octets &octets, bool framed) {
    return [octets, framed](int descriptor) {
      kxLocalSocket client(descriptor, kPkxlTimeoutMs);
      kxBinBuf request;
      const auto resize = [&request](uint32_t len) { return request.Set(len), request.Data(); };
      if (!client.Receive(resize)) return;
      if (framed) {
        client.Send(octets.data(), static_cast<uint32_t>(octets.size()));
      } else {
        EXPECT_EQ(static_cast<ssize_t>(octets.size()), send(descriptor, octets.data(), octets.size(), MSG_NOSIGNAL));
      }
    };
  };
  const auto answer = [](bool served, int result, Octets output) {
    kxBinBuf message;
    EXPECT_TRUE(PkxlWrite(PkxlAnswer{served, result, {static_cast<uint32_t>(output.size()), output.data()}}, message));
    return Octets(message.Data(), message.Data() + message.Len());
  };
  Octets cut = answer(true, 256, Octets(256));
  cut.resize(100);
  const struct {
    const char *what;
    Service::Handle handle;
  } cases[] = {
      {"hangs up", [](int descriptor) { close(descriptor); }},
      {"speaks another protocol", answering(Octets(40, 'x'), true)},
      {"announces four gigabytes", answering(Octets(4, 0xFF), false)},
      {"announces nothing", answering(Octets(4, 0), false)},
      {"ends within the message", answering({40, 0, 0, 0, 1, 2, 3}, false)},
      {"could not serve", answering(answer(false, 0, {}), true)},
      {"writes more than there is room for", answering(answer(true, 20000, Octets(20000)), true)},
      {"claims more than it sends", answering(answer(true, 256, Octets(10)), true)},
      {"ends within an item", answering(cut, true)},
      {"answers the same to everything", answering(answer(true, 20, Octets(20, 'A')), true)},
      {"answers as long as it should be", answering(answer(true, 256, Octets(256, 'A')), true)},
      {"is off by a bit", ServeWrongly},
  };
  for (const auto &test : cases) {
    SCOPED_TRACE(test.what);
    PkxlForgetDecision();
    const Service service(test.handle);
    pkxl_enable_usage();
    EXPECT_TRUE(pkxl_should_use());
    EXPECT_TRUE(OperationsWork(PkxlForgetTrouble));
    EXPECT_EQ(kNumPrivate, service.NumAsked());
  }
  PkxlForgetTrouble();
  const Service service(answering(answer(true, 31, Octets(31)), true));
  EXPECT_TRUE(ExchangeWorks()) << "31 octets are no secret of P-256";
  EXPECT_TRUE(OperationsWork());
  EXPECT_EQ(1, service.NumAsked()) << "left alone for a while";
}

TEST(PkxlPatience, GrowsWithTrouble) {
  PkxlPatience patience;
  for (const CaseRow &row : CaseRows("keys/patience.txt", 4)) {
    const int64_t atMs = std::stoi(row[0]), tookMs = std::stoi(row[1]);
    const PkxlPatience::Use use = patience.Begin(atMs);
    EXPECT_EQ(row[3] == "yes", use.allowed) << row.where;
    if (use.allowed) patience.Ended(use, row[2] == "yes", atMs + tookMs);
  }
  int64_t nowMs = 100000;
  for (int i = 0; i < 20; ++i, nowMs += PkxlPatience::kLongestMs) patience.Ended(patience.Begin(nowMs), true, nowMs);
  EXPECT_TRUE(patience.Begin(nowMs).allowed) << "never longer than that";
  EXPECT_FALSE(patience.Begin(nowMs).allowed) << "one tries";

  patience.Forget();
  const PkxlPatience::Use uses[] = {patience.Begin(0), patience.Begin(0), patience.Begin(0)};
  for (const PkxlPatience::Use &use : uses) patience.Ended(use, &use != &uses[2], 3000);   // that is one trouble
  EXPECT_FALSE(patience.Begin(3999).allowed);
  EXPECT_TRUE(patience.Begin(4000).allowed);
}

TEST_F(Pkxl, ServesNothingThatItCannotRead) {
  Octets key = Exported(*RsaTestKey(1024), sxPK_private);
  Octets input(20, 7);
  const auto item = [](Octets &octets) {
    return pkxl_len_and_buf_t{static_cast<uint32_t>(octets.size()), octets.data()};
  };
  const PkxlRequest sound{1, 0, 128, item(input), {}, item(key)};
  kxBinBuf message, answer;
  const auto served = [&answer](const PkxlRequest &request) {
    kxBinBuf octets;
    PkxlAnswer read;
    EXPECT_TRUE(PkxlWrite(request, octets));
    return pkxl_serve(octets, answer) == 0 && PkxlRead(answer, &read) && read.served;
  };
  EXPECT_TRUE(served(sound));
  PkxlRequest bad = sound;
  bad.operation = 7;
  EXPECT_FALSE(served(bad)) << "no such operation";
  for (const uint32_t operation : {2U, 3U, 5U}) {
    bad = sound;
    bad.operation = operation;
    EXPECT_FALSE(served(bad)) << "public";
  }
  bad = sound;
  bad.capacity = 1 << 20;
  EXPECT_FALSE(served(bad)) << "more room than any operation fills";
  bad = sound;
  bad.operation = 4;
  EXPECT_FALSE(served(bad)) << "no curve";
  ASSERT_TRUE(PkxlWrite(sound, message));
  EXPECT_TRUE(message.IsSensitive());
  for (unsigned int len = 0; len < message.Len(); ++len) {
    kxBinBuf prefix(message.Data(), len);
    EXPECT_EQ(-1, pkxl_serve(prefix, answer)) << len;
  }
}

TEST_F(Pkxl, ListensOnceAndReplacesOnlyWhatIsDead) {
  const std::string path = ConfDir().File("listen");
  const int first = kxLocalSocket_Listen(path);
  ASSERT_LE(0, first);
  struct stat entry = {};
  EXPECT_EQ(0, stat(path.c_str(), &entry));
  EXPECT_EQ(0600U, entry.st_mode & 0777U);
  EXPECT_EQ(-1, kxLocalSocket_Listen(path));
  EXPECT_EQ(EADDRINUSE, errno);
  close(first);
  std::atomic<bool> unlocked{false};
  const int lock = open((path + ".lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, flock(lock, LOCK_EX));
  std::thread other([&] {
    poll(nullptr, 0, 50);
    unlocked = true;
    close(lock);
  });
  const int second = kxLocalSocket_Listen(path);
  EXPECT_TRUE(unlocked) << "one looks and replaces at a time";
  EXPECT_LE(0, second) << "nobody listens there any more";
  other.join();
  kxLocalSocket_Unlisten(path, second);
  EXPECT_NE(0, access(path.c_str(), F_OK));
  mkdir(ConfDir().File("folder.lock").c_str(), 0700);
  EXPECT_EQ(-1, kxLocalSocket_Listen(ConfDir().File("folder"))) << "nothing to lock";
  ConfDir().Write("listen", "a file");
  EXPECT_EQ(-1, kxLocalSocket_Listen(path));
  EXPECT_EQ("a file", ConfDir().Read("listen"));
  unlink(path.c_str());
  EXPECT_EQ(-1, kxLocalSocket_Listen(std::string(200, 'x')));
}

}  // namespace
