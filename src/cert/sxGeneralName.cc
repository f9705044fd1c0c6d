#include "kxcert/cert/sxGeneralName.h"
#include "foundation/textOutput.h"

#include <cstring>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "peerText.h"
#include "sxDN_imp.h"
#include "sxGeneralName_imp.h"

namespace {

constexpr int kKeywordLen = 257;  // "OID.", 252 characters and the NUL

// By kind; null where there is none.
constexpr const char *kLabels[] = {"Other Name", "Email", "DNS", nullptr, "DN", nullptr, "URI", "IP", "IP6"};
static_assert(sizeof kLabels / sizeof kLabels[0] == sxGN_ip6 + 1);

const char *LabelOf(sxGNtype type) { return type >= sxGN_other && type <= sxGN_ip6 ? kLabels[type] : nullptr; }

bool IsTextKind(sxGNtype type) { return type == sxGN_email || type == sxGN_dns || type == sxGN_uri; }

}  // namespace

sxGeneralName_imp::sxGeneralName_imp(sxGNtype type, const char *text, int len) {
  if (IsTextKind(type)) SetText(type, text, len);
}

sxGeneralName_imp::sxGeneralName_imp(const sxAsnOid *oid, const char *text, int len) {
  if (oid != nullptr && SetText(sxGN_other, text, len)) m_otherOid = oid;
}

sxGeneralName_imp::sxGeneralName_imp(const sxDN *dn) {
  if (dn == nullptr || !dn->GetP()->HasName()) return;
  m_dn = std::make_unique<sxDN>(*dn);
  m_type = sxGN_dn;
}

sxGeneralName_imp::sxGeneralName_imp(unsigned long ip) : m_type(sxGN_ip) {
  for (int i = 0; i < 4; ++i) m_ip.octets[i] = static_cast<unsigned char>(ip >> (24 - 8 * i));
}

sxGeneralName_imp::sxGeneralName_imp(const inx_addr_kxt &ip) : m_type(sxGN_ip), m_ip(ip) {}

sxGeneralName_imp::sxGeneralName_imp(const in6_addr_kxt &ip) : m_type(sxGN_ip6), m_ip6(ip) {}

sxGeneralName_imp::sxGeneralName_imp(const sxASN_GeneralName *name) {
  if (name == nullptr || name->Value() == nullptr) return;
  switch (name->ChoiceId()) {
    case sxASN_GeneralName::otherNameCid: SetOtherName(*name); break;
    case sxASN_GeneralName::rfc822NameCid:
      SetText(sxGN_email, name->rfc822Name()->Data(), name->rfc822Name()->Len());
      break;
    case sxASN_GeneralName::dNSNameCid: SetText(sxGN_dns, name->dNSName()->Data(), name->dNSName()->Len()); break;
    case sxASN_GeneralName::directoryNameCid:
      m_dn = std::make_unique<sxDN>(name->directoryName());
      m_type = m_dn->GetP()->HasName() ? sxGN_dn : sxGN_error;
      break;
    case sxASN_GeneralName::uniformResourceIdentifierCid:
      SetText(sxGN_uri, name->uniformResourceIdentifier()->Data(), name->uniformResourceIdentifier()->Len());
      break;
    case sxASN_GeneralName::iPAddressCid: SetAddress(name->iPAddress()->Data(), name->iPAddress()->Len()); break;
    default:  // x400Address, ediPartyName, registeredID
      break;
  }
}

sxGeneralName_imp::sxGeneralName_imp(const sxGeneralName_imp &other)
    : sxPooled(),
      m_type(other.m_type),
      m_ip(other.m_ip),
      m_ip6(other.m_ip6),
      m_otherOid(other.m_otherOid),
      m_dn(other.m_dn != nullptr ? std::make_unique<sxDN>(*other.m_dn) : nullptr),
      m_text(other.m_text) {}

// The kind stays -1 for a text with a NUL octet inside: whoever reads it up to the NUL would see
// another name ("a NUL inside" in data/cert/general-names.txt).
bool sxGeneralName_imp::SetText(sxGNtype type, const void *text, int len) {
  if (text == nullptr || len < 0) return false;
  const std::string_view octets(static_cast<const char *>(text), static_cast<size_t>(len));
  if (sxHoldsNul(octets)) {
    herror_func(0, 0, "sxGeneralName_imp::SetText: NUL within a name of kind %d, %d octets", type, len);
    return false;
  }
  m_text = octets;
  m_type = type;
  return true;
}

