/// @file
/// Certificate database: certificates on disk, one for each name, each until a time of its own.
///
/// What was fetched once is found again by a process that starts anew. docs/formats/certDatabase.md draws
/// the records. They lie in the folder CertCache_1 below a path that is set first, and are made at first
/// use; FDB_ENV_LOCK_TYPE says which operations lock (FileDB.h).
///
/// Any number of threads may use a database; what FDB lends is for one that neither sets a path nor
/// destroys meanwhile. Failure is -1 or null with a line on the trace channel under "CERT".
///
/// Times are absolute: seconds since 1970-01-01 00:00 UTC. A record holds its expiry as a signed
/// 32-bit number on every word size: a later one is stored as 2038-01-19 03:14:07.
///
/// What is found was valid for whoever stored it. Its signature is not looked at here, and anyone who may
/// write to the folder may put a certificate there.
#ifndef KXCERT_STORE_CERT_CACHE_DB_H_
#define KXCERT_STORE_CERT_CACHE_DB_H_

#include <memory>

#include "kxcert/platform/export.h"

class FileDB;
class sxCert;
class sxDN;
class sxExpiringRecords;

class KXCERT_EXPORT Cert_Cache_DB {
 public:
  Cert_Cache_DB();
  ~Cert_Cache_DB();
  Cert_Cache_DB(const Cert_Cache_DB &) = delete;
  Cert_Cache_DB &operator=(const Cert_Cache_DB &) = delete;

  int InitPath(const char *path);  ///< 0, or -1 for null; closes what is open, removes nothing
  void Init();                     ///< opens the database unless it is
  FileDB *FDB();                   ///< the same; lent until InitPath or Destroy, never null

  /// The file database's key: 32 hexadecimal digits, for free(). Null for a name that has no text.
  char *Key(const sxDN &dn) const;

  /// @param dn  under which it is found, whatever its subject is
  int Store(const sxDN &dn, const sxCert *cert, long expiry);
  /// @param[out] expiry  untouched unless a certificate is found
  /// @return for sxCert_Free; null when there is none, @p now has reached its expiry, or it does not
  ///         decode (it then stays until it is collected)
  sxCert *Get(const sxDN &dn, long now, long *expiry);
  int Remove(const sxDN &dn);

  /// Removes every record that is expired or too short, links to nowhere, and temporaries older than an
  /// hour. What another process stores meanwhile stays, and so does what cannot be looked at for now. The
  /// whole walk is under the database's lock.
  void GarbageCollector();
  int Destroy();  ///< removes the folder, as FileDB::Destroy; the next use begins anew

 private:
  const std::unique_ptr<sxExpiringRecords> m_records;
};

/// The process's certificates of intermediate CAs; lives as long as the process. Key holders look there
/// when their mode says so (kxcert/trust/sxKeyHolder.h). Without a path it holds nothing.
extern KXCERT_EXPORT Cert_Cache_DB &g_IntermediateCA_db;
KXCERT_EXPORT int IntermediateCA_db_set_path(const char *path);        ///< its InitPath
KXCERT_EXPORT int IntermediateCA_db_remove();                          ///< its Destroy
KXCERT_EXPORT void IntermediateCA_db_garbage_collector(void *opaque);  ///< its GarbageCollector; opaque is unused

#endif
