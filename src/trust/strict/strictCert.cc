#include "trust/strict/strictCert.h"

#include "cert/strictDer.h"
#include "cert/sxExtension_imp.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr int kVersionTag = DerContextConstructed(0);
constexpr int kExtensionsTag = DerContextConstructed(3);

bool TakeVersion(sxDerReader &from, int *version) {
  sxDerReader inside;
  sxOctetView number;
  if (!from.Enter(kVersionTag, &inside) || !sxTakePlainInteger(inside, &number)) return false;
  *version = sxPlainVersion(number);
  return true;
}

// Under a context's tag.
bool IsBitString(const sxDerElement &element) {
  return (element.tag & kConstructed) == 0 && sxIsStrictContent(kDerBitString, element.content);
}

bool TakeWhole(sxDerReader &from, sxOctetView *whole) {
  sxDerElement element;
  if (!from.Take(kDerSequence, &element)) return false;
  *whole = element.whole;
  return true;
}

const sxExtParser *IssuedRow(sxOctetView oid) {
  for (const sxExtParser *row = Get_IssuedExtParserTable(); row->oid != nullptr; ++row) {
    if (sxEqual(oid, sxView(row->oid->Data(), row->oid->Len()))) return row;
  }
  return nullptr;
}

}  // namespace

std::string AlgorithmText(sxOctetView algorithm) {
  sxDerReader fields;
  sxOctetView content;
  if (!sxDerReader(algorithm).Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &content)) return "cannot be read";
  sxAsnOid oid;
  oid.Set(content.data(), sxLen(content));
  return sxOidWords(oid);
}

StrictCert::~StrictCert() = default;
StrictCert::StrictCert(StrictCert &&) noexcept = default;  // what views and pointers are of stays where it is

StrictCert::StrictCert(const sxCert &cert) : m_cert(&cert), m_isSelfIssued(sxTrust_IsSelfIssued(cert)) {
  const sxOctetView octets(cert.GetBuf(), cert.BufLen());
  if (Read(octets)) return;
  // BER, or an oddity that the codec takes: read as the codec would have written it.
  sxASN_Certificate tree;
  kxBinBuf der;
  m_fields = Fields();
  m_extensions.clear();
  if (sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets.data()), sxLen(octets)) != 0 ||
      sxASN_EncodeBuf(tree, der, 0) != 0) {
    return;
  }
  m_decoded.assign(der.Data(), der.Data() + der.Len());
  Read(m_decoded);
}

bool StrictCert::ReadFields(sxOctetView octets) {
  sxDerReader all(octets), outer, fields, validity;
  if (!all.Enter(kDerSequence, &outer) || !outer.Enter(kDerSequence, &fields)) return false;
  m_fields.saysVersion = fields.NextIs(kVersionTag);
  if ((m_fields.saysVersion && !TakeVersion(fields, &m_fields.version)) ||
      !fields.Take(kDerInteger, &m_fields.serial) || !TakeWhole(fields, &m_fields.innerAlgorithm) ||
      !TakeWhole(fields, &m_fields.issuer) || !fields.Enter(kDerSequence, &validity) ||
      !sxTakePlainTime(validity, &m_fields.notBefore) || !sxTakePlainTime(validity, &m_fields.notAfter) ||
      !TakeWhole(fields, &m_fields.subject) ||
      !sxTakePlainKey(fields, true, &m_fields.keyAlgorithm, &m_fields.keyBits) ||
      !TakeWhole(outer, &m_fields.outerAlgorithm)) {
    return false;
  }
  sxDerElement element;
  for (; !fields.AtEnd() && !fields.NextIs(kExtensionsTag); m_fields.hasUniqueIds = true) {
    if (!fields.Take(&element)) return false;
    m_fields.areUniqueIdsDer &= IsBitString(element);
  }
  if (fields.AtEnd()) return true;
  m_fields.hasExtensions = true;
  return ReadExtensions(fields);
}

bool StrictCert::ReadExtensions(sxDerReader &fields) {
  constexpr size_t kUsual = 12;
  sxDerReader inside;
  if (!fields.Enter(kExtensionsTag, &inside) || !inside.Take(kDerSequence, &m_list) || !inside.AtEnd()) return false;
  m_extensions.reserve(kUsual);
  for (sxDerReader each(m_list); !each.AtEnd();) {
    StrictExtension &extension = m_extensions.emplace_back();
    if (!sxTakePlainExtension(each, &extension)) return false;
    extension.rule = sxExtensionRuleOf(extension.oid);
  }
  return true;
}

bool StrictCert::Read(sxOctetView octets) {
  if (!ReadFields(octets)) return false;
  if (const sxPlainExtension *const found = Find(kOidBasicConstraints); found != nullptr) {
    m_hasConstraints = sxReadPlainConstraints(found->value, &m_constraints);
  }
  if (const sxPlainExtension *const found = Find(kOidKeyUsage); found != nullptr) {
    m_hasUsage = true;
    if (!sxReadPlainUsage(found->value, &m_usage)) m_usage = 0;  // it allows nothing
  }
  return m_isReadable = true;
}

const sxPlainExtension *StrictCert::Find(sxOctetView oid) const {
  const auto found =
      std::ranges::find_if(m_extensions, [oid](const sxPlainExtension &e) { return sxEqual(e.oid, oid); });
  return found == m_extensions.end() ? nullptr : &*found;
}

bool StrictCert::HasTwo(sxOctetView oid) const {
  return std::ranges::count_if(m_extensions, [oid](const sxPlainExtension &e) { return sxEqual(e.oid, oid); }) > 1;
}

const StrictForm &StrictCert::Form(size_t i) const {
  if (m_forms.empty()) m_forms.resize(m_extensions.size());
  StrictForm &form = m_forms[i];
  if (form.isRead) return form;
  const StrictExtension &extension = m_extensions[i];
  form.isRead = true;
  form.isDer = sxIsStrictElement(extension.value);
  if (form.isDer && extension.rule != nullptr) form.fault = extension.rule->form(extension.value);
  return form;
}

const sxExtension *StrictCert::Issued(const sxPlainExtension &extension) const {
  const auto [entry, isNew] = m_issued.try_emplace(&extension);
  const sxExtParser *const row = isNew ? IssuedRow(extension.oid) : nullptr;
  if (row != nullptr) {
    sxASN_Extension tree;
    tree.extnID = new sxAsnOid(*row->oid);
    tree.extnValue = new sxAsnOcts(extension.value.data(), sxLen(extension.value));
    int isUnderstood = 0;
    entry->second.reset(row->parse(tree, isUnderstood));
  }
  return entry->second.get();
}

bool StrictCert::IsIssuedType(sxOctetView oid) { return IssuedRow(oid) != nullptr; }
