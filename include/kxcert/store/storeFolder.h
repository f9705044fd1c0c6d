/// @file
/// The folder of a certificate or CRL database, file by file: for whoever looks after one.
///
/// Looking opens files and nothing else: no folder is made, nothing is changed, no lock is taken. Other
/// threads and processes may use the database meanwhile; what they replace or remove between two looks is
/// kGone at worst. Objects here have no state but the path: any thread.
#ifndef KXCERT_STORE_STOREFOLDER_H_
#define KXCERT_STORE_STOREFOLDER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/platform/export.h"

struct fdb_handle;
class sxCert;
class sxCRL;

enum class sxStoreKind { kCerts, kCrls };

/// Longer records are not read: for a certificate 1 MiB, for a CRL 512 MiB.
constexpr size_t kMaxStoredCertLen = size_t{1} << 20;
constexpr size_t kMaxStoredCrlLen = size_t{1} << 29;

enum class sxStoreState {
  kGood,
  kOtherKey,    ///< a certificate that does not stand under the key of its name
  kUnreadable,  ///< not to be looked at for now, or too long; the collectors remove what they cannot read
  kForeign,     ///< no file of a database; the collectors remove one that has the name of a record
  kTemporary,   ///< of a store that may be in progress
  kGone,        ///< removed meanwhile
  // What no look-up answers with; Repair removes it.
  kExpired,
  kTooShort,    ///< has no expiry
  kNotDecoded,  ///< what stands behind the expiry is no certificate or CRL
  kDangling,    ///< a link to nowhere
  kLeftOver,    ///< a temporary that nobody has written to for an hour
};
/// "good", "expired", "does not decode" ...; static.
KXCERT_EXPORT const char *sxStoreState_GetString(sxStoreState state);

struct sxStoreItem {
  std::string file;  ///< its name in the folder
  std::string key;   ///< of a record; else empty
  sxStoreState state = sxStoreState::kForeign;
  int64_t expirySec = 0;  ///< of a record that has one: seconds since 1970-01-01 00:00 UTC
  size_t valueLen = 0;    ///< bytes behind the expiry
  std::shared_ptr<sxCert> cert;
  std::shared_ptr<sxCRL> crl;  ///< one of the two when it decodes, however late it is
};

class KXCERT_EXPORT sxStoreFolder {
 public:
  /// @param folder  the database's own: .../CertCache_1, .../CrlCache_1 or a copy of one
  sxStoreFolder(const char *folder, sxStoreKind kind);
  ~sxStoreFolder();
  sxStoreFolder(const sxStoreFolder &) = delete;
  sxStoreFolder &operator=(const sxStoreFolder &) = delete;

  static const char *NameOf(sxStoreKind kind);  ///< "CertCache_1" or "CrlCache_1"

  /// The names of all files, sorted. @return 0, or -1 with errno set: there is no such folder, say
  int List(std::vector<std::string> &files) const;
  sxStoreItem Look(const std::string &file, int64_t nowSec) const;
  /// Looks, and removes that very file when no look-up would answer with it. A record that is stored
  /// meanwhile stays.
  sxStoreItem Repair(const std::string &file, int64_t nowSec, bool &removed) const;

  /// Whether a key from outside may be used: 1 to 251 characters, no slash and no NUL, neither "." nor "..".
  static bool IsKey(const std::string &key);

 private:
  sxStoreItem Visit(const std::string &file, int64_t nowSec, bool *removed) const;
  void VisitTemp(int64_t nowSec, sxStoreItem &item, bool *removed) const;

  const sxStoreKind m_kind;
  const std::unique_ptr<const fdb_handle> m_db;
};

#endif
