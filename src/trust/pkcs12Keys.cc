#include "kxcert/trust/pkcs12Keys.h"

#include <algorithm>
#include <map>
#include <utility>

#include "cert/peerText.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/certPool.h"
#include "trust/sharedRef.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr int kNone = -1;

class Sorter {
 public:
  explicit Sorter(const std::vector<sxPkcs12Bag> &bags) : m_bags(bags) {}

  sxPkcs12Order Run() {
    sxCerts certs;
    for (size_t i = 0; i < m_bags.size(); ++i) TakeCert(static_cast<int>(i), certs);
    const CertPool pool(&certs, kxClock_Now());
    for (size_t i = 0; i < m_bags.size(); ++i) TakeKey(static_cast<int>(i), pool);
    for (size_t i = 0; i < m_bags.size(); ++i) TakeOther(static_cast<int>(i));
    return std::move(m_order);
  }

 private:
  const sxPkcs12Bag &Bag(int number) const { return m_bags[static_cast<size_t>(number)]; }

  // What a key and its certificate have in common, from the closest on.
  enum Tie { kByKeyId, kByName, kByKey };
  using TieKey = std::pair<Tie, std::string>;
  // Without octets where there is no such tie.
  static TieKey KeyOf(Tie tie, const sxPkcs12Bag &bag, const sxPubKey &key) {
    const unsigned char *const hash = key.PublicKeyHash();
    if (hash == nullptr || (tie == kByKeyId && bag.keyId.empty()) || (tie == kByName && bag.name.empty())) return {};
    std::string octets(reinterpret_cast<const char *>(hash), kPublicKeyHashLen);
    if (tie == kByKeyId) octets.append(reinterpret_cast<const char *>(bag.keyId.data()), bag.keyId.size());
    if (tie == kByName) octets += bag.name;
    return {tie, octets};
  }

  void TakeCert(int number, sxCerts &certs) {
    const sxPkcs12Bag &bag = Bag(number);
    if (bag.cert == nullptr) return;
    AddReference(certs, bag.cert);
    m_numbers.emplace(bag.cert, number);
    if (bag.cert->PubKey() == nullptr) return;
    for (const Tie tie : {kByKeyId, kByName, kByKey}) {
      m_ties.emplace(KeyOf(tie, bag, *bag.cert->PubKey()), number);  // the first one stays
    }
  }

  int CertOf(const sxPkcs12Bag &bag) const {
    for (const Tie tie : {kByKeyId, kByName, kByKey}) {
      const TieKey tieKey = KeyOf(tie, bag, *bag.key);
      const auto found = tieKey.second.empty() ? m_ties.end() : m_ties.find(tieKey);
      if (found != m_ties.end()) return found->second;
    }
    return kNone;
  }

  void TakeKey(int number, const CertPool &pool) {
    if (Bag(number).key == nullptr) return;
    int cert = CertOf(Bag(number));
    if (cert == kNone) return m_order.otherKeys.push_back(number);
    sxPkcs12Key &key = m_order.keys.emplace_back();
    key.key = number;
    for (; cert != kNone && key.chain.size() < static_cast<size_t>(kMaxChainLevels); cert = IssuerOf(cert, pool)) {
      if (std::ranges::find(key.chain, cert) != key.chain.end()) break;
      key.chain.push_back(cert);
      m_isUsed.insert_or_assign(cert, true);
    }
  }

  // Chains have their upper ends in common, so each is looked for once.
  int IssuerOf(int number, const CertPool &pool) {
    const auto known = m_issuers.find(number);
    if (known != m_issuers.end()) return known->second;
    int issuer = kNone;
    const sxCert &cert = *Bag(number).cert;
    if (!IsRoot(cert)) issuer = FindIssuer(cert, pool);
    return m_issuers.emplace(number, issuer).first->second;
  }

  bool Verifies(const sxCert &cert, sxPubKey *key) {
    if (m_numVerifications == kMaxPkcs12Verifications) m_order.isCut = true;
    if (m_order.isCut || key == nullptr) return false;
    ++m_numVerifications;
    return cert.VerifySig(key) == 0;
  }

  // One that its CA's former key signed has the CA's own name as well (RFC 4210, 4.4).
  bool IsRoot(const sxCert &cert) { return sxTrust_IsSelfIssued(cert) && Verifies(cert, cert.PubKey()); }

  int FindIssuer(const sxCert &cert, const CertPool &pool) {
    for (sxCert *const candidate : pool.IssuersOf(cert, kMaxPkcs12Issuers)) {
      if (candidate != &cert && Verifies(cert, candidate->PubKey())) return m_numbers.at(candidate);
    }
    return kNone;
  }

