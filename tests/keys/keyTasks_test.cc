#include "kxcert/keys/keyTasks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kxcert/keys/kxSDH.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/sxPubKey_imp.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

constexpr int kLongMs = 20000;

// What the user's callback was told.
struct Told {
  int numCalls = 0;
  int rc = 12345;
  void *result = nullptr;
  int resultLen = -1;
  std::string errText;
  std::thread::id thread;
  sxd_env *stops = nullptr;

  std::unique_ptr<unsigned char[]> TakeOctets() { return std::unique_ptr<unsigned char[]>(static_cast<unsigned char *>(result)); }
};
void Tell(void *opaque, int rc, void *result, int resultLen, const char *errText) {
  auto *const told = static_cast<Told *>(opaque);
  ++told->numCalls;
  told->rc = rc;
  told->result = result;
  told->resultLen = resultLen;
  told->errText = errText == nullptr ? "(null)" : errText;
  told->thread = std::this_thread::get_id();
  if (told->stops != nullptr) sxd_env_stop(told->stops);
}

class KeyTasks : public testing::Test {
 protected:
  ~KeyTasks() override {
    KeyTaskMngmnt_destroy();
    sxd_env_destroy(m_env);
  }
  void RunUntilTold() {
    m_told.stops = m_env;
    EXPECT_EQ(0, sxd_env_run_for(m_env, kLongMs));
    EXPECT_EQ(1, m_told.numCalls);
  }
  /// How a task that was queued, or done at once, ended.
  Told Ended(int queued) {
    EXPECT_EQ(1, queued);
    if (m_told.numCalls == 0) RunUntilTold();
    return std::exchange(m_told, {});
  }
  int SignA(sxPubKey &key) {
    return key.SignA(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, Tell, &m_told, m_env);
  }
  int Verify(sxPubKey &key, const unsigned char *sig, int sigLen) {
    return key.Verify(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, sig, sigLen);
  }

  sxd_env *m_env = sxd_env_create();
  const Octets m_digest = Octets(32, 0x5A);
  const PubKeyRef m_rsa = RsaTestKey(2048);
  Told m_told;
};

TEST_F(KeyTasks, SignOnAWorkerAndTellOnTheLoop) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 2));
  const LogCapture log;
  const int queued = SignA(*m_rsa);
  EXPECT_EQ(0, m_told.numCalls);
  Told told = Ended(queued);
  EXPECT_TRUE(told.rc == TASK_SUCCESS && told.errText == "None" && told.thread == std::this_thread::get_id());
  EXPECT_EQ(0, Verify(*m_rsa, told.TakeOctets().get(), told.resultLen));
  EXPECT_TRUE(log.Has("queued successfully") && log.Has("> TaskRSASign: Entering with task ID = "));
  EXPECT_TRUE(log.Has("> KeyTask::result_handler: taskId = ") && log.Has("Task operation rc = TASK_SUCCESS"));
}

TEST_F(KeyTasks, DecryptIntoTheCallersArea) {
  const LogCapture log;
  Octets sealed(256), opened(256);
  ASSERT_EQ(256, m_rsa->Encrypt(sxPKop_digest, m_digest.data(), 32, sealed.data(), 256));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const auto decrypt = [&] {
    return m_rsa->DecryptA(sxPKop_digest, sealed.data(), 256, opened.data(), 256, Tell, &m_told, m_env);
  };
  const int queued = decrypt();
  sealed.assign(256, 0);   // the record has a copy
  Told told = Ended(queued);
  EXPECT_TRUE(told.result == opened.data() && told.resultLen == 32);
  EXPECT_TRUE(log.Has("> TaskRSADecrypt: Entering with task ID = ") && log.Has("> TaskRSADecrypt: Successfully decrypted task ID = "));
  EXPECT_EQ(0, std::memcmp(opened.data(), m_digest.data(), 32));
  told = Ended(decrypt());
  EXPECT_TRUE(told.rc == TASK_DECRYPT_ERROR && told.result == nullptr);
  EXPECT_EQ("Error while decrypting witn RSA private key.", told.errText);
}

TEST_F(KeyTasks, DecryptNeedsAnArea) {
  Octets sealed(256), opened(256);
  ASSERT_EQ(256, m_rsa->Encrypt(sxPKop_digest, m_digest.data(), 32, sealed.data(), 256));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const auto decrypt = [&](unsigned char *out, int outLen) {
    return m_rsa->DecryptA(sxPKop_digest, sealed.data(), 256, out, outLen, Tell, &m_told, m_env);
  };
  EXPECT_EQ(TASK_DECRYPT_ERROR, decrypt(nullptr, 256));
  EXPECT_EQ(TASK_DECRYPT_ERROR, decrypt(opened.data(), -1));
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(0, m_told.numCalls) << "refused at once";
}

