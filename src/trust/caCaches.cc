#include "kxcert/trust/caCaches.h"

#include <algorithm>
#include <cstring>

#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/cache.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"

namespace {

void DestroyKey(void *key) { delete static_cast<CA_Identity *>(key); }
void FreeRoot(void *root) { sxFreePKobj(static_cast<sxRootCA *>(root)); }
void FreeCert(void *cert) { sxFreeSigned(static_cast<sxCert *>(cert)); }

std::unique_ptr<Cache> NewCache(unsigned size, unsigned timeoutSec, kxHashDestructor destroyData) {
  return std::make_unique<Cache>(size, timeoutSec, CA_Identity::Hash, CA_Identity::Compare, DestroyKey, destroyData);
}

bool IsValid(const CA_Identity &id, const char *what) {
  if (!id.Valid()) tderrorFunc("CERT", 1, 0, "%s: failed to create CA_identity.", what);
  return id.Valid();
}

void *Lookup(Cache &cache, const sxDN &dn, const char *what) {
  const CA_Identity id(dn);
  return IsValid(id, what) ? cache.Get(&id) : nullptr;
}

// Takes a reference for the cache.
void Store(Cache &cache, const CA_Identity &id, sxPKobj *obj, void *data) {
  sxSavePKobj(obj);
  if (cache.Put(new CA_Identity(id), data, 0)) sxFreePKobj(obj);
}

int Remove(Cache &cache, const sxDN &dn, const char *what) {
  const CA_Identity id(dn);
  if (!IsValid(id, what)) return -2;
  cache.Delete(&id);
  return 0;
}

}  // namespace

CA_Identity::CA_Identity(const sxDN &dn) : m_data(dn.GetStr()), m_len(0), m_owned(false) {
  if (m_data != nullptr) m_len = static_cast<int>(std::strlen(m_data));
}

CA_Identity::CA_Identity(const CA_Identity &other) : m_data(nullptr), m_len(other.m_len), m_owned(true) {
  if (m_len == 0) return;
  char *copy = new char[static_cast<size_t>(m_len)];
  std::memcpy(copy, other.m_data, static_cast<size_t>(m_len));
  m_data = copy;
}

CA_Identity::~CA_Identity() {
  if (m_owned) delete[] m_data;
}

unsigned CA_Identity::Hash(const void *key) {
  const auto &id = *static_cast<const CA_Identity *>(key);
  return hash_bytevalue(id.m_data, id.m_len);
}

int CA_Identity::Compare(const void *a, const void *b) {
  const auto &left = *static_cast<const CA_Identity *>(a);
  const auto &right = *static_cast<const CA_Identity *>(b);
  const int prefix = hash_bytecmp(left.m_data, right.m_data, std::min(left.m_len, right.m_len));
  if (prefix != 0 || left.m_len == right.m_len) return prefix;
  return left.m_len < right.m_len ? 1 : -1;
}

RootCA_Cache::RootCA_Cache(unsigned size, unsigned timeoutSec) : m_cache(NewCache(size, timeoutSec, FreeRoot)) {}
RootCA_Cache::~RootCA_Cache() = default;

int RootCA_Cache::Add(sxRootCA *root) {
  const sxDN *dn = root != nullptr ? root->DN() : nullptr;
  if (dn == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid Root CA .", "RootCA_Cache::Add");
    return -1;
  }
  const CA_Identity id(*dn);
  if (!IsValid(id, "RootCA_Cache::Add")) return -2;
  Store(*m_cache, id, root, root);
  return 0;
}

sxRootCA *RootCA_Cache::Get(const sxDN &dn) const {
  return static_cast<sxRootCA *>(Lookup(*m_cache, dn, "RootCA_Cache::Get"));
}

sxRootCA *RootCA_Cache::Get_Save(const sxDN &dn) const {
  return SharedRef<sxRootCA>::To([&] { return Get(dn); }).Release();
}

int RootCA_Cache::Delete(const sxDN &dn) { return Remove(*m_cache, dn, "RootCA_Cache::Delete"); }

int RootCA_Cache::Delete(const sxRootCA *root) {
  const sxDN *dn = root != nullptr ? root->DN() : nullptr;
  if (dn != nullptr) return Delete(*dn);
  tderrorFunc("CERT", 1, 0, "%s: invalid CA certificate.", "RootCA_Cache::Delete");
  return -1;
}

int RootCA_Cache::Count() const { return m_cache->Count(); }

CA_Cert_Cache::CA_Cert_Cache(unsigned size, unsigned timeoutSec) : m_cache(NewCache(size, timeoutSec, FreeCert)) {}
CA_Cert_Cache::~CA_Cert_Cache() = default;

int CA_Cert_Cache::add_CA_cert(sxCert *cert) {
  const sxDN *dn = cert != nullptr ? cert->Subject() : nullptr;
  if (dn == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid CA certificate.", "CA_Cert_Cache::add_CA_cert");
    return -1;
  }
  const CA_Identity id(*dn);
  if (!IsValid(id, "CA_Cert_Cache::add_CA_cert")) return -2;
  Store(*m_cache, id, cert, cert);
  return 0;
}

sxCert *CA_Cert_Cache::get_CA_cert(const sxDN &dn) const {
  return static_cast<sxCert *>(Lookup(*m_cache, dn, "CA_Cert_Cache::get_CA_cert"));
}

sxCert *CA_Cert_Cache::get_CA_cert_Save(const sxDN &dn) const {
  return SharedRef<sxCert>::To([&] { return get_CA_cert(dn); }).Release();
}

int CA_Cert_Cache::delete_CA_cert(const sxCert *cert) {
  const sxDN *dn = cert != nullptr ? cert->Subject() : nullptr;
  if (dn != nullptr) return Remove(*m_cache, *dn, "CA_Cert_Cache::delete_CA_cert");
  tderrorFunc("CERT", 1, 0, "%s: invalid CA certificate.", "CA_Cert_Cache::delete_CA_cert");
  return -1;
}

int CA_Cert_Cache::Count() const { return m_cache->Count(); }
