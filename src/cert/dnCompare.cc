// Comparing names.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "dnValue.h"
#include "sxDN_imp.h"

namespace {

bool SameType(const sxAva &a, const sxAva &b) {
  return a.oidLen == b.oidLen && std::memcmp(a.oid, b.oid, a.oidLen) == 0;
}

bool AvaEqual(const sxAva &a, const sxAva &b) { return SameType(a, b) && sxAttrValEqual(a, b); }

// In front of what it counts, so that a key falls apart in one way only.
void AppendLen(size_t len, std::string *key) {
  for (int shift = 0; shift < 32; shift += 8) *key += static_cast<char>(len >> shift & 0xFF);
}

constexpr uint32_t kMaxPairedAvas = 64;  // an RDN has one AVA, seldom two; more than this equals nothing

}  // namespace

bool sxAsn_RdnEqual(const sxFlatName::Range &a, const sxFlatName::Range &b) {
  if (a.Count() != b.Count()) return false;
  if (a.Count() == 1) return AvaEqual(*a.begin, *b.begin);
  if (a.Count() > kMaxPairedAvas) return false;
  // Partners are used up, so that equality has no direction even when an RDN repeats an AVA.
  uint64_t used = 0;
  for (const sxAva *ava = a.begin; ava < a.end; ++ava) {
    uint32_t partner = 0;
    while (partner < b.Count() && ((used >> partner & 1) != 0 || !AvaEqual(*ava, b.begin[partner]))) ++partner;
    if (partner == b.Count()) return false;
    used |= uint64_t{1} << partner;
  }
  return true;
}

bool sxAppendRdnKey(const sxFlatName::Range &rdn, std::string *key) {
  if (rdn.Count() > kMaxPairedAvas) return false;
  std::vector<std::string> avas;  // their order does not count
  for (const sxAva *ava = rdn.begin; ava < rdn.end; ++ava) {
    std::string one;
    AppendLen(ava->oidLen, &one);
    one.append(reinterpret_cast<const char *>(ava->oid), ava->oidLen);
    if (!sxAppendValueKey(*ava, &one)) return false;
    avas.push_back(std::move(one));
  }
  std::sort(avas.begin(), avas.end());
  AppendLen(avas.size(), key);
  for (const std::string &ava : avas) {
    AppendLen(ava.size(), key);
    *key += ava;
  }
  return true;
}

bool sxDN_imp::AppendKey(std::string *key) const {
  if (!m_hasName) return false;
  sxFlatName::Range rdn = m_flat.Start();
  for (uint32_t i = 0; i < m_flat.NumRdns(); ++i) {
    rdn = m_flat.Next(rdn, i);
    if (!sxAppendRdnKey(rdn, key)) return false;
  }
  return true;
}

bool sxASN_NameSub(const sxFlatName &name, const sxFlatName &suffix) {
  if (suffix.NumRdns() > name.NumRdns()) return false;
  sxFlatName::Range own = name.Start();
  sxFlatName::Range other = suffix.Start();
  for (uint32_t rdn = 0; rdn < suffix.NumRdns(); ++rdn) {
    own = name.Next(own, rdn);
    other = suffix.Next(other, rdn);
    if (!sxAsn_RdnEqual(own, other)) return false;
  }
  return true;
}

bool sxASN_NameEqual(const sxFlatName &a, const sxFlatName &b) {
  return a.NumRdns() == b.NumRdns() && sxASN_NameSub(a, b);
}

bool sxDN_imp::Equal(const sxDN_imp &other) const {
  if (!m_hasName || !other.m_hasName || Hash() != other.Hash()) return false;
  return sxASN_NameEqual(m_flat, other.m_flat);
}

bool sxDN_imp::IsSub(const sxDN_imp &suffix) const {
  return m_hasName && suffix.m_hasName && sxASN_NameSub(m_flat, suffix.m_flat);
}

uint64_t sxDN_imp::Hash() const {
  if (!m_hasName) return 0;
  if (const uint64_t known = m_hash.load(std::memory_order_relaxed); known != 0) return known;
  constexpr uint64_t kMix = 0x9E3779B97F4A7C15;
  uint64_t hash = m_flat.NumRdns() + 1;
  uint32_t rdn = 0;
  uint64_t sum = 0;  // of an RDN's AVAs: their order does not count
  for (const sxAva &ava : m_flat.Avas()) {
    if (ava.rdn != rdn) {
      hash = (hash ^ sum) * kMix + ava.rdn;
      sum = 0;
      rdn = ava.rdn;
    }
    uint64_t avaHash = sxAttrValHash(ava);
    for (uint32_t i = 0; i < ava.oidLen; ++i) avaHash = (avaHash ^ ava.oid[i]) * 0x100000001B3;
    sum += avaHash ^ avaHash >> 29;
  }
  hash = (hash ^ sum) * kMix;
  hash ^= hash >> 32;
  if (hash == 0) hash = 1;
  m_hash.store(hash, std::memory_order_relaxed);  // every thread computes the same
  return hash;
}