TEST_F(KeyTasks, KeysThatAreNotOkFailInTheWayOfTheTask) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const PubKeyRef bad(new kxSRSA(sxPK_private, m_digest.data(), 32));
  unsigned char area[32];
  EXPECT_EQ(TASK_SIGNING_ERROR, Ended(SignA(*bad)).rc);
  EXPECT_EQ(TASK_DERIVING_ERROR, Ended(bad->DeriveA(sxPKop_raw, m_digest.data(), 32, Tell, &m_told, m_env)).rc);
  EXPECT_EQ(TASK_DECRYPT_ERROR,
            Ended(bad->DecryptA(sxPKop_raw, m_digest.data(), 32, area, 32, Tell, &m_told, m_env)).rc);
}

TEST_F(KeyTasks, AgreeOnASecret) {
  const LogCapture log;
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  EXPECT_TRUE(log.Has("KeyTaskMngmnt_init: set 1 working threads."));
  const auto newKey = [this](const char *group) {
    const int queued = sxPubKey_NewDH(group, 160, Tell, &m_told);
    EXPECT_EQ(0, m_told.numCalls);   // a worker makes it
    return Ended(queued);
  };
  const Told failed = newKey("no such group");
  EXPECT_EQ(TASK_CREATION_ERROR, failed.rc);
  EXPECT_EQ("Error while creating new DH key.", failed.errText);
  EXPECT_EQ(TASK_BAD_INPUT, newKey(nullptr).rc);

  const DhTable table(UsualDhGroups());
  PubKeyRef keys[2];
  for (PubKeyRef &key : keys) {
    key.reset(static_cast<sxPubKey *>(newKey("Group 2 (1024 bit)").result));
    ASSERT_NE(nullptr, key);
  }
  Octets secrets[2];
  for (int i = 0; i < 2; ++i) {
    Octets peer(128);
    ASSERT_EQ(128, static_cast<kxSDH *>(keys[1 - i].get())->GetDHRawPublic(peer.data(), 128));
    Told told = Ended(keys[i]->DeriveA(sxPKop_raw, peer.data(), 128, Tell, &m_told, m_env));
    ASSERT_EQ(128, told.resultLen);
    const auto octets = told.TakeOctets();
    secrets[i].assign(octets.get(), octets.get() + 128);
  }
  EXPECT_EQ(secrets[0], secrets[1]);
  EXPECT_TRUE(log.Has("> TaskNewDHKey: Entering with task ID = ") && log.Has("> TaskDHDerive: Entering with task ID = "));
  EXPECT_TRUE(log.Has("sxPubKey_NewDH: Created new DH Task with ID = ") && log.Has("sxPubKey::DeriveA: Created DH derive Task with ID = "));
  EXPECT_TRUE(log.Has("KeyTask::task_handler: Error while creating new DH key."));
  EXPECT_EQ(kKeyLibraryFailed, m_rsa->DeriveA(sxPKop_raw, m_digest.data(), -1, Tell, &m_told, m_env));
}

// Keys that no worker takes, and a library without workers, work at once.
TEST_F(KeyTasks, OthersWorkOnTheCallingThread) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const PubKeyRef ec = EcTestKey("prime256v1");
  const auto signsAtOnce = [this](sxPubKey &key) {
    const int queued = SignA(key);
    EXPECT_EQ(1, m_told.numCalls);
    Told told = Ended(queued);
    return Verify(key, told.TakeOctets().get(), told.resultLen) == 0;
  };
  EXPECT_TRUE(signsAtOnce(*ec));

  const LogCapture log;
  EXPECT_EQ(-1, KeyTaskMngmnt_init(m_env, 0));
  EXPECT_TRUE(log.Has("KeyTaskMngmnt_init: Will not create working threads. "
                      "All keys operations will be done synchronically."));
  EXPECT_TRUE(signsAtOnce(*m_rsa));
  EXPECT_EQ(-1, KeyTaskMngmnt_init(nullptr, 1)) << "no environment: at once as well";
  EXPECT_EQ(TASK_SIGNING_ERROR, Ended(SignA(*PublicPart(*m_rsa))).rc);
}

