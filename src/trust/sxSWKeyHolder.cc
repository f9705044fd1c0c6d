#include "trust/sxSWKeyHolder_imp.h"

#include <algorithm>
#include <climits>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxRootCA.h"

namespace {

constexpr unsigned kDefaultCacheSize = 4;
constexpr unsigned kIntermediatesPerRoot = 3;
constexpr unsigned kMaxCacheSize = 1U << 20;  // of root CAs; our choice, it keeps the product in range

unsigned CacheSize(int size) { return std::min(static_cast<unsigned>(std::max(size, 0)), kMaxCacheSize); }
unsigned Timeout(int sec) { return static_cast<unsigned>(std::max(sec, 0)); }

// A root without a certificate has hash 0, as the absent name has that may look for it.
uint64_t HashOf(const sxPKobj *obj) {
  const sxDN *dn = static_cast<const sxRootCA *>(obj)->DN();
  return dn != nullptr ? dn->Hash() : 0;
}

// What a look-up is to gather.
struct Wanted {
  const sxDN *dn;
  std::vector<sxRootCA *> *found;
};

bool HasDN(const sxPKobj *obj, const void *dn) {
  return sxTrust_SameDN(static_cast<const sxRootCA *>(obj)->DN(), static_cast<const sxDN *>(dn));
}

// Passes by all that fit, so that none is the first.
bool Gather(const sxPKobj *obj, const void *gathered) {
  const auto &wanted = *static_cast<const Wanted *>(gathered);
  if (HasDN(obj, wanted.dn)) wanted.found->push_back(static_cast<sxRootCA *>(const_cast<sxPKobj *>(obj)));
  return false;
}

}  // namespace

sxSWKeyHolder_imp::sxSWKeyHolder_imp()
    : m_rootCAs(HashOf),
      m_rootCA_Cache(kDefaultCacheSize, 0),
      m_intermediateCA_Cache(kDefaultCacheSize, 0),
      m_mode(sxKeyHolder_noCaches) {}

sxSWKeyHolder_imp::sxSWKeyHolder_imp(int cacheSize, int timeoutSec, int mode)
    : m_rootCAs(HashOf),
      m_rootCA_Cache(CacheSize(cacheSize), 0),
      m_intermediateCA_Cache(kIntermediatesPerRoot * CacheSize(cacheSize), Timeout(timeoutSec)),
      m_mode(mode) {}

int sxSWKeyHolder_imp::AddCA(sxRootCA *ca) {
  return m_mode == sxKeyHolder_cachedRoots ? AddCA_Cache(ca) : m_rootCAs.Add(ca);
}

int sxSWKeyHolder_imp::RemoveCA(sxRootCA *ca) {
  return m_mode == sxKeyHolder_cachedRoots ? RemoveCA_Cache(ca) : m_rootCAs.Delete(ca);
}

int sxSWKeyHolder_imp::AddCA_Cache(sxRootCA *ca) {
  const int rc = m_rootCA_Cache.Add(ca);
  if (kxLog_TraceOn()) {
    tderrorFunc("CERT", 5, 0, "%s: Number of Root CAs now in the cache %d", "sxSWKeyHolder_imp::AddCA_Cache",
                m_rootCA_Cache.Count());
  }
  return rc;
}

int sxSWKeyHolder_imp::RemoveCA_Cache(sxRootCA *ca) { return m_rootCA_Cache.Delete(ca); }

// In mode 1 there is no falling back to the list, by intent.
sxRootCA *sxSWKeyHolder_imp::RootCA_Lookup(const sxDN &dn) {
  return m_mode == sxKeyHolder_cachedRoots ? m_rootCA_Cache.Get(dn) : CAByDN(&dn);
}

sxRootCA *sxSWKeyHolder_imp::CAByDN(const sxDN *dn) {
  return static_cast<sxRootCA *>(m_rootCAs.Find(dn != nullptr ? dn->Hash() : 0, HasDN, dn));
}

std::vector<SharedRef<sxRootCA>> sxSWKeyHolder_imp::RootRefs(const sxDN &dn) {
  std::vector<sxRootCA *> lent;
  const CountsLock lock;
  if (m_mode == sxKeyHolder_cachedRoots) {
    if (sxRootCA *root = m_rootCA_Cache.Get(dn); root != nullptr) lent.push_back(root);
  } else {
    const Wanted wanted{&dn, &lent};
    m_rootCAs.Find(dn.Hash(), Gather, &wanted);
  }
  std::vector<SharedRef<sxRootCA>> refs;
  refs.reserve(lent.size());
  for (sxRootCA *root : lent) refs.emplace_back(root);
  return refs;
}

bool sxSWKeyHolder_imp::IntermediatesOn(const char *what) const {
  if (m_mode != sxKeyHolder_noCaches) return true;
  tderrorFunc("CERT", 5, 0, "%s: IntermediateCA Retrieval is no activated.", what);
  return false;
}

int sxSWKeyHolder_imp::AddIntermediateCA(sxCert *cert) {
  constexpr char kWhat[] = "sxSWKeyHolder_imp::AddIntermediateCA";
  if (!IntermediatesOn(kWhat)) return -1;
  if (cert == nullptr || cert->Subject() == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid CA cert", kWhat);
    return -1;
  }
  m_intermediateCA_Cache.add_CA_cert(cert);                             // one whose name has no text is traced there
  g_IntermediateCA_db.Store(*cert->Subject(), cert, cert->notAfter());  // what fails is traced there
  return 0;
}

