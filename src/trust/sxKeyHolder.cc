#include "kxcert/trust/sxKeyHolder.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/certPool.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

// The first object that fits, lent, or null.
template <class Object, class Fits>
Object *FindFirst(const sxPKObjects &objects, const Fits &fits) {
  const auto matches = [](const sxPKobj *obj, const void *wanted) -> bool {
    return (*static_cast<const Fits *>(wanted))(static_cast<const Object &>(*obj));
  };
  return static_cast<Object *>(objects.FindFirst(matches, &fits));
}

// All of them, as they stood at one moment.
template <class Object>
std::vector<SharedRef<Object>> RefsOf(const sxPKObjects &objects) {
  std::vector<Object *> lent;
  const CountsLock lock;
  FindFirst<Object>(objects, [&lent](const Object &obj) {
    lent.push_back(const_cast<Object *>(&obj));
    return false;
  });
  std::vector<SharedRef<Object>> refs;
  refs.reserve(lent.size());
  for (Object *obj : lent) refs.emplace_back(obj);
  return refs;
}

bool HasName(const sxPKNamedObj &obj, const char *name) {
  return name != nullptr && obj.Name() != nullptr && std::strcmp(obj.Name(), name) == 0;
}

// Order of CertKeyByDefault's preference.
enum Preference { kPreferred, kOther, kLast, kNoRoot, kNumPreferences };

Preference PreferenceOf(const sxCertifiedKey &key) {
  if (key.Root() == nullptr) return kNoRoot;
  switch (key.Root()->CAType()) {
    case sxCaType_first:
    case sxCaType_second: return kPreferred;
    case sxCaType_last: return kLast;
    default: return kOther;
  }
}

// A root of the holder that stands below another one of them adds no trust of its own.
bool IsTopMost(sxKeyHolder_imp &holder, const sxRootCA &root) {
  const sxCert *cert = root.Cert();
  if (cert == nullptr || cert->Subject() == nullptr || cert->Issuer() == nullptr) {
    herror_func(0, 0, "sxKeyHolder_Sort: Bad certificate (%s)", root.Name() != nullptr ? root.Name() : "no name");
    return false;
  }
  return sxTrust_IsSelfIssued(*cert) || holder.CAByDN(cert->Issuer()) == nullptr;
}

}  // namespace

bool sxTrust_SameDN(const sxDN *a, const sxDN *b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->Equal(*b);
}

bool sxTrust_IsSelfIssued(const sxCert &cert) {
  return cert.Subject() != nullptr && cert.Issuer() != nullptr && cert.Subject()->Equal(*cert.Issuer());
}

sxRootCA *sxKeyHolder_imp::CAByName(const char *name) {
  return FindFirst<sxRootCA>(ListedCAs(), [=](const sxRootCA &ca) { return HasName(ca, name); });
}

sxRootCA *sxKeyHolder_imp::CAByDN(const sxDN *dn) {
  return FindFirst<sxRootCA>(ListedCAs(), [=](const sxRootCA &ca) { return sxTrust_SameDN(ca.DN(), dn); });
}