TEST_F(KeyTasks, RefusedBeforeTheStartAndAfterTheEnd) {
  EXPECT_EQ(TASK_NOT_INITIALIZED, SignA(*m_rsa));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  EXPECT_EQ(1, SignA(*m_rsa));
  KeyTaskMngmnt_destroy();
  ASSERT_EQ(1, m_told.numCalls) << "what was queued is done and told";
  EXPECT_EQ(0, Verify(*m_rsa, m_told.TakeOctets().get(), m_told.resultLen));
  EXPECT_EQ(TASK_NOT_INITIALIZED, SignA(*m_rsa));
  EXPECT_EQ(1, m_told.numCalls);
  EXPECT_EQ(-1, KeyTaskMngmnt_reconf(1));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 2));
  const LogCapture log;
  EXPECT_EQ(-1, KeyTaskMngmnt_reconf(257));
  EXPECT_TRUE(log.Has("KeyTaskMngmnt_reconf: Cannot set 257 working threads (at most 256), there are 2."));
}

// A key that remembers where it was told to put a secret.
class LeavesATrace : public sxPubKey_imp_vc {
 public:
  static constexpr int kSecretLen = 512;
  static constexpr unsigned char kOctet = 0xA7;
  explicit LeavesATrace(off64_t *where) : m_where(where) {}
  int algorithm() const override { return sxPK_DH; }
  int OK() const override { return 1; }
  int Flags() const override { return 0; }
  const char *ClassName() const override { return "kxSDH_imp"; }
  int Derive(sxPKop_type, const unsigned char *, int, unsigned char *out, int) override {
    *m_where = static_cast<off64_t>(reinterpret_cast<uintptr_t>(out));
    if (out != nullptr) std::memset(out, kOctet, kSecretLen);
    return kSecretLen;
  }

 private:
  off64_t *const m_where;
};

TEST_F(KeyTasks, WithoutACallbackNothingLeaksAndSecretsAreWiped) {
  off64_t where = 0;
  Octets left(LeavesATrace::kSecretLen);
  const PubKeyRef key(new sxPubKey(new LeavesATrace(&where)));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const LogCapture log;
  EXPECT_EQ(1, key->DeriveA(sxPKop_raw, m_digest.data(), 32, nullptr, nullptr, m_env));
  KeyTaskMngmnt_destroy();
  EXPECT_TRUE(log.Has("Error: Missing CBInfo or CB"));
  // What was freed must not be read, except from outside.
  const int memory = open("/proc/self/mem", O_RDONLY);
  ASSERT_EQ(LeavesATrace::kSecretLen, pread64(memory, left.data(), left.size(), where));
  close(memory);
  EXPECT_LT(std::count(left.begin(), left.end(), LeavesATrace::kOctet), 32);
}

// A key whose operation waits until it is let go.
class SlowKey : public sxPubKey_imp_vc {
 public:
  int algorithm() const override { return sxPK_RSA; }
  int OK() const override { return 1; }
  int Flags() const override { return 0; }
  const char *ClassName() const override { return "kxSRSA_imp"; }
  int Sign(sxPKop_type, sx_md_type, const unsigned char *, int, unsigned char *out, int) override {
    if (out == nullptr) return 4;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_open; });
    return 4;
  }
  void Open() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_open = true;
    m_changed.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_open = false;
};

TEST_F(KeyTasks, TimeOutIsToldAndWhatComesLaterIsNot) {
  auto *const slow = new SlowKey;
  const PubKeyRef key(new sxPubKey(slow));
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  struct Seen {
    sxd_env *env;
    int rc = 1;
    void *result = nullptr;
  } seen{m_env};
  auto *const task = new RSASignKeyTaskData(key.get(), sxPKop_raw, sx_md_sha256, m_digest.data(), 32);
  const auto complete = [](TaskData *done, void *info, void *result, int) {
    auto *const what = static_cast<Seen *>(info);
    what->rc = done->RC();
    what->result = result;
    sxd_env_stop(what->env);
  };
  EXPECT_EQ(1, KeyTask_QueueRequest(task, complete, &seen, 30));
  EXPECT_EQ(0, sxd_env_run_for(m_env, kLongMs));
  EXPECT_EQ(TASK_TIMEOUT, seen.rc);
  EXPECT_EQ(nullptr, seen.result);
  slow->Open();
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(TASK_TIMEOUT, task->RC()) << "what was told stands";
  TaskData_Free(task);
}

// What was queued when the environment or the process ends goes without a word; leaks show under ASan.
TEST_F(KeyTasks, DroppedWithTheEnvironmentAndAtExit) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 2));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(1, SignA(*m_rsa));
  sxd_env_destroy(std::exchange(m_env, nullptr));
  EXPECT_EQ(TASK_QUEUING_ERROR, SignA(*m_rsa));
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(0, m_told.numCalls);

  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT({
    static struct AtEnd {
      ~AtEnd() {
        if (KeyTaskMngmnt_init(env, 1) != -1) _exit(2);
        KeyTaskMngmnt_destroy();
        sxd_env_destroy(env);
      }
      sxd_env *const env = sxd_env_create();
    } atEnd;
    KeyTaskMngmnt_init(atEnd.env, 2);
    const auto fail = [](void *, int, void *, int, const char *) { _exit(1); };
    for (int i = 0; i < 20; ++i) m_rsa->SignA(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, fail, nullptr, nullptr);
    std::exit(0);
  }, testing::ExitedWithCode(0), "");
}