// From the memory cache, else from the database into it.
SharedRef<sxCert> sxSWKeyHolder_imp::Intermediate(const sxDN &dn, const char *what) {
  if (sxCert *cached = m_intermediateCA_Cache.get_CA_cert_Save(dn); cached != nullptr) {
    tderrorFunc("CERT", 5, 0, "%s: IntermediateCA found in memory cache", what);
    return SharedRef<sxCert>::Adopt(cached);
  }
  const auto now = static_cast<long>(std::min<int64_t>(kxClock_Now(), LONG_MAX));
  long expiry = 0;
  auto stored = SharedRef<sxCert>::Adopt(g_IntermediateCA_db.Get(dn, now, &expiry));
  if (!stored) {
    tderrorFunc("CERT", 5, 0, "%s: g_IntermediateCA_db.Get returned NULL.", what);
    return {};
  }
  // Whoever writes to the folder may have put it under another one's key.
  if (stored->Subject() == nullptr || !stored->Subject()->Equal(dn)) return {};
  m_intermediateCA_Cache.add_CA_cert(stored.get());
  return stored;
}

// Lent by the memory cache: where that holds nothing, there is nothing to lend.
sxCert *sxSWKeyHolder_imp::GetIntermediateCA(const sxDN &dn) {
  constexpr char kWhat[] = "sxSWKeyHolder_imp::GetIntermediateCA";
  if (!IntermediatesOn(kWhat)) return nullptr;
  const SharedRef<sxCert> found = Intermediate(dn, kWhat);
  return found ? m_intermediateCA_Cache.get_CA_cert(*found->Subject()) : nullptr;
}

sxCert *sxSWKeyHolder_imp::GetIntermediateCA_Save(const sxDN &dn) {
  constexpr char kWhat[] = "sxSWKeyHolder_imp::GetIntermediateCA_Save";
  return IntermediatesOn(kWhat) ? Intermediate(dn, kWhat).Release() : nullptr;
}

int sxSWKeyHolder_imp::IntermediateCAsCount() {
  return IntermediatesOn("sxSWKeyHolder_imp::IntermediateCAsCount") ? m_intermediateCA_Cache.Count() : 0;
}

int sxSWKeyHolder_imp::RemoveIntermediateCA(const sxCert *cert) {
  constexpr char kWhat[] = "sxSWKeyHolder_imp::RemoveIntermediateCA";
  if (!IntermediatesOn(kWhat)) return -1;
  if (cert == nullptr || cert->Subject() == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid CA cert", kWhat);
    return -1;
  }
  m_intermediateCA_Cache.delete_CA_cert(cert);
  g_IntermediateCA_db.Remove(*cert->Subject());
  return 0;
}

int sxSWKeyHolder_imp::AddCertKey(sxCertifiedKey *key) { return m_certKeys.Add(key); }
int sxSWKeyHolder_imp::RemoveCertKey(sxCertifiedKey *key) { return m_certKeys.Delete(key); }

int sxSWKeyHolder_imp::IsSignedByIntermediateCA(const sxCert &cert, sxCerts &chain) {
  constexpr char kWhat[] = "sxSWKeyHolder_imp::IsSignedByIntermediateCA";
  if (!IntermediatesOn(kWhat)) return 0;
  if (cert.Issuer() == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid certificate. returning", kWhat);
    return 0;
  }
  sxCert *issuer = GetIntermediateCA_Save(*cert.Issuer());
  if (issuer == nullptr) {
    tderrorFunc("CERT", 5, 0, "%s: matching IntermediateCA not found.", kWhat);
    return 0;
  }
  if (cert.VerifySig(issuer->PubKey()) != 0) {
    tderrorFunc("CERT", 3, 0, "%s: signatures don't match", kWhat);
    sxFreeSigned(issuer);
    return 0;
  }
  tderrorFunc("CERT", 5, 0, "%s: matching IntermediateCA Found !!", kWhat);
  chain.Add(issuer);  // which adopts the reference
  return 1;
}

int sxSWKeyHolder_imp::Get_Issuers_of_chain(const sxCerts &chain) {
  return IntermediatesOn("sxSWKeyHolder_imp::Get_Issuers_of_chain") ? sxTrust_FetchIssuers(chain, m_real) : 0;
}

sxSWKeyHolder::sxSWKeyHolder() : sxKeyHolder(new sxSWKeyHolder_imp) {}

sxSWKeyHolder::sxSWKeyHolder(int cacheSize, int timeoutSec, int mode)
    : sxKeyHolder(new sxSWKeyHolder_imp(cacheSize, timeoutSec, mode)) {}

int sxSWKeyHolder::AddCA_Cache(sxRootCA *ca) { return static_cast<sxSWKeyHolder_imp *>(m_imp)->AddCA_Cache(ca); }

int sxSWKeyHolder::RemoveCA_Cache(sxRootCA *ca) { return static_cast<sxSWKeyHolder_imp *>(m_imp)->RemoveCA_Cache(ca); }

sxKeyHolder *sxKeyHolder_New() { return new sxSWKeyHolder; }

sxKeyHolder *sxKeyHolder_with_cache(int cacheSize, int timeoutSec, int mode) {
  return new sxSWKeyHolder(cacheSize, timeoutSec, mode);
}
