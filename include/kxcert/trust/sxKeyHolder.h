/// @file
/// Key holders: the trust store of one application.
///
/// A holder has the trusted root CAs, the application's own certified keys and, when its mode says so,
/// caches of root CAs and intermediate CA certificates. It answers lookups and decides whether a chain
/// ends at a trusted root. Lookups lend; the first match in slot order wins.
///
/// Any number of threads may look up, decide trust and repair chains of their own while others add and
/// remove CAs and keys, in every mode; reference counts then need sxPKobj::UseMutex(), called before.
/// What a look-up lends may be dropped at any time by a thread that removes it, or, from a cache, by one
/// that adds: where there is such a thread, use the ..._Save forms, which hand over a reference of the
/// caller's own; or look up and save between sxPKobj::Lock() and Unlock(), which keeps every reference
/// where it is. The root of a trusted or repaired chain lives as long as that chain. Iterators may miss
/// an object that moves meanwhile. The roots and keys themselves are only read: their setters are for
/// one thread alone, before the object is shared.
#ifndef KXCERT_TRUST_SXKEYHOLDER_H_
#define KXCERT_TRUST_SXKEYHOLDER_H_

#include <cstddef>
#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"

class sxCert;
class sxCertifiedKey;
class sxCertKey_iterator;
class sxCerts;
class sxDN;
class sxKeyHolder_imp;
class sxRootCA;
class sxRootCA_iterator;
class SxStream;

/// Why a certificate is trusted.
enum TrustType : int {
  TrustType_none = 0,
  TrustType_trustedCA = 1,   ///< it is a trusted CA's certificate: same name, same key
  TrustType_signedByCA = 2,  ///< a trusted CA's key verifies its signature
};

/// How a software holder keeps CAs. Other values than 0 and 1 mean the same as 2.
enum sxKeyHolderMode : int {
  sxKeyHolder_noCaches = 0,
  sxKeyHolder_cachedRoots = 1,  ///< AddCA and RootCA_Lookup use the cache only; intermediates too
  sxKeyHolder_cachedIntermediates = 2,
};

constexpr int kMaxChainLevels = 100;  ///< levels that IsChainTrusted looks at

// What Get_Issuers_of_chain asks for, whatever peers' certificates name.
constexpr int kMaxIssuerUrlsOfCert = 4;
constexpr int kMaxIssuerUrls = 16;             ///< of one chain
constexpr size_t kMaxIssuerUrlLen = 1024;      ///< longer ones are passed over
constexpr size_t kMaxIssuerFetches = 64;       ///< at a time, in the process
constexpr size_t kMaxIssuerAnswerLen = 65536;  ///< octets
constexpr int kIssuerFetchTimeoutMs = 15000;

class KXCERT_EXPORT sxKeyHolder : public sxPKobj {
 public:
  explicit sxKeyHolder(sxKeyHolder_imp *imp);  ///< adopts

  sxRootCA_iterator *RootCAs();  ///< new, for delete; borrows the holder
  int AddCA(sxRootCA *ca);       ///< takes a reference; 0, or negative
  int RemoveCA(sxRootCA *ca);    ///< 0, or negative when it is not here
  /// By name, in the root cache (mode 1: its text must be the same) or in the list (CAByDN).
  sxRootCA *RootCA_Lookup(const sxDN &dn);
  sxRootCA *RootCA_Lookup_Save(const sxDN &dn);  ///< for sxFreePKobj, or null
  sxRootCA *CAByName(const char *name);
  sxRootCA *CAByDN(const sxDN *dn);  ///< null finds a root without a name
  sxRootCA *CAByID(const unsigned char *id, int idLen);

  // Where the mode says so: in the memory cache, and behind it in g_IntermediateCA_db (Cert_Cache_DB.h), up to
  // the certificate's notAfter. The database is read and written on the caller's thread.
  int AddIntermediateCA(sxCert *cert);             ///< takes a reference; 0 also when it cannot be stored; or -1
  sxCert *GetIntermediateCA(const sxDN &dn);       ///< lent, or null
  sxCert *GetIntermediateCA_Save(const sxDN &dn);  ///< for sxFreeSigned, or null
  int IntermediateCAsCount();
  int RemoveIntermediateCA(const sxCert *cert);  ///< by its subject; 0, or -1

  sxCertKey_iterator *CertKeys();       ///< new, for delete; borrows the holder
  int AddCertKey(sxCertifiedKey *key);  ///< takes a reference; 0, or -1
  int RemoveCertKey(sxCertifiedKey *key);
  sxCertifiedKey *CertKeyByName(const char *name);
  sxCertifiedKey *CertKeyByDN(const sxDN *dn);     ///< by the subject of its first certificate
  sxCertifiedKey *CertKeyBySubCA(const sxDN &dn);  ///< a certificate of its chain has that subject
  sxCertifiedKey *CertKeyByCADN(const sxDN *dn);   ///< by its root's name
  sxCertifiedKey *CertKeyByID(const unsigned char *id, int idLen);
  /// The first key whose root's CA type is 1 or 2; else the last one whose root's type is neither of
  /// these nor 3; else the last one whose root's type is 3. Keys without a root are passed over.
  sxCertifiedKey *CertKeyByDefault();

