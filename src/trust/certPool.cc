#include "trust/certPool.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"

namespace {

// Any order will do that depends on nothing but the octets.
bool IsBefore(const sxCert &a, const sxCert &b) {
  if (a.BufLen() != b.BufLen()) return a.BufLen() < b.BufLen();
  return std::memcmp(a.GetBuf(), b.GetBuf(), a.BufLen()) < 0;
}

// Tells nearly all key identifiers apart; two that are equal by accident only spoil an order.
size_t HashOf(const sxExtKeyID *keyId) {
  if (keyId == nullptr || keyId->KIdBuf().IsEmpty()) return 0;
  const kxBinBuf &octets = keyId->KIdBuf();
  return std::hash<std::string_view>()({reinterpret_cast<const char *>(octets.Data()), octets.Len()});
}

}  // namespace

CertPool::CertPool(const sxCerts *certs, int64_t now) {
  for (int i = 0; certs != nullptr && i < certs->Slots(); ++i) {
    sxCert *cert = certs->Get(i);
    if (cert == nullptr || cert->OK() == 0 || cert->Subject() == nullptr) continue;
    m_entries.push_back({cert->Subject()->Hash(), HashOf(cert->SubjectKeyId()),
                         now < cert->notBefore() || now > cert->notAfter(), cert});
  }
  std::sort(m_entries.begin(), m_entries.end(), [](const Entry &a, const Entry &b) {
    if (a.nameHash != b.nameHash) return a.nameHash < b.nameHash;
    if (a.isOutOfDate != b.isOutOfDate) return b.isOutOfDate;
    return IsBefore(*a.cert, *b.cert);
  });
  const auto isCopy = [](const Entry &a, const Entry &b) { return *a.cert == *b.cert; };
  m_entries.erase(std::unique(m_entries.begin(), m_entries.end(), isCopy), m_entries.end());
}

std::vector<sxCert *> CertPool::IssuersOf(const sxCert &cert, size_t maxCount) const {
  std::vector<sxCert *> issuers;
  if (cert.Issuer() == nullptr) return issuers;
  const uint64_t name = cert.Issuer()->Hash();
  const size_t keyId = HashOf(cert.AuthorityKeyId());
  const auto begin = std::lower_bound(m_entries.begin(), m_entries.end(), name,
                                      [](const Entry &entry, uint64_t hash) { return entry.nameHash < hash; });
  for (const bool wantsKeyId : {true, false}) {
    for (auto entry = begin; entry != m_entries.end() && entry->nameHash == name; ++entry) {
      if (issuers.size() == maxCount) return issuers;
      const bool hasKeyId = keyId != 0 && entry->keyIdHash == keyId;
      if (hasKeyId == wantsKeyId && entry->cert->Subject()->Equal(*cert.Issuer())) issuers.push_back(entry->cert);
    }
  }
  return issuers;
}
