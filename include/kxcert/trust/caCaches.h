/// @file
/// In-memory caches of root CAs and of intermediate CA certificates, by subject name.
///
/// Bounded, least recently used first out; each entry holds one reference. The caches lock themselves
/// and may be used from any thread; reference counts then need sxPKobj::UseMutex(). What a lookup lends
/// may be dropped by another thread that adds or deletes: the ..._Save forms hand over a reference of
/// the caller's own.
#ifndef KXCERT_TRUST_CACACHES_H_
#define KXCERT_TRUST_CACACHES_H_

#include <memory>

#include "kxcert/platform/export.h"

class Cache;
class sxCert;
class sxDN;
class sxRootCA;

/// The key: the name's text without its NUL. Names whose texts differ (in case, say) are different.
class KXCERT_EXPORT CA_Identity {
 public:
  explicit CA_Identity(const sxDN &dn);   ///< borrows the name's text
  CA_Identity(const CA_Identity &other);  ///< owns a copy of the octets
  ~CA_Identity();
  CA_Identity &operator=(const CA_Identity &) = delete;

  bool Valid() const { return m_len > 0; }  ///< false for a name without text or with an empty one
  const char *Data() const { return m_data; }
  int Len() const { return m_len; }

  static unsigned Hash(const void *key);
  /// 0 when equal; over the shorter length first, then 1 when @p a is the shorter one, else -1.
  static int Compare(const void *a, const void *b);

 private:
  const char *m_data;
  int m_len;
  bool m_owned;
};

class KXCERT_EXPORT RootCA_Cache {
 public:
  RootCA_Cache(unsigned size, unsigned timeoutSec);  ///< timeoutSec 0: no limit
  ~RootCA_Cache();
  RootCA_Cache(const RootCA_Cache &) = delete;
  RootCA_Cache &operator=(const RootCA_Cache &) = delete;

  /// Takes a reference; replaces a root of the same name.
  /// @retval  0  added
  /// @retval -1  null, or a root without a name
  /// @retval -2  the name has no text
  int Add(sxRootCA *root);
  sxRootCA *Get(const sxDN &dn) const;       ///< lent, or null
  sxRootCA *Get_Save(const sxDN &dn) const;  ///< for sxFreePKobj, or null
  /// @retval  0  no such root is in the cache any more
  /// @retval -1  null, or a root without a name
  /// @retval -2  the name has no text
  int Delete(const sxDN &dn);
  int Delete(const sxRootCA *root);
  int Count() const;

 private:
  const std::unique_ptr<Cache> m_cache;
};

class KXCERT_EXPORT CA_Cert_Cache {
 public:
  CA_Cert_Cache(unsigned size, unsigned timeoutSec);
  ~CA_Cert_Cache();
  CA_Cert_Cache(const CA_Cert_Cache &) = delete;
  CA_Cert_Cache &operator=(const CA_Cert_Cache &) = delete;

  int add_CA_cert(sxCert *cert);                   ///< by its subject; results as RootCA_Cache::Add
  sxCert *get_CA_cert(const sxDN &dn) const;       ///< lent, or null
  sxCert *get_CA_cert_Save(const sxDN &dn) const;  ///< for sxFreeSigned, or null
  int delete_CA_cert(const sxCert *cert);          ///< by its subject; results as RootCA_Cache::Delete
  int Count() const;

 private:
  const std::unique_ptr<Cache> m_cache;
};

#endif
