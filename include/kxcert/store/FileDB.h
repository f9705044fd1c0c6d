/// @file
/// File database, the class layer: a database with a lock, and three rules for who takes it.
///
/// Objects on the same folder, spelt the same way, share one recursive lock within the process. It
/// keeps writers in order and the folder still while it is walked; a record is read whole without it
/// (fdb.h). Other processes are not kept out. Any number of threads may use one object.
///
/// A database that could not be opened is an object all the same: all its operations fail. Results and
/// failures are those of fdb.h.
#ifndef KXCERT_STORE_FILEDB_H_
#define KXCERT_STORE_FILEDB_H_

#include <cstdint>
#include <memory>

#include "kxcert/platform/export.h"

struct fdb_handle;
struct fdb_iterator;

/// A named recursive lock that is made when it is first taken. If it cannot be made, it never is.
class KXCERT_EXPORT FileDB_Locker {
 public:
  explicit FileDB_Locker(const char *name);  ///< a copy; null makes a lock that fails
  ~FileDB_Locker();                          ///< holds nothing any more, or others wait for ever
  FileDB_Locker(const FileDB_Locker &) = delete;
  FileDB_Locker &operator=(const FileDB_Locker &) = delete;

  int Lock();    ///< 0 or -1
  int Unlock();  ///< 0, or -1 (this thread does not hold it, say)
  bool HasName() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

/// Nothing locks except Destroy.
class KXCERT_EXPORT FileDB {
 public:
  FileDB(const char *name, const char *version);  ///< as fdb_open
  virtual ~FileDB();                              ///< the files stay
  FileDB(const FileDB &) = delete;
  FileDB &operator=(const FileDB &) = delete;

  virtual int Get(const char *key, void **out);  ///< for free(); @return length or -1
  virtual int Store(const char *key, void *buf, int len);
  virtual int Remove(const char *key);

  int Lock();     ///< 0 or -1; the holder may take it again and gives it back as often
  int Unlock();   ///< 0 or -1
  int Destroy();  ///< as fdb_destroy, under the lock

 private:
  friend class FileDB_Iter;
  friend class sxExpiringRecords;  // looks at files, not at keys, when it collects

  fdb_handle *m_fdb;                        // owned; null when opening failed
  std::unique_ptr<FileDB_Locker> m_locker;  // null when opening failed
};

/// Store and Remove take the lock; Get does not.
class KXCERT_EXPORT FileDB_WriteSafe : public FileDB {
 public:
  using FileDB::FileDB;
  ~FileDB_WriteSafe() override;
  int Store(const char *key, void *buf, int len) override;
  int Remove(const char *key) override;
};

/// Every operation takes the lock.
class KXCERT_EXPORT FileDB_Safe : public FileDB_WriteSafe {
 public:
  using FileDB_WriteSafe::FileDB_WriteSafe;
  ~FileDB_Safe() override;
  int Get(const char *key, void **out) override;
};

/// The rule by which the library chooses: the environment variable FDB_ENV_LOCK_TYPE says "NO_LOCK"
/// (FileDB) or "LOCK_WRITE" (FileDB_WriteSafe), in just that spelling; "LOCK_ALL", anything else and
/// nothing mean FileDB_Safe. A set-user-id program does not read it.
/// @param topic  of the trace line that says what the variable holds
/// @param func   on whose behalf, for the same line
KXCERT_EXPORT std::unique_ptr<FileDB> FileDB_New(const char *name, const char *version, const char *topic,
                                                 const char *func);

/// Walks the keys. The folder is opened by the first Next, and cannot be walked again. The database
/// outlives the iterator.
class KXCERT_EXPORT FileDB_Iter {
 public:
  explicit FileDB_Iter(FileDB &db) : m_db(db) {}
  virtual ~FileDB_Iter();
  FileDB_Iter(const FileDB_Iter &) = delete;
  FileDB_Iter &operator=(const FileDB_Iter &) = delete;

  const char *Next();      ///< lent until the next call; null at the end and on failure
  virtual void Destroy();  ///< closes the folder; harmless when repeated

 protected:
  int32_t m_restart = 1;  // the folder is still to be opened
  FileDB &m_db;

 private:
  fdb_iterator *m_iter = nullptr;  // owned
};

/// The same under the database's lock: taken here, given back by Destroy. Without the lock it finds
/// nothing. Destroy unlocks at every call, by intent, and the destructor calls it: who calls it too
/// has taken the lock once more before.
class KXCERT_EXPORT FileDB_SafeIter : public FileDB_Iter {
 public:
  explicit FileDB_SafeIter(FileDB &db);
  ~FileDB_SafeIter() override;
  void Destroy() override;
};

#endif