void sxGeneralName_imp::SetAddress(const unsigned char *octets, int len) {
  if (len == sizeof m_ip.octets) {
    std::memcpy(m_ip.octets, octets, sizeof m_ip.octets);
    m_type = sxGN_ip;
  } else if (len == sizeof m_ip6.octets) {
    std::memcpy(m_ip6.octets, octets, sizeof m_ip6.octets);
    m_type = sxGN_ip6;
  }
}

void sxGeneralName_imp::SetOtherName(const sxASN_GeneralName &name) {
  const sxASN_AnotherName &other = *name.otherName();
  if (other.type_id == nullptr || other.value == nullptr) return;
  if (!other.type_id->OidEquiv(sxASN_id_principalName)) return;
  const sxAsnType *value = other.value->GetType(sxASN_PrincipalName::kInfo.name);
  if (value == nullptr) return;
  const auto *principal = static_cast<const sxASN_PrincipalName *>(value);
  if (SetText(sxGN_other, principal->Data(), principal->Len())) m_otherOid = &sxASN_id_principalName;
}

unsigned long sxGeneralName_imp::GetIP() const {
  unsigned long ip = 0;
  for (const unsigned char octet : m_ip.octets) ip = ip << 8 | octet;
  return ip;
}

std::string sxGeneralName_imp::OtherNameText() const {
  char keyword[kKeywordLen];
  std::string text = sxDN_OID2Str(*m_otherOid, keyword, sizeof keyword) >= 0 ? keyword : "OID.?";
  text += ": ";
  text += m_text;
  if (text.size() > kMaxOtherNameText) text.resize(kMaxOtherNameText);
  return text;
}

std::string sxGeneralName_imp::GetStr() const {
  char area[kAddr6TextLen];
  switch (m_type) {
    case sxGN_other: return OtherNameText();
    case sxGN_email:
    case sxGN_dns:
    case sxGN_uri: return m_text;
    case sxGN_dn: {
      const char *text = m_dn->GetStr();
      return text != nullptr ? text : "";
    }
    case sxGN_ip:
      std::snprintf(area, sizeof area, "%d.%d.%d.%d", m_ip.octets[0], m_ip.octets[1], m_ip.octets[2], m_ip.octets[3]);
      return area;
    case sxGN_ip6: return praddr6(m_ip6, area, sizeof area);
    default: return "";
  }
}

bool sxGeneralName_imp::Equal(const sxGeneralName_imp &other) const {
  if (m_type != other.m_type) return false;
  switch (m_type) {
    case sxGN_other:  // the OID object itself: OIDs that are merely equal do not do
      return m_otherOid == other.m_otherOid && m_text == other.m_text;
    case sxGN_email:
    case sxGN_dns:
    case sxGN_uri: return m_text == other.m_text;
    case sxGN_dn: return m_dn->Equal(*other.m_dn);
    case sxGN_ip: return std::memcmp(m_ip.octets, other.m_ip.octets, sizeof m_ip.octets) == 0;
    case sxGN_ip6: return kx_addr6_eq(m_ip6, other.m_ip6) != 0;
    default: return false;
  }
}

bool sxGeneralName_imp::AppendKey(std::string *key) const {
  const auto append = [key](const void *octets, size_t len) { key->append(static_cast<const char *>(octets), len); };
  *key += static_cast<char>(m_type);
  switch (m_type) {
    case sxGN_other: append(&m_otherOid, sizeof m_otherOid); [[fallthrough]];
    case sxGN_email:
    case sxGN_dns:
    case sxGN_uri: *key += m_text; return true;
    case sxGN_dn: return m_dn->GetP()->AppendKey(key);
    case sxGN_ip: append(m_ip.octets, sizeof m_ip.octets); return true;
    case sxGN_ip6: append(m_ip6.octets, sizeof m_ip6.octets); return true;
    default: return false;
  }
}

void sxGeneralName_imp::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  if (const char *label = LabelOf(m_type); label != nullptr) {
    out->Put(label);
    out->Put(": ");
    out->Put(sxOneLine(GetStr()));
    out->Put("\n");
  } else {
    out->Printf("Error in general name. type = %d\n", m_type);
  }
}