sxRootCA *sxKeyHolder_imp::CAByID(const unsigned char *id, int idLen) {
  return FindFirst<sxRootCA>(ListedCAs(), [=](const sxRootCA &ca) { return ca.HasId(id, idLen); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByName(const char *name) {
  return FindFirst<sxCertifiedKey>(ListedKeys(), [=](const sxCertifiedKey &key) { return HasName(key, name); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByDN(const sxDN *dn) {
  return FindFirst<sxCertifiedKey>(ListedKeys(),
                                   [=](const sxCertifiedKey &key) { return sxTrust_SameDN(key.DN(), dn); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyBySubCA(const sxDN &dn) {
  return FindFirst<sxCertifiedKey>(
      ListedKeys(), [&dn](const sxCertifiedKey &key) { return key.Chain().GetBySubjectDN(dn) != nullptr; });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByCADN(const sxDN *dn) {
  return FindFirst<sxCertifiedKey>(ListedKeys(), [=](const sxCertifiedKey &key) {
    return key.Root() != nullptr && sxTrust_SameDN(key.Root()->DN(), dn);
  });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByID(const unsigned char *id, int idLen) {
  return FindFirst<sxCertifiedKey>(ListedKeys(), [=](const sxCertifiedKey &key) { return key.HasId(id, idLen); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByDefault() {
  const sxCertifiedKey *lastOf[kNumPreferences] = {};
  sxCertifiedKey *preferred = FindFirst<sxCertifiedKey>(ListedKeys(), [&lastOf](const sxCertifiedKey &key) {
    const Preference preference = PreferenceOf(key);
    lastOf[preference] = &key;
    return preference == kPreferred;
  });
  if (preferred != nullptr) return preferred;
  return const_cast<sxCertifiedKey *>(lastOf[kOther] != nullptr ? lastOf[kOther] : lastOf[kLast]);
}

void sxKeyHolder_imp::operator+=(sxKeyHolder_imp &other) {
  if (&other == this) return;
  for (const SharedRef<sxRootCA> &ca : RefsOf<sxRootCA>(other.ListedCAs())) AddCA(ca.get());
  for (const SharedRef<sxCertifiedKey> &key : RefsOf<sxCertifiedKey>(other.ListedKeys())) AddCertKey(key.get());
}

bool sxKeyHolder_imp::HasKeys() { return ListedKeys().Count() > 0; }
bool sxKeyHolder_imp::HasRootCAs() { return ListedCAs().Count() > 0; }

void sxKeyHolder_imp::Herror_Short() {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "Root CAs:");
  for (const SharedRef<sxRootCA> &ca : RefsOf<sxRootCA>(ListedCAs())) ca->Herror();
  herror_func(0, 0, "Certified keys:");
  for (const SharedRef<sxCertifiedKey> &key : RefsOf<sxCertifiedKey>(ListedKeys())) key->Herror();
}

std::vector<SharedRef<sxCert>> sxKeyHolder_imp::IntermediateRefs(const sxDN &dn) {
  std::vector<SharedRef<sxCert>> certs;
  for (const SharedRef<sxCertifiedKey> &key : RefsOf<sxCertifiedKey>(ListedKeys())) {
    const sxCerts &chain = key->Chain();
    for (int i = 1; i < chain.Slots(); ++i) {  // position 0 is the holder's own certificate
      sxCert *cert = chain.Get(i);
      if (cert != nullptr && cert->Subject() != nullptr && cert->Subject()->Equal(dn)) certs.emplace_back(cert);
    }
  }
  std::ranges::sort(certs, {}, [](const SharedRef<sxCert> &cert) { return sxOctetsOf(*cert); });
  SharedRef<sxCert> cached = SharedRef<sxCert>::Adopt(GetIntermediateCA_Save(dn));
  if (cached) certs.insert(certs.begin(), std::move(cached));
  return certs;
}

sxKeyHolder *sxKeyHolder_imp::NewSorted() {
  sxKeyHolder *sorted = sxKeyHolder_New();
  for (const SharedRef<sxRootCA> &ca : RefsOf<sxRootCA>(ListedCAs())) {
    if (CertKeyByID(ca->Id(), ca->IdLen()) == nullptr && IsTopMost(*this, *ca)) sorted->AddCA(ca.get());
  }
  const std::vector<SharedRef<sxCertifiedKey>> keys = RefsOf<sxCertifiedKey>(ListedKeys());
  for (int preference = kPreferred; preference < kNumPreferences; ++preference) {
    for (const SharedRef<sxCertifiedKey> &key : keys) {
      if (PreferenceOf(*key) == preference) sorted->AddCertKey(key.get());
    }
  }
  return sorted;
}

sxKeyHolder::sxKeyHolder(sxKeyHolder_imp *imp) : sxPKobj(imp) { imp->SetReal(this); }

sxKeyHolder_imp *sxKeyHolder::GetP() const { return static_cast<sxKeyHolder_imp *>(m_imp); }

sxRootCA_iterator *sxKeyHolder::RootCAs() { return GetP()->RootCAs(); }
int sxKeyHolder::AddCA(sxRootCA *ca) { return GetP()->AddCA(ca); }
int sxKeyHolder::RemoveCA(sxRootCA *ca) { return GetP()->RemoveCA(ca); }
sxRootCA *sxKeyHolder::RootCA_Lookup(const sxDN &dn) { return GetP()->RootCA_Lookup(dn); }
sxRootCA *sxKeyHolder::RootCA_Lookup_Save(const sxDN &dn) { return GetP()->RootRef(dn).Release(); }
sxRootCA *sxKeyHolder::CAByName(const char *name) { return GetP()->CAByName(name); }
sxRootCA *sxKeyHolder::CAByDN(const sxDN *dn) { return GetP()->CAByDN(dn); }
sxRootCA *sxKeyHolder::CAByID(const unsigned char *id, int idLen) { return GetP()->CAByID(id, idLen); }

int sxKeyHolder::AddIntermediateCA(sxCert *cert) { return GetP()->AddIntermediateCA(cert); }
sxCert *sxKeyHolder::GetIntermediateCA(const sxDN &dn) { return GetP()->GetIntermediateCA(dn); }
sxCert *sxKeyHolder::GetIntermediateCA_Save(const sxDN &dn) { return GetP()->GetIntermediateCA_Save(dn); }
int sxKeyHolder::IntermediateCAsCount() { return GetP()->IntermediateCAsCount(); }
int sxKeyHolder::RemoveIntermediateCA(const sxCert *cert) { return GetP()->RemoveIntermediateCA(cert); }

sxCertKey_iterator *sxKeyHolder::CertKeys() { return GetP()->CertKeys(); }
int sxKeyHolder::AddCertKey(sxCertifiedKey *key) { return GetP()->AddCertKey(key); }
int sxKeyHolder::RemoveCertKey(sxCertifiedKey *key) { return GetP()->RemoveCertKey(key); }
sxCertifiedKey *sxKeyHolder::CertKeyByName(const char *name) { return GetP()->CertKeyByName(name); }
sxCertifiedKey *sxKeyHolder::CertKeyByDN(const sxDN *dn) { return GetP()->CertKeyByDN(dn); }
sxCertifiedKey *sxKeyHolder::CertKeyBySubCA(const sxDN &dn) { return GetP()->CertKeyBySubCA(dn); }
sxCertifiedKey *sxKeyHolder::CertKeyByCADN(const sxDN *dn) { return GetP()->CertKeyByCADN(dn); }
sxCertifiedKey *sxKeyHolder::CertKeyByID(const unsigned char *id, int idLen) { return GetP()->CertKeyByID(id, idLen); }
sxCertifiedKey *sxKeyHolder::CertKeyByDefault() { return GetP()->CertKeyByDefault(); }

sxKeyHolder &sxKeyHolder::operator+=(sxKeyHolder &other) {
  *GetP() += *other.GetP();
  return *this;
}

bool sxKeyHolder::HasKeys() { return GetP()->HasKeys(); }
bool sxKeyHolder::HasRootCAs() { return GetP()->HasRootCAs(); }
void sxKeyHolder::Herror_Short() { GetP()->Herror_Short(); }

sxKeyHolder *sxKeyHolder_Sort(sxKeyHolder *holder) { return holder != nullptr ? holder->GetP()->NewSorted() : nullptr; }
