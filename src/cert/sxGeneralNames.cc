#include <utility>

#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxGeneralName_imp.h"
#include "sxGeneralNames_imp.h"

sxGeneralNames_imp::sxGeneralNames_imp(const sxGeneralNames_imp &other) : sxPooled() {
  m_entries.reserve(other.m_entries.size());
  for (const auto &entry : other.m_entries) Add(&entry->name);
}

const sxGeneralName *sxGeneralNames_imp::Get(int i) const {
  return i >= 0 && i < Count() ? &m_entries[static_cast<size_t>(i)]->name : nullptr;
}

void sxGeneralNames_imp::Add(const sxGeneralName *name) {
  if (name != nullptr) m_entries.push_back(std::make_unique<Entry>(*name));
}

void sxGeneralNames_imp::Add_IfNotExist(const sxGeneralName *name) {
  if (name == nullptr) return;
  if (m_known == nullptr) m_known = std::make_unique<Known>();
  for (; m_known->numEntries < m_entries.size(); ++m_known->numEntries) {
    std::string key;
    if (m_entries[m_known->numEntries]->name.GetP()->AppendKey(&key)) m_known->keys.insert(std::move(key));
  }
  std::string key;  // a name without one equals nothing
  if (!name->GetP()->AppendKey(&key) || m_known->keys.count(key) == 0) Add(name);
}

void sxGeneralNames_imp::Add_IfNotExist(const sxGeneralNames_imp &names) {
  // The count at the start: a list added to itself grows by those names that equal nothing.
  const int count = names.Count();
  for (int i = 0; i < count; ++i) Add_IfNotExist(names.Get(i));
}

int sxGeneralNames_imp::Match(const sxGeneralName *name) const {
  for (const auto &entry : m_entries) {
    if (entry->name.Equal(name)) return 1;
  }
  return 0;
}

int sxGeneralNames_imp::Match(const sxGeneralNames_imp &names) const {
  std::set<std::string> keys;
  for (const auto &entry : m_entries) {
    std::string key;
    if (entry->name.GetP()->AppendKey(&key)) keys.insert(std::move(key));
  }
  for (const auto &entry : names.m_entries) {
    std::string key;
    if (entry->name.GetP()->AppendKey(&key) && keys.count(key) != 0) return 1;
  }
  return 0;
}

const sxGeneralName *sxGeneralNames_imp::GetFirstOfType(sxGNtype type, const sxAsnOid *otherOid) const {
  if (type == sxGN_other && otherOid == nullptr) return nullptr;
  for (const auto &entry : m_entries) {
    const sxGeneralName &name = entry->name;
    if (name.GetType() != type) continue;
    if (type != sxGN_other || name.GetOtherOid()->OidEquiv(*otherOid)) return &name;
  }
  return nullptr;
}

void sxGeneralNames_imp::Set(const sxASN_GeneralNames *names) {
  Clear();
  if (names != nullptr) Append(*names);
}

void sxGeneralNames_imp::Append(const sxASN_GeneralNames &names) {
  // Growth by a factor when lists are joined: reserving each one exactly would copy again and again.
  if (m_entries.empty()) m_entries.reserve(static_cast<size_t>(names.Count()));
  for (const sxASN_GeneralName &name : names) Append(name);
}

void sxGeneralNames_imp::Append(const sxASN_GeneralName &name) { m_entries.push_back(std::make_unique<Entry>(&name)); }

bool sxGeneralNames_imp::AppendPlain(sxDerReader names) {
  sxDerElement name;
  while (!names.AtEnd()) {
    if (!names.Take(&name) || !AppendPlain(name)) return false;
  }
  return true;
}

bool sxGeneralNames_imp::AppendPlain(const sxDerElement &name) {
  for (const sxGNtype type : {sxGN_email, sxGN_dns, sxGN_uri}) {
    if (name.tag != DerContext(type)) continue;  // [1], [2], [6]: these kinds are their tag numbers
    const auto *text = reinterpret_cast<const char *>(name.content.data());
    m_entries.push_back(std::make_unique<Entry>(type, text, sxLen(name.content)));
    return true;
  }
  return false;
}

bool sxGeneralNames_imp::ToAsn(sxASN_GeneralNames &out) const {
  for (const auto &entry : m_entries) {
    if (!entry->name.GetP()->ToAsn(*out.Append())) return false;
  }
  return true;
}

int sxGeneralNames_imp::DerEncode(unsigned char *out, int outLen) const {
  sxASN_GeneralNames names;
  int len = -1;
  if (!ToAsn(names)) {
    herror_func(0, 0, "sxGeneralNames_imp::DerEncode: a name of %d has no encoding", Count());
    return -1;
  }
  return sxASN_EncodeBuf(names, reinterpret_cast<char *>(out), outLen, len, 1) == 0 ? len : -1;
}

void sxGeneralNames_imp::Sprint(SxStream *out, const char *title, int indent) const {
  if (out == nullptr || m_entries.empty()) return;
  if (title != nullptr) {
    out->Indent(indent);
    out->Printf("%s:\n", title);
  }
  for (const auto &entry : m_entries) entry->name.Sprint(out, indent);
}

sxGeneralNames::sxGeneralNames() : m_imp(new sxGeneralNames_imp) {}
sxGeneralNames::sxGeneralNames(const sxASN_GeneralNames *names) : sxGeneralNames() { Set(names); }
sxGeneralNames::sxGeneralNames(const sxGeneralNames &other) : m_imp(new sxGeneralNames_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
sxGeneralNames::sxGeneralNames(sxGeneralNames &&other) : sxGeneralNames() { std::swap(m_imp, other.m_imp); }
sxGeneralNames::~sxGeneralNames() { delete m_imp; }

sxGeneralNames &sxGeneralNames::operator=(const sxGeneralNames &other) {
  if (this == &other) return *this;
  auto *copy = new sxGeneralNames_imp(*other.m_imp);
  delete m_imp;
  m_imp = copy;
  return *this;
}

int sxGeneralNames::Count() const { return m_imp->Count(); }
const sxGeneralName *sxGeneralNames::Get(int i) const { return m_imp->Get(i); }
void sxGeneralNames::Add(const sxGeneralName *name) { m_imp->Add(name); }
void sxGeneralNames::Add_IfNotExist(const sxGeneralName *name) { m_imp->Add_IfNotExist(name); }
void sxGeneralNames::Add_IfNotExist(const sxGeneralNames *names) {
  if (names != nullptr) m_imp->Add_IfNotExist(*names->m_imp);
}
int sxGeneralNames::Match(const sxGeneralName *name) const { return m_imp->Match(name); }
int sxGeneralNames::Match(const sxGeneralNames &names) const { return m_imp->Match(*names.m_imp); }
const sxGeneralName *sxGeneralNames::GetFirstOfType(sxGNtype type, const sxAsnOid *otherOid) const {
  return m_imp->GetFirstOfType(type, otherOid);
}
void sxGeneralNames::Set(const sxASN_GeneralNames *names) { m_imp->Set(names); }
int sxGeneralNames::DerEncode(unsigned char *out, int outLen) const { return m_imp->DerEncode(out, outLen); }
void sxGeneralNames::Sprint(SxStream *out, const char *title, int indent) const { m_imp->Sprint(out, title, indent); }

void sxGeneralNames::Fprint(FILE *out, const char *title, int indent) const { sxFprintOf(*this, out, title, indent); }
void sxGeneralNames::Herror(const char *title) const { sxHerrorOf(*this, title, 0); }
