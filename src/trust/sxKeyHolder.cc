#include "kxcert/trust/sxKeyHolder.h"

#include <cstring>
#include <memory>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

// The first object of a new iterator that fits, lent, or null.
template <class Iterator, class Fits>
auto FindFirst(Iterator *objects, Fits fits) {
  const std::unique_ptr<Iterator> it(objects);
  while (it->Curr() != nullptr && !fits(*it->Curr())) it->Next();
  return it->Curr();
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
bool IsTopMost(sxKeyHolder &holder, const sxRootCA &root) {
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
  return FindFirst(RootCAs(), [=](const sxRootCA &ca) { return HasName(ca, name); });
}

sxRootCA *sxKeyHolder_imp::CAByDN(const sxDN *dn) {
  return FindFirst(RootCAs(), [=](const sxRootCA &ca) { return sxTrust_SameDN(ca.DN(), dn); });
}

sxRootCA *sxKeyHolder_imp::CAByID(const unsigned char *id, int idLen) {
  return FindFirst(RootCAs(), [=](const sxRootCA &ca) { return ca.HasId(id, idLen); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByName(const char *name) {
  return FindFirst(CertKeys(), [=](const sxCertifiedKey &key) { return HasName(key, name); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByDN(const sxDN *dn) {
  return FindFirst(CertKeys(), [=](const sxCertifiedKey &key) { return sxTrust_SameDN(key.DN(), dn); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyBySubCA(const sxDN &dn) {
  return FindFirst(CertKeys(), [&dn](const sxCertifiedKey &key) { return key.Chain().GetBySubjectDN(dn) != nullptr; });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByCADN(const sxDN *dn) {
  return FindFirst(CertKeys(), [=](const sxCertifiedKey &key) {
    return key.Root() != nullptr && sxTrust_SameDN(key.Root()->DN(), dn);
  });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByID(const unsigned char *id, int idLen) {
  return FindFirst(CertKeys(), [=](const sxCertifiedKey &key) { return key.HasId(id, idLen); });
}

sxCertifiedKey *sxKeyHolder_imp::CertKeyByDefault() {
  sxCertifiedKey *lastOf[kNumPreferences] = {};
  const std::unique_ptr<sxCertKey_iterator> it(CertKeys());
  for (; it->Curr() != nullptr; it->Next()) {
    const Preference preference = PreferenceOf(*it->Curr());
    if (preference == kPreferred) return it->Curr();
    lastOf[preference] = it->Curr();
  }
  return lastOf[kOther] != nullptr ? lastOf[kOther] : lastOf[kLast];
}

void sxKeyHolder_imp::operator+=(sxKeyHolder_imp &other) {
  if (&other == this) return;
  const std::unique_ptr<sxRootCA_iterator> cas(other.RootCAs());
  for (; cas->Curr() != nullptr; cas->Next()) AddCA(cas->Curr());
  const std::unique_ptr<sxCertKey_iterator> keys(other.CertKeys());
  for (; keys->Curr() != nullptr; keys->Next()) AddCertKey(keys->Curr());
}

bool sxKeyHolder_imp::HasKeys() {
  const std::unique_ptr<sxCertKey_iterator> keys(CertKeys());
  return keys->Curr() != nullptr;
}

bool sxKeyHolder_imp::HasRootCAs() {
  const std::unique_ptr<sxRootCA_iterator> cas(RootCAs());
  return cas->Curr() != nullptr;
}

void sxKeyHolder_imp::Herror_Short() {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "Root CAs:");
  const std::unique_ptr<sxRootCA_iterator> cas(RootCAs());
  for (; cas->Curr() != nullptr; cas->Next()) cas->Curr()->Herror();
  herror_func(0, 0, "Certified keys:");
  const std::unique_ptr<sxCertKey_iterator> keys(CertKeys());
  for (; keys->Curr() != nullptr; keys->Next()) keys->Curr()->Herror();
}

sxKeyHolder::sxKeyHolder(sxKeyHolder_imp *imp) : sxPKobj(imp) { imp->SetReal(this); }

sxKeyHolder_imp *sxKeyHolder::GetP() const { return static_cast<sxKeyHolder_imp *>(m_imp); }

sxRootCA_iterator *sxKeyHolder::RootCAs() { return GetP()->RootCAs(); }
int sxKeyHolder::AddCA(sxRootCA *ca) { return GetP()->AddCA(ca); }
int sxKeyHolder::RemoveCA(sxRootCA *ca) { return GetP()->RemoveCA(ca); }
sxRootCA *sxKeyHolder::RootCA_Lookup(const sxDN &dn) { return GetP()->RootCA_Lookup(dn); }
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
sxCertifiedKey *sxKeyHolder::CertKeyByID(const unsigned char *id, int idLen) {
  return GetP()->CertKeyByID(id, idLen);
}
sxCertifiedKey *sxKeyHolder::CertKeyByDefault() { return GetP()->CertKeyByDefault(); }

sxKeyHolder &sxKeyHolder::operator+=(sxKeyHolder &other) {
  *GetP() += *other.GetP();
  return *this;
}

bool sxKeyHolder::HasKeys() { return GetP()->HasKeys(); }
bool sxKeyHolder::HasRootCAs() { return GetP()->HasRootCAs(); }
void sxKeyHolder::Herror_Short() { GetP()->Herror_Short(); }

sxKeyHolder *sxKeyHolder_Sort(sxKeyHolder *holder) {
  if (holder == nullptr) return nullptr;
  sxKeyHolder *sorted = sxKeyHolder_New();
  const std::unique_ptr<sxRootCA_iterator> cas(holder->RootCAs());
  for (; cas->Curr() != nullptr; cas->Next()) {
    sxRootCA *ca = cas->Curr();
    if (holder->CertKeyByID(ca->Id(), ca->IdLen()) == nullptr && IsTopMost(*holder, *ca)) sorted->AddCA(ca);
  }
  std::vector<sxCertifiedKey *> keys[kNumPreferences];
  const std::unique_ptr<sxCertKey_iterator> it(holder->CertKeys());
  for (; it->Curr() != nullptr; it->Next()) keys[PreferenceOf(*it->Curr())].push_back(it->Curr());
  for (const std::vector<sxCertifiedKey *> &equals : keys) {
    for (sxCertifiedKey *key : equals) sorted->AddCertKey(key);
  }
  return sorted;
}
