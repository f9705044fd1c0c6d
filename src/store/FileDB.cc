#include "kxcert/store/FileDB.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kxcert/platform/log.h"
#include "kxcert/platform/mutex.h"
#include "kxcert/store/fdb.h"
#include "platform/guarded.h"
#include "platform/owned.h"

namespace {

constexpr char kTopic[] = "fdb";
constexpr char kLockTypeVariable[] = "FDB_ENV_LOCK_TYPE";

template <class Kind>
std::unique_ptr<FileDB> Make(const char *name, const char *version) {
  return std::make_unique<Kind>(name, version);
}

struct LockTypeRow {
  const char *text;
  std::unique_ptr<FileDB> (*make)(const char *name, const char *version);
};
constexpr LockTypeRow kLockTypes[] = {
    {"NO_LOCK", Make<FileDB>},
    {"LOCK_WRITE", Make<FileDB_WriteSafe>},
    {"LOCK_ALL", Make<FileDB_Safe>},
};

// The folder's path with every separator replaced: equal for objects on the same path. Null when out
// of memory, or the folder is not open.
std::unique_ptr<FileDB_Locker> NewLocker(const std::string &path) {
  const sxOwned<char, std::free> name(strdup(path.c_str()));
  if (name == nullptr) return tderrorFunc(kTopic, 1, errno, "FileDB::FileDB: strdup"), nullptr;
  for (char *c = name.get(); *c != '\0'; ++c) {
    if (*c == '/' || *c == '\\') *c = '_';
  }
  auto locker = std::make_unique<FileDB_Locker>(name.get());
  return locker->HasName() ? std::move(locker) : nullptr;
}

// Runs the operation under the lock; -1 without running it when the lock is not to be had.
template <class Operation>
int Locked(FileDB *db, Operation operation) {
  if (db->Lock() != 0) return -1;
  const int result = operation();
  db->Unlock();
  return result;
}

}  // namespace

// Threads may meet at the first Lock.
struct FileDB_Locker::State {
  sxMutex making;
  sxOwned<char, std::free> name GUARDED_BY(making);  // null after a failure
  sxOwned<MtMutex, MtMutexDestroy> mutex GUARDED_BY(making);
};

FileDB_Locker::FileDB_Locker(const char *name) : m_state(std::make_unique<State>()) {
  m_state->name.reset(name != nullptr ? strdup(name) : nullptr);
  if (m_state->name == nullptr) tderrorFunc(kTopic, 1, errno, "FileDB_Locker::FileDB_Locker: strdup");
}

FileDB_Locker::~FileDB_Locker() = default;

bool FileDB_Locker::HasName() const {
  const sxLock guard(m_state->making);
  return m_state->name != nullptr;
}

int FileDB_Locker::Lock() {
  constexpr char kFunc[] = "FileDB_Locker::Lock";
  MtMutex *mutex = nullptr;
  {
    State &state = *m_state;
    const sxLock guard(state.making);
    if (state.name == nullptr) return -1;
    if (state.mutex == nullptr) state.mutex.reset(MtMutexCreateRecursive(state.name.get()));
    if (state.mutex == nullptr) {
      tderrorFunc(kTopic, 1, 0, "%s: MtMutexCreateRecursive(%s) failed", kFunc, state.name.get());
      state.name.reset();  // a lock that some operations hold and others do without would be none
      return -1;
    }
    mutex = state.mutex.get();
  }
  if (MtMutexLock(mutex) == 0) return 0;
  return tderrorFunc(kTopic, 1, 0, "%s: MtMutexLock failed", kFunc), -1;
}

