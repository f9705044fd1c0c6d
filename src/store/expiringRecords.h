/// @file
/// Records with a time of expiry in front: what databases of encoded objects have in common.
///
/// A record is four octets of expiry (seconds since 1970-01-01 00:00 UTC, signed, in the byte order of
/// the host) and the value. The database lies in a folder below a path that is set first, and is made
/// at first use. Any thread may set the path and use what is there: who is at work when the path changes
/// ends with the database that he began with. What is done to files is guarded as FDB_ENV_LOCK_TYPE says
/// (FileDB_New).
///
/// Each operation reports under the name that its caller has, on the caller's topic.
#ifndef KXCERT_SRC_STORE_EXPIRINGRECORDS_H_
#define KXCERT_SRC_STORE_EXPIRINGRECORDS_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "kxcert/store/FileDB.h"
#include "platform/guarded.h"
#include "platform/owned.h"

class fdb_look;

using sxFreeBlock = sxFreeBy<std::free>;

/// What a record held; the value lies in the block.
struct sxExpiringRecord {
  std::unique_ptr<void, sxFreeBlock> block;
  int32_t expirySec = 0;
  const unsigned char *value = nullptr;
  int valueLen = 0;

  /// Takes over a block of @p len bytes. @return false when it is too short to hold an expiry
  bool Set(void *readBlock, int len);
};

class sxExpiringRecords {
 public:
  /// @param topic     of all trace lines
  /// @param folder    below the path, without the version
  /// @param openFunc  the name under which opening is reported
  sxExpiringRecords(const char *topic, const char *folder, const char *openFunc)
      : m_topic(topic), m_folder(folder), m_openFunc(openFunc) {}

  int InitPath(const char *func, const char *path);  ///< closes what is open; nothing on disk changes
  /// Never null. Without a path all that it does fails.
  std::shared_ptr<FileDB> Open();

  /// 32 hexadecimal digits: the MD5 digest of the text with its NUL. For free(), or null.
  char *Key(const char *func, const std::string &text) const;

  // A null key makes each of these fail.
  /// An expiry beyond what four octets hold becomes the nearest that they do. The caller reports.
  int Store(const char *func, const char *key, const unsigned char *value, size_t valueLen, int64_t expirySec);
  /// The record, unless @p nowSec has reached its expiry; it then stays until it is collected. The
  /// comparison is one of seconds, @p nowSec itself may be beyond 32 bits.
  [[nodiscard]] bool Get(const char *func, const char *key, int64_t nowSec, sxExpiringRecord *out);
  int Remove(const char *func, const char *key);
  /// Removes what is too short or expired, links to nowhere and old temporaries, all under the database's
  /// lock. What cannot be looked at for now stays.
  void CollectGarbage(const char *func);
  int Destroy();  ///< the folder too; the next use begins anew

 private:
  bool IsGarbage(const char *func, const fdb_look &look, const char *key, int64_t nowSec) const;

  const char *const m_topic;
  const char *const m_folder;
  const char *const m_openFunc;
  sxMutex m_mutex;
  std::string m_name GUARDED_BY(m_mutex);            // path and folder; empty until InitPath
  std::shared_ptr<FileDB> m_db GUARDED_BY(m_mutex);  // null until first use
};

#endif
