#include "kxcert/cert/sxDN.h"

#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "attributeTypes.h"
#include "dnValue.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "peerText.h"
#include "sxDN_imp.h"

namespace {

bool IsType(const sxAva &ava, const sxAsnOid &type) {
  return static_cast<int>(ava.oidLen) == type.Len() && std::memcmp(ava.oid, type.Data(), ava.oidLen) == 0;
}

bool HoldsType(const sxFlatName::Range &rdn, const sxAsnOid &type) {
  for (const sxAva *ava = rdn.begin; ava < rdn.end; ++ava) {
    if (IsType(*ava, type)) return true;
  }
  return false;
}

}  // namespace

sxDN_imp::sxDN_imp(const char *text) {
  if (const auto name = sxParseDN(text); name != nullptr) LoadTree(*name);
}

sxDN_imp::sxDN_imp(const unsigned char *der, int len) {
  if (der == nullptr || len < 1) return;
  if (LoadOctets(sxView(der, len), false)) return;
  sxASN_RDNSequence name;  // not plain, or no name: the codec decides
  if (sxASN_DecodeBuf(name, reinterpret_cast<const char *>(der), len) == 0) LoadTree(name);
}

sxDN_imp::sxDN_imp(const sxASN_RDNSequence *name) {
  if (name != nullptr) LoadTree(*name);
}

sxDN_imp::sxDN_imp(const sxDN_imp &other) { Set(other); }

sxDN_imp::sxDN_imp(sxOctetView octets, sxFlatName &&flat)
    : m_hasName(true), m_octets(octets), m_flat(std::move(flat)) {}

void sxDN_imp::Forget() {
  m_hasName = false;
  m_owned.reset();
  m_octets = {};
  m_flat = sxFlatName();
  m_str.Reset();
  m_str_ascii.Reset();
  m_der.Reset();
  m_name.Reset();
  m_hash.store(0, std::memory_order_relaxed);
}

bool sxDN_imp::LoadTree(const sxASN_RDNSequence &name) {
  kxBinBuf encoded;
  // Unsorted: AVAs keep their order within an RDN.
  if (sxASN_EncodeBuf(const_cast<sxASN_RDNSequence &>(name), encoded, 0) != 0) return false;
  return LoadOctets({encoded.Data(), encoded.Len()}, true);
}

bool sxDN_imp::LoadOctets(sxOctetView der, bool decoded) {
  auto copy = std::make_unique_for_overwrite<unsigned char[]>(der.size());
  std::ranges::copy(der, copy.get());
  const sxOctetView octets = {copy.get(), der.size()};
  sxFlatName flat;
  if (!flat.Read(octets, decoded)) return false;
  m_octets = octets;
  m_owned = std::move(copy);
  m_flat = std::move(flat);
  m_hasName = true;
  return true;
}

int sxDN_imp::Set(const sxDN_imp &other) {
  if (&other == this) return m_hasName ? 0 : -1;
  Forget();
  if (!other.m_hasName) return -1;
  return LoadOctets(other.m_octets, true) ? 0 : -1;  // they were read before
}

bool sxDN_imp::Print(bool ascii, std::string *text) const {
  sxFlatName::Range rdn = m_flat.End();
  for (uint32_t i = m_flat.NumRdns(); i-- > 0;) {
    rdn = m_flat.Previous(rdn, i);
    if (i + 1 != m_flat.NumRdns()) *text += ',';
    for (const sxAva *ava = rdn.begin; ava < rdn.end; ++ava) {
      if (ava != rdn.begin) *text += '+';
      if (!sxAppendKeyword(ava->oid, static_cast<int>(ava->oidLen), text)) return false;
      *text += '=';
      if (!sxAppendValue(*ava, ascii, text)) return false;
    }
  }
  return true;
}

const char *sxDN_imp::Text(PublishOnce<std::string> &cache, bool ascii, const char *func) const {
  try {
    const std::string *text = cache.Get([this, ascii]() -> std::unique_ptr<std::string> {
      if (!m_hasName) return nullptr;
      auto printed = std::make_unique<std::string>();
      printed->reserve(m_octets.size());
      return Print(ascii, printed.get()) ? std::move(printed) : nullptr;
    });
    return text != nullptr ? text->c_str() : nullptr;
  } catch (const std::bad_alloc &) {
    herror_func(0, 0, "%s: new operator failed", func);
    return nullptr;
  }
}