  /// Adds the other's listed root CAs and certified keys. To itself: deliberately no change.
  sxKeyHolder &operator+=(sxKeyHolder &other);
  bool HasKeys();
  bool HasRootCAs();
  void Herror_Short();  ///< the names it holds, to the debug log
  /// The listed root CAs and the certified keys, each list with a title unless it is empty.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

  int IsCertTrustedCA(sxRootCA *ca, const sxCert &cert);      ///< 1: same name, same key; else 0
  int IsSignedByTrustedCA(sxRootCA *ca, const sxCert &cert);  ///< 1: the CA issued and signed it; else 0
  /// The root that makes the certificate trusted, lent, or null.
  /// @param[out] type  why; TrustType_none with null
  sxRootCA *IsCertTrusted(const sxCert &cert, TrustType &type);
  sxRootCA *IsCertTrusted_Save(const sxCert &cert, TrustType &type);  ///< for sxFreePKobj, or null
  /// 1 when an intermediate CA from cache or database issued and signed it; that one is then added to @p chain.
  int IsSignedByIntermediateCA(const sxCert &cert, sxCerts &chain);

  /// Asks for the certificates of the issuers that the chain's own name (authorityInfoAccess, RFC 5280, 4.2.2.1),
  /// the top's first, where the mode says so; through the component of kxcert/platform/fetcher.h, in the default
  /// environment (kxcert/platform/defaultEnv.h). What comes and fits is there for a later attempt.
  ///
  /// URLs of http and ldap are handed on as they stand, at most kMaxIssuerUrls of one chain and
  /// kMaxIssuerFetches at a time in the process; one that is on its way is not asked for again. What comes is
  /// taken when it is a CA's certificate that is valid now, has the name of the issuer and a key that verifies
  /// the certificate below it. A reference of the holder, and of that certificate, is held until then; when the
  /// environment goes, both are dropped. What comes is looked at on a thread of its own, so that this switches
  /// sxPKobj::UseMutex() on. IsChainTrusted calls this when it found no root.
  /// @return how many requests were begun
  int Get_Issuers_of_chain(const sxCerts &chain);

  /// The verdict is about out.Get(0) alone: sorting chooses it, not the order in which a peer sent its
  /// certificates, and for a root's own name and key the root's copy takes its place. Who is to be
  /// judged by the certificate that it sent first asks sxJudgeChain (chainJudge.h).
  ///
  /// Sorts the chain and looks for the first level that a trusted root signed, or whose certificate
  /// is itself a trusted CA's; at most kMaxChainLevels are looked at. Signatures below that level
  /// are not verified here: sxValidateSignatures does that with what @p out then holds.
  /// @param[out] out  the chain up to that level, then the root's certificate; untouched on failure
  /// @return the root, lent, or null; @p out keeps it, whatever other threads remove
  sxRootCA *IsChainTrusted(const sxCerts &chain, sxCerts &out);
  /// Empties @p out and adds every certificate. @return 0, or -1 when there is none
  int CopyChain(const sxCerts &sorted, sxCerts &out);
  void TruncateChain(sxCerts &chain, int level);  ///< deletes the positions from @p level on
  /// Makes @p out end in the root's certificate. Nothing happens for a negative level, no root, or
  /// another type than the two above.
  /// @param level  where trust was found in @p sorted
  void CanonizeChain(sxRootCA *root, const sxCerts &sorted, sxCerts &out, int level, TrustType type);

  sxKeyHolder_imp *GetP() const;  ///< the library's own use
};

/// Keeps everything in memory.
class KXCERT_EXPORT sxSWKeyHolder : public sxKeyHolder {
 public:
  sxSWKeyHolder();  ///< mode 0
  /// @param cacheSize   root CAs that the cache holds; three times as many intermediate CAs
  /// @param timeoutSec  how long an intermediate CA stays, 0 for no limit
  /// @param mode        sxKeyHolderMode
  sxSWKeyHolder(int cacheSize, int timeoutSec, int mode);

  int AddCA_Cache(sxRootCA *ca);     ///< results as RootCA_Cache::Add
  int RemoveCA_Cache(sxRootCA *ca);  ///< results as RootCA_Cache::Delete
};

/// Each is for sxFreePKobj.
KXCERT_EXPORT sxKeyHolder *sxKeyHolder_New();
KXCERT_EXPORT sxKeyHolder *sxKeyHolder_with_cache(int cacheSize, int timeoutSec, int mode);
/// Takes what a request of Get_Issuers_of_chain brought: adds it to the holder's intermediates, and drops the
/// reference of the holder that the request had taken, whatever comes.
/// @param cert  borrowed; null: nothing came that fits
/// @return 0, or -1 (null, or AddIntermediateCA refuses it)
KXCERT_EXPORT int Fetch_IssuerCA_CB(sxCert *cert, sxKeyHolder *holder);
/// A new holder (mode 0) with the root CAs that are self-issued or whose issuer is no trusted CA,
/// without those whose identifier a certified key has; and with the certified keys in the order of
/// CertKeyByDefault's preference: root's CA type 1 or 2, other types, type 3, no root; otherwise as
/// they stood, so that the default key stays the same.
/// @return for sxFreePKobj, or null for null
KXCERT_EXPORT sxKeyHolder *sxKeyHolder_Sort(sxKeyHolder *holder);

#endif