bool sxGeneralName_imp::ToAsn(sxASN_GeneralName &out) const {
  const auto *text = reinterpret_cast<const unsigned char *>(m_text.data());
  const int len = static_cast<int>(m_text.size());
  switch (m_type) {
    case sxGN_other: {
      sxASN_AnotherName other;
      other.type_id = new sxAsnOid(*m_otherOid);
      other.value = new sxAsnAny(*m_otherOid, new sxASN_PrincipalName(text, len));
      out.Set_otherName(other);
      return true;
    }
    case sxGN_email: out.Set_rfc822Name(sxAsnIA5String(text, len)); return true;
    case sxGN_dns: out.Set_dNSName(sxAsnIA5String(text, len)); return true;
    case sxGN_uri: out.Set_uniformResourceIdentifier(sxAsnIA5String(text, len)); return true;
    case sxGN_dn: {
      const sxASN_RDNSequence *name = m_dn->GetName();
      if (name == nullptr) return false;
      out.Set_directoryName(*name);
      return true;
    }
    case sxGN_ip: out.Set_iPAddress(sxAsnOcts(m_ip.octets, sizeof m_ip.octets)); return true;
    case sxGN_ip6: out.Set_iPAddress(sxAsnOcts(m_ip6.octets, sizeof m_ip6.octets)); return true;
    default: return false;
  }
}

sxGeneralName::sxGeneralName() : m_imp(new sxGeneralName_imp) {}
sxGeneralName::sxGeneralName(sxGNtype type, const char *text, int len)
    : m_imp(new sxGeneralName_imp(type, text, len)) {}
sxGeneralName::sxGeneralName(const sxAsnOid *oid, const char *text, int len)
    : m_imp(new sxGeneralName_imp(oid, text, len)) {}
sxGeneralName::sxGeneralName(const sxDN *dn) : m_imp(new sxGeneralName_imp(dn)) {}
sxGeneralName::sxGeneralName(unsigned long ip) : m_imp(new sxGeneralName_imp(ip)) {}
sxGeneralName::sxGeneralName(const inx_addr_kxt &ip) : m_imp(new sxGeneralName_imp(ip)) {}
sxGeneralName::sxGeneralName(const in6_addr_kxt &ip) : m_imp(new sxGeneralName_imp(ip)) {}
sxGeneralName::sxGeneralName(const sxASN_GeneralName *name) : m_imp(new sxGeneralName_imp(name)) {}
sxGeneralName::sxGeneralName(const sxGeneralName &other) : m_imp(new sxGeneralName_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
sxGeneralName::sxGeneralName(sxGeneralName &&other) : sxGeneralName() { std::swap(m_imp, other.m_imp); }
sxGeneralName::~sxGeneralName() { delete m_imp; }

sxGeneralName &sxGeneralName::operator=(const sxGeneralName &other) {
  if (this == &other) return *this;
  auto *copy = new sxGeneralName_imp(*other.m_imp);
  delete m_imp;
  m_imp = copy;
  return *this;
}

sxGNtype sxGeneralName::GetType() const { return m_imp->GetType(); }
const sxDN *sxGeneralName::GetDN() const { return m_imp->GetDN(); }
unsigned long sxGeneralName::GetIP() const { return m_imp->GetIP(); }
const in6_addr_kxt *sxGeneralName::GetIP6() const { return m_imp->GetIP6(); }
const inx_addr_kxt *sxGeneralName::GetIPAddr() const { return m_imp->GetIPAddr(); }
const sxAsnOid *sxGeneralName::GetOtherOid() const { return m_imp->GetOtherOid(); }

sxString sxGeneralName::GetStr() const {
  const std::string text = m_imp->GetStr();
  return sxString(text.data(), static_cast<int>(text.size()));
}

bool sxGeneralName::Equal(const sxGeneralName *other) const { return other != nullptr && m_imp->Equal(*other->m_imp); }

void sxGeneralName::Sprint(SxStream *out, int indent) const { m_imp->Sprint(out, indent); }

void sxGeneralName::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxGeneralName::Herror() const { sxHerrorOf(*this, 0); }