std::unique_ptr<kxBinBuf> sxDN_imp::Encode() const {
  const sxASN_RDNSequence *name = GetName();
  auto encoded = std::make_unique<kxBinBuf>();
  if (name == nullptr || sxASN_EncodeBuf(const_cast<sxASN_RDNSequence &>(*name), *encoded, 1) != 0) return nullptr;
  if (encoded->Len() <= kMaxDnDer) return encoded;
  herror_func(0, 0, "sxDN_imp::DerEncode: %u octets do not fit %d", encoded->Len(), kMaxDnDer);
  return nullptr;
}

int sxDN_imp::DerEncode(unsigned char **out, int *len) const {
  if (out == nullptr || len == nullptr || !m_hasName) return -1;
  kxBinBuf *der = nullptr;
  try {
    der = m_der.Get([this] { return Encode(); });
  } catch (const std::bad_alloc &) { herror_func(0, 0, "sxDN_imp::DerEncode: new operator failed"); }
  if (der == nullptr) return -1;
  *out = der->Data();
  *len = static_cast<int>(der->Len());
  return 0;
}

const sxASN_RDNSequence *sxDN_imp::GetName() const {
  if (!m_hasName) return nullptr;
  return m_name.Get([this]() -> std::unique_ptr<sxASN_RDNSequence> {
    auto name = std::make_unique<sxASN_RDNSequence>();
    const auto *octets = reinterpret_cast<const char *>(m_octets.data());
    if (sxASN_DecodeBuf(*name, octets, sxLen(m_octets)) != 0) return nullptr;
    return name;
  });
}

const sxAva *sxDN_imp::FindAva(const sxAsnOid &type) const {
  sxFlatName::Range rdn = m_flat.End();
  for (uint32_t i = m_flat.NumRdns(); i-- > 0;) {
    rdn = m_flat.Previous(rdn, i);
    for (const sxAva *ava = rdn.begin; ava < rdn.end; ++ava) {
      if (IsType(*ava, type)) return ava;
    }
  }
  return nullptr;
}

int sxDN_imp::GetRDN(const char *func, const sxAsnOid &type, char *buf, int len) const {
  const sxAva *ava = FindAva(type);
  std::string text;
  return ava != nullptr && sxAppendValue(*ava, false, &text) ? sxHandOut(func, text, buf, len) : -1;
}

int sxDN_imp::IsContain(const sxAsnOid *type) const {
  if (type == nullptr) return -1;
  for (const sxAva &ava : m_flat.Avas()) {
    if (IsType(ava, *type)) return 0;
  }
  return -1;
}

int sxDN_imp::RemoveRdns(const std::vector<bool> &gone) {
  const sxASN_RDNSequence *name = GetName();
  if (name == nullptr) return 0;
  sxASN_RDNSequence shorter;
  size_t i = 0;
  for (const sxASN_RelativeDistinguishedName &rdn : *name) {
    if (!gone[i++]) shorter.AppendCopy(rdn);
  }
  Forget();
  return LoadTree(shorter) ? 1 : 0;
}

int sxDN_imp::RemoveRdnNumber(uint32_t rdn) {
  std::vector<bool> gone(m_flat.NumRdns());
  gone[rdn] = true;
  return RemoveRdns(gone);
}

int sxDN_imp::RemoveCN() {
  if (Count() == 0) return 0;
  const uint32_t last = m_flat.NumRdns() - 1;
  const sxFlatName::Range rdn = m_flat.Previous(m_flat.End(), last);
  return HoldsType(rdn, sxASN_id_at_commonName) ? RemoveRdnNumber(last) : 0;
}

int sxDN_imp::RemoveOid(const sxAsnOid *type) {
  if (type == nullptr) return 0;
  sxFlatName::Range rdn = m_flat.Start();
  for (uint32_t i = 0; i < m_flat.NumRdns(); ++i) {
    rdn = m_flat.Next(rdn, i);
    if (HoldsType(rdn, *type)) return RemoveRdnNumber(i);
  }
  return 0;
}