TEST_F(KeyTasks, ACompletionMayReplaceAndStopThePool) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  static sxd_env *env = nullptr;
  env = m_env;
  const auto replace = [](void *opaque, int rc, void *octets, int, const char *) {
    const std::unique_ptr<unsigned char[]> signature(static_cast<unsigned char *>(octets));
    EXPECT_EQ(TASK_SUCCESS, rc);
    if (++*static_cast<int *>(opaque) == 1) {
      EXPECT_EQ(0, KeyTaskMngmnt_init(env, 2));
    }
    EXPECT_EQ(0, KeyTaskMngmnt_reconf(1));
  };
  int numCalls = 0;
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(1, m_rsa->SignA(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, replace, &numCalls, m_env));
  }
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(5, numCalls);
  EXPECT_EQ(1, SignA(*m_rsa)) << "the new pool stands";
  KeyTaskMngmnt_destroy();
  EXPECT_EQ(1, m_told.numCalls);
  m_told.TakeOctets();
}

TEST_F(KeyTasks, RefusedInAChildOfFork) {
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  const pid_t child = fork();
  if (child == 0) {
    const LogCapture log;
    _exit(SignA(*m_rsa) == TASK_NOT_INITIALIZED && log.Has("stayed with the parent") ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
}

TEST_F(KeyTasks, UnknownKindsAndNames) {
  class Odd : public TaskData {
   public:
    explicit Odd(int *numGone = nullptr) : m_numGone(numGone) {}
    ~Odd() override { if (m_numGone != nullptr) ++*m_numGone; }
    int TaskType() const override { return 9; }
    int *const m_numGone;
  };
  ASSERT_EQ(0, KeyTaskMngmnt_init(m_env, 1));
  auto *const odd = new Odd;
  const auto complete = [](TaskData *, void *, void *result, int) { EXPECT_EQ(nullptr, result); };
  EXPECT_EQ(1, KeyTask_QueueRequest(odd, complete, nullptr, -1));
  EXPECT_EQ(TASK_GENERAL_ERROR, odd->RC());
  EXPECT_STREQ("This operation (9) is not supported by this API.", odd->ErrMsg());
  EXPECT_EQ(TASK_BAD_INPUT, KeyTask_QueueRequest(odd, nullptr, nullptr, -1));
  EXPECT_EQ(TASK_BAD_INPUT, odd->RC());
  EXPECT_EQ(TASK_BAD_INPUT, KeyTask_QueueRequest(nullptr, complete, nullptr, -1));
  TaskData_Free(odd);
  int numGone = 0;
  {
    auto *const one = new Odd(&numGone), *const other = new Odd(&numGone);
    KeyTask first(one, complete, nullptr), second(other, complete, nullptr), third(first);
    TaskData_Free(one);
    TaskData_Free(other);
    const RTApcServant &servant = first;
    EXPECT_TRUE(servant == third && !(servant == second));
    first = third = second;
    EXPECT_EQ(1, numGone) << "records go with what refers to them";
    EXPECT_EQ(static_cast<size_t>(other->TaskId()), first.hash());
  }
  EXPECT_EQ(2, numGone);
  for (const CaseRow &row : CaseRows("keys/taskCodes.txt", 2)) EXPECT_EQ(row[1], TaskRC2str(std::stoi(row[0])));
}

TEST_F(KeyTasks, OperationsOfTheKindsThemselvesTellMinusOne) {
  Octets signature(256);
  const int len = m_rsa->Sign(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, signature.data(), 256);
  EXPECT_EQ(0, m_rsa->VerifyA(sxPKop_raw, sx_md_sha256, m_digest.data(), 32, signature.data(), len, Tell, &m_told, m_env));
  EXPECT_EQ(0, m_told.numCalls);
  RunUntilTold();
  EXPECT_EQ(-1, m_told.rc) << "also for a valid signature: intended";
  EXPECT_EQ("(null)", m_told.errText);
  const LogCapture log;
  EXPECT_EQ(kKeyLibraryFailed,
            m_rsa->EncryptA(sxPKop_digest, m_digest.data(), 32, signature.data(), 256, nullptr, nullptr, m_env));
  EXPECT_TRUE(log.Has("sxPubKey_imp::EncryptA: No callback given"));
}

}  // namespace