int FileDB_Locker::Unlock() {
  constexpr char kFunc[] = "FileDB_Locker::Unlock";
  MtMutex *mutex = nullptr;
  {
    State &state = *m_state;
    const sxLock guard(state.making);
    if (state.name == nullptr) return -1;
    if (state.mutex == nullptr) return tderrorFunc(kTopic, 1, 0, "%s: no locker", kFunc), -1;
    mutex = state.mutex.get();
  }
  if (MtMutexUnLock(mutex) == 0) return 0;
  return tderrorFunc(kTopic, 1, 0, "%s: MtMutexUnLock failed", kFunc), -1;
}

FileDB::FileDB(const char *name, const char *version) : m_fdb(fdb_open(name, version)) {
  if (m_fdb == nullptr) return;
  m_locker = NewLocker(std::string(name) + "_" + version);
  if (m_locker != nullptr) return;
  fdb_close(m_fdb);
  m_fdb = nullptr;
}

FileDB::~FileDB() {
  tderrorFunc(kTopic, 4, 0, "FileDB::~FileDB");
  fdb_close(m_fdb);
}

int FileDB::Get(const char *key, void **out) { return fdb_read(m_fdb, key, out); }
int FileDB::Store(const char *key, void *buf, int len) { return fdb_store(m_fdb, key, buf, len); }
int FileDB::Remove(const char *key) { return fdb_remove(m_fdb, key); }

int FileDB::Lock() { return m_locker != nullptr ? m_locker->Lock() : -1; }
int FileDB::Unlock() { return m_locker != nullptr ? m_locker->Unlock() : -1; }

int FileDB::Destroy() {
  return Locked(this, [this] { return fdb_destroy(m_fdb); });
}

FileDB_WriteSafe::~FileDB_WriteSafe() = default;

int FileDB_WriteSafe::Store(const char *key, void *buf, int len) {
  return Locked(this, [=, this] { return FileDB::Store(key, buf, len); });
}

int FileDB_WriteSafe::Remove(const char *key) {
  return Locked(this, [=, this] { return FileDB::Remove(key); });
}

FileDB_Safe::~FileDB_Safe() = default;

int FileDB_Safe::Get(const char *key, void **out) {
  if (out != nullptr) *out = nullptr;  // also when the lock is not to be had
  return Locked(this, [=, this] { return FileDB::Get(key, out); });
}

std::unique_ptr<FileDB> FileDB_New(const char *name, const char *version, const char *topic, const char *func) {
  // The secure form: in a set-user-id program the caller's environment does not switch locks off.
  const char *type = secure_getenv(kLockTypeVariable);
  if (type == nullptr) return Make<FileDB_Safe>(name, version);
  tderrorFunc(topic, 4, 0, "%s: FDB_ENV_LOCK_TYPE=%s", func, type);
  for (const LockTypeRow &row : kLockTypes) {
    if (std::strcmp(type, row.text) == 0) return row.make(name, version);
  }
  return Make<FileDB_Safe>(name, version);
}

FileDB_Iter::~FileDB_Iter() { FileDB_Iter::Destroy(); }

const char *FileDB_Iter::Next() {
  if (m_restart != 0) {
    m_restart = 0;
    m_iter = fdb_iter(m_db.m_fdb);
  }
  if (m_iter != nullptr) return fdb_iter_next(m_iter);
  return tderrorFunc(kTopic, 1, 0, "FileDB_Iter::Next: bad iterator"), nullptr;
}

void FileDB_Iter::Destroy() {
  fdb_iter_destroy(m_iter);
  m_iter = nullptr;
}

FileDB_SafeIter::FileDB_SafeIter(FileDB &db) : FileDB_Iter(db) {
  if (m_db.Lock() != 0) m_restart = 0;  // Next then has no folder to walk, and says so
}

FileDB_SafeIter::~FileDB_SafeIter() { FileDB_SafeIter::Destroy(); }

// Unlocks in every case, by intent: also when the lock was not to be had (test
// UnlocksWhateverHappened). The mutex refuses one who does not hold it.
void FileDB_SafeIter::Destroy() {
  FileDB_Iter::Destroy();
  m_db.Unlock();
}
