#include "trust/certPool.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"

size_t sxKeyIdHash(const sxExtKeyID *keyId) {
  if (keyId == nullptr || keyId->KIdBuf().IsEmpty()) return 0;
  const kxBinBuf &octets = keyId->KIdBuf();
  return std::hash<std::string_view>()({reinterpret_cast<const char *>(octets.Data()), octets.Len()});
}

bool sxIsOutOfDate(const sxCert &cert, int64_t now) { return now < cert.notBefore() || now > cert.notAfter(); }

std::string_view sxOctetsOf(const sxCert &cert) {
  return {reinterpret_cast<const char *>(cert.GetBuf()), cert.BufLen()};
}

CertPool::CertPool(const sxCerts *certs, int64_t now) {
  for (int i = 0; certs != nullptr && i < certs->Slots(); ++i) {
    sxCert *cert = certs->Get(i);
    if (cert == nullptr || cert->OK() == 0 || cert->Subject() == nullptr) continue;
    m_held.emplace_back(cert);
    m_byDate.push_back({cert->Subject()->Hash(), sxKeyIdHash(cert->SubjectKeyId()), sxIsOutOfDate(*cert, now), cert});
  }
  std::ranges::sort(m_byDate, {}, [](const Entry &entry) {
    return std::tuple(entry.nameHash, entry.isOutOfDate, sxOctetsOf(*entry.cert));
  });
  const auto isCopy = [](const Entry &a, const Entry &b) { return *a.cert == *b.cert; };
  m_byDate.erase(std::unique(m_byDate.begin(), m_byDate.end(), isCopy), m_byDate.end());
  m_byKeyId = m_byDate;
  std::ranges::stable_sort(m_byKeyId, {},
                           [](const Entry &entry) { return std::pair(entry.nameHash, entry.keyIdHash); });
}

std::vector<sxCert *> CertPool::IssuersOf(const sxCert &cert, size_t maxCount) const {
  std::vector<sxCert *> issuers;
  if (cert.Issuer() == nullptr) return issuers;
  const uint64_t name = cert.Issuer()->Hash();
  const size_t keyId = sxKeyIdHash(cert.AuthorityKeyId());
  const auto take = [&](const Entry &entry) {
    if (issuers.size() < maxCount && entry.cert->Subject()->Equal(*cert.Issuer())) issuers.push_back(entry.cert);
  };
  const auto isWanted = [&](const Entry &entry) { return keyId != 0 && entry.keyIdHash == keyId; };
  const auto nameAndKeyId = [](const Entry &entry) { return std::pair(entry.nameHash, entry.keyIdHash); };
  auto first = std::ranges::lower_bound(m_byKeyId, std::pair(name, keyId), {}, nameAndKeyId);
  for (; first != m_byKeyId.end() && first->nameHash == name && isWanted(*first); ++first) {
    if (issuers.size() == maxCount) return issuers;
    take(*first);
  }
  auto other = std::ranges::lower_bound(m_byDate, name, {}, &Entry::nameHash);
  for (; other != m_byDate.end() && other->nameHash == name && issuers.size() < maxCount; ++other) {
    if (!isWanted(*other)) take(*other);
  }
  return issuers;
}
