/// @file
/// CRL database: fetched CRLs on disk, one for each distribution point and CA.
///
/// A CRL that cannot be fetched any more is still found here, and a process that starts again does not
/// fetch what it has. docs/formats/crlDatabase.md draws the records. They lie in the folder
/// CrlCache_1 below a path that is set first, and are made at first use; FDB_ENV_LOCK_TYPE says which
/// operations lock (FileDB.h).
///
/// Any number of threads may use a database; what FDB lends is for one that neither sets a path nor
/// destroys meanwhile. Failure is -1 or null with a line on the trace channel under "CrlDB".
///
/// Times are absolute: seconds since 1970-01-01 00:00 UTC. A record holds its expiry as a signed
/// 32-bit number on every word size: a later one is stored as 2038-01-19 03:14:07, an earlier one as
/// the earliest. So the database answers for less time than it was told to, never for more.
#ifndef KXCERT_STORE_CRLDB_H_
#define KXCERT_STORE_CRLDB_H_

#include <memory>

#include "kxcert/platform/export.h"

class FileDB;
class sxCRL;
class sxExpiringRecords;
class sxGeneralName;

class KXCERT_EXPORT CrlDB {
 public:
  CrlDB();
  ~CrlDB();
  CrlDB(const CrlDB &) = delete;
  CrlDB &operator=(const CrlDB &) = delete;

  int InitPath(const char *path);  ///< 0, or -1 for null; closes what is open, removes nothing
  void Init();                     ///< opens the database unless it is
  FileDB *FDB();                   ///< the same; lent until InitPath or Destroy, never null

  /// The file database's key: 32 hexadecimal digits, for free(). Null for a name that has no text.
  /// @param dp      its text is what counts: names that print alike are one
  /// @param suffix  the CA's name, or null; what stands behind the text, with nothing between
  char *Key(const sxGeneralName &dp, const char *suffix) const;

  int Store(const sxGeneralName &dp, const char *suffix, const sxCRL *crl, long expiry);
  /// @param[out] expiry  untouched unless a CRL is found
  /// @return for sxCRL_Free; null when there is none, @p now has reached its expiry, or it does not
  ///         decode (it then stays until it is collected)
  sxCRL *Get(const sxGeneralName &dp, const char *suffix, long now, long *expiry);
  int Remove(const sxGeneralName &dp, const char *suffix);

  /// Removes every record that is expired or too short, links to nowhere, and temporaries older than an
  /// hour. What another process stores meanwhile stays, and so does what cannot be looked at for now (no
  /// descriptors or memory, say). The whole walk is under the database's lock.
  void GarbageCollector();
  int Destroy();  ///< removes the folder, as FileDB::Destroy; the next use begins anew

 private:
  const std::unique_ptr<sxExpiringRecords> m_records;
};

/// The process's one CRL database.
KXCERT_EXPORT int sxCRLCache_set_dbpath(const char *path);  ///< its InitPath
KXCERT_EXPORT int remove_crl_cache_db();                    ///< its Destroy
KXCERT_EXPORT void crl_db_garbage_collector(void *opaque);  ///< its GarbageCollector; opaque is unused
KXCERT_EXPORT CrlDB &sxCRLCache_db();                       ///< lent, lives as long as the process

#endif