  void TakeOther(int number) {
    const sxPkcs12Bag &bag = Bag(number);
    if (bag.key != nullptr || bag.kind == sxPkcs12Kind::kSafe || m_isUsed.contains(number)) return;
    (bag.cert != nullptr  ? m_order.otherCerts
     : bag.crl != nullptr ? m_order.otherCrls
                          : m_order.others)
        .push_back(number);
  }

  const std::vector<sxPkcs12Bag> &m_bags;
  std::map<TieKey, int> m_ties;
  std::map<const sxCert *, int> m_numbers;
  std::map<int, int> m_issuers;
  std::map<int, bool> m_isUsed;
  int m_numVerifications = 0;
  sxPkcs12Order m_order;
};

// Whether bags may be looked at without a doubt.
bool IsOf(const sxPkcs12 &container, const sxPkcs12Key &key) {
  const auto &bags = container.Bags();
  const auto isThere = [&bags](int number) { return number >= 0 && static_cast<size_t>(number) < bags.size(); };
  return isThere(key.key) && bags[static_cast<size_t>(key.key)].key != nullptr && !key.chain.empty() &&
         std::ranges::all_of(key.chain, [&](int number) {
           return isThere(number) && bags[static_cast<size_t>(number)].cert != nullptr;
         });
}

SharedRef<sxRootCA> RootOf(const sxPkcs12 &container, const sxPkcs12Key &key, sxKeyHolder &holder) {
  for (const int number : key.chain) {
    TrustType type = TrustType_none;
    auto root = SharedRef<sxRootCA>::Adopt(
        holder.IsCertTrusted_Save(*container.Bags()[static_cast<size_t>(number)].cert, type));
    if (root) return root;
  }
  return {};
}

}  // namespace

sxPkcs12Order sxPkcs12_Order(const sxPkcs12 &container) {
  return container.IsOpen() ? Sorter(container.Bags()).Run() : sxPkcs12Order();
}

sxCertifiedKey *sxPkcs12_NewCertifiedKey(const sxPkcs12 &container, const sxPkcs12Key &key, sxRootCA *root,
                                         int purpose) {
  if (!IsOf(container, key)) return nullptr;
  const sxPkcs12Bag &bag = container.Bags()[static_cast<size_t>(key.key)];
  sxCerts chain;
  for (const int number : key.chain) AddReference(chain, container.Bags()[static_cast<size_t>(number)].cert);
  const bool isNamed = !bag.name.empty() && !sxHoldsNul(bag.name);
  return new sxCertifiedKey(isNamed ? bag.name.c_str() : nullptr, chain, root, bag.key, purpose,
                            bag.keyId.empty() ? nullptr : bag.keyId.data(), static_cast<int>(bag.keyId.size()));
}

int sxPkcs12_AddKeys(const sxPkcs12 &container, const sxPkcs12Order &order, int purpose, sxKeyHolder &holder) {
  std::vector<SharedRef<sxCertifiedKey>> keys;
  for (const sxPkcs12Key &key : order.keys) {
    if (!IsOf(container, key)) break;
    const SharedRef<sxRootCA> root = RootOf(container, key, holder);
    keys.push_back(SharedRef<sxCertifiedKey>::Adopt(sxPkcs12_NewCertifiedKey(container, key, root.get(), purpose)));
  }
  if (keys.empty() || keys.size() != order.keys.size()) {
    return herror_func(0, 0, "%s: no key with a certificate", "sxPkcs12_AddKeys"), -1;
  }
  for (size_t i = 0; i < keys.size(); ++i) {
    if (holder.AddCertKey(keys[i].get()) == 0) continue;
    while (i-- > 0) static_cast<void>(holder.RemoveCertKey(keys[i].get()));
    return herror_func(0, 0, "%s: the holder takes no more keys", "sxPkcs12_AddKeys"), -1;
  }
  return static_cast<int>(keys.size());
}

int sxPkcs12_Export(const sxCertifiedKey &key, const sxPkcs12Settings &settings, sxPbeOctets password, kxBinBuf &out,
                    std::string *why) {
  if (key.PubKey() == nullptr) {
    if (why != nullptr) *why = "failed: there is no key";
    return herror_func(0, 0, "%s: there is no key", "sxPkcs12_Export"), sxPkcs12_failed;
  }
  const sxCerts &chain = key.Chain();
  std::vector<sxPkcs12Entry> entries(1);
  entries[0].key = key.PubKey();
  // Without a name of its own an object answers with its subject's.
  const char *const name = key.Name(), *const subject = key.DN() == nullptr ? nullptr : key.DN()->GetStr();
  if (name != nullptr && (subject == nullptr || std::string_view(name) != subject)) entries[0].name = name;
  for (int i = 0; i < chain.Slots(); ++i) {
    if (chain.Get(i) == nullptr) continue;
    if (entries[0].cert != nullptr) entries.emplace_back();
    entries.back().cert = chain.Get(i);
  }
  return sxPkcs12_Write(entries, settings, password, out, why);
}