int sxDN_imp::RemoveSubDN(const sxDN_imp &sub, sxDN_imp &out, int &whole) const {
  if (Count() == 0) return 0;
  // Found by their keys, marked and then removed together: comparing each with each, or removing one by
  // one, would take the square of their number.
  std::map<std::string, std::vector<uint32_t>> places;  // of equal ones, the first last
  sxFlatName::Range rdn = m_flat.End();
  for (uint32_t i = m_flat.NumRdns(); i-- > 0;) {
    rdn = m_flat.Previous(rdn, i);
    std::string key;
    if (sxAppendRdnKey(rdn, &key)) places[std::move(key)].push_back(i);
  }
  std::vector<bool> gone(m_flat.NumRdns());
  uint32_t numFound = 0;
  sxFlatName::Range wanted = sub.m_flat.Start();
  for (uint32_t i = 0; i < sub.m_flat.NumRdns(); ++i) {
    wanted = sub.m_flat.Next(wanted, i);
    std::string key;
    const auto found = sxAppendRdnKey(wanted, &key) ? places.find(key) : places.end();
    if (found == places.end() || found->second.empty()) continue;
    gone[found->second.back()] = true;
    found->second.pop_back();
    ++numFound;
  }
  whole = numFound == sub.m_flat.NumRdns() ? 1 : 0;
  out.Set(*this);  // may be this name, or sub
  if (numFound > 0) out.RemoveRdns(gone);
  return 1;
}

sxDN::sxDN() : m_imp(new sxDN_imp) {}
sxDN::sxDN(const char *text) : m_imp(new sxDN_imp(text)) {}
sxDN::sxDN(const unsigned char *der, int len) : m_imp(new sxDN_imp(der, len)) {}
sxDN::sxDN(const sxASN_RDNSequence *name) : m_imp(new sxDN_imp(name)) {}
sxDN::sxDN(const sxDN &other) : m_imp(new sxDN_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
sxDN::sxDN(sxDN &&other) : sxDN() { std::swap(m_imp, other.m_imp); }
sxDN::~sxDN() { delete m_imp; }

sxDN &sxDN::operator=(const sxDN &other) {
  m_imp->Set(*other.m_imp);
  return *this;
}

int sxDN::Set(const sxDN &other) { return m_imp->Set(*other.m_imp); }
int sxDN::RemoveCN() { return m_imp->RemoveCN(); }
int sxDN::RemoveOid(const sxAsnOid *type) { return m_imp->RemoveOid(type); }
const char *sxDN::GetStr() const { return m_imp->GetStr(); }
const char *sxDN::GetStr_ascii() const { return m_imp->GetStr_ascii(); }
int sxDN::DerEncode(unsigned char **out, int *len) const { return m_imp->DerEncode(out, len); }
const sxASN_RDNSequence *sxDN::GetName() const { return m_imp->GetName(); }
int sxDN::Count() const { return m_imp->Count(); }
int sxDN::GetRDN(const sxAsnOid &type, char *buf, int len) const {
  return m_imp->GetRDN("sxDN::GetRDN", type, buf, len);
}
int sxDN::GetCN(char *buf, int len) const { return GetRDN(sxASN_id_at_commonName, buf, len); }
int sxDN::GetO(char *buf, int len) const { return GetRDN(sxASN_id_at_organizationName, buf, len); }
int sxDN::GetOU(char *buf, int len) const { return GetRDN(sxASN_id_at_organizationalUnitName, buf, len); }
int sxDN::IsContain(const sxAsnOid *type) const { return m_imp->IsContain(type); }
bool sxDN::Equal(const sxDN &other) const { return m_imp->Equal(*other.m_imp); }
bool sxDN::IsSub(const sxDN &suffix) const { return m_imp->IsSub(*suffix.m_imp); }
int sxDN::RemoveSubDN(const sxDN &sub, sxDN &out, int &whole) const {
  return m_imp->RemoveSubDN(*sub.m_imp, *out.m_imp, whole);
}
uint64_t sxDN::Hash() const { return m_imp->Hash(); }
