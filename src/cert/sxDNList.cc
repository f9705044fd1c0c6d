#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxDNList_imp.h"

namespace {

const char *TextOf(const sxDN &dn) {
  const char *text = dn.GetStr();
  return text != nullptr ? text : "";
}

}  // namespace

sxDNList_imp::sxDNList_imp(const sxDNList_imp &other) {
  m_names.reserve(other.m_names.size());
  for (const auto &dn : other.m_names) m_names.push_back(std::make_unique<sxDN>(*dn));
}

const sxDN *sxDNList_imp::Get(int i) const {
  return i >= 0 && i < Count() ? m_names[static_cast<size_t>(i)].get() : nullptr;
}

void sxDNList_imp::Add(const sxDN *dn) {
  if (dn != nullptr) m_names.push_back(std::make_unique<sxDN>(*dn));
}

void sxDNList_imp::Set(const sxASN_DNList *list) {
  m_names.clear();
  if (list == nullptr) return;
  m_names.reserve(static_cast<size_t>(list->Count()));
  for (const sxASN_RDNSequence &name : *list) m_names.push_back(std::make_unique<sxDN>(&name));
}

int sxDNList_imp::DerEncode(unsigned char *out, int outLen) const {
  sxASN_DNList list;
  for (const auto &dn : m_names) {
    const sxASN_RDNSequence *name = dn->GetName();
    if (name == nullptr) return herror_func(0, 0, "sxDNList_imp::DerEncode: a DN of %d has no name", Count()), -1;
    list.AppendCopy(*name);
  }
  int len = -1;
  return sxASN_EncodeBuf(list, reinterpret_cast<char *>(out), outLen, len, 1) == 0 ? len : -1;
}

int sxDNList_imp::DerDecode(const unsigned char *der, int len) {
  sxASN_DNList list;
  if (der == nullptr || len < 1 || sxASN_DecodeBuf(list, reinterpret_cast<const char *>(der), len) != 0) return -1;
  Set(&list);
  return 0;
}

void sxDNList_imp::Sprint(SxStream *out, const char *title, int indent) const {
  if (out == nullptr || m_names.empty()) return;
  if (title != nullptr) {
    out->Indent(indent);
    out->Printf("%s:\n", title);
  }
  for (const auto &dn : m_names) {
    out->Indent(indent);
    out->Puts(TextOf(*dn));
    out->Put("\n");
  }
}

void sxDNList_imp::Herror(const char *title) const {
  if (dodebugprt == 0 || m_names.empty()) return;
  if (title != nullptr) herror_func(0, 0, "%s:", title);
  for (const auto &dn : m_names) herror_func(0, 0, "%s", TextOf(*dn));
}

sxDNList::sxDNList() : m_imp(new sxDNList_imp) {}
sxDNList::sxDNList(const sxDNList &other) : m_imp(new sxDNList_imp(*other.m_imp)) {}
// NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
sxDNList::sxDNList(sxDNList &&other) : sxDNList() { std::swap(m_imp, other.m_imp); }
sxDNList::~sxDNList() { delete m_imp; }

sxDNList &sxDNList::operator=(const sxDNList &other) {
  if (this == &other) return *this;
  auto *copy = new sxDNList_imp(*other.m_imp);
  delete m_imp;
  m_imp = copy;
  return *this;
}

int sxDNList::Count() const { return m_imp->Count(); }
const sxDN *sxDNList::Get(int i) const { return m_imp->Get(i); }
void sxDNList::Add(const sxDN *dn) { m_imp->Add(dn); }
void sxDNList::Set(const sxASN_DNList *list) { m_imp->Set(list); }
int sxDNList::DerEncode(unsigned char *out, int outLen) const { return m_imp->DerEncode(out, outLen); }
int sxDNList::DerDecode(const unsigned char *der, int len) { return m_imp->DerDecode(der, len); }
void sxDNList::Sprint(SxStream *out, const char *title, int indent) const { m_imp->Sprint(out, title, indent); }

void sxDNList::Fprint(FILE *out, const char *title, int indent) const { sxFprintOf(*this, out, title, indent); }

void sxDNList::Herror(const char *title) const { m_imp->Herror(title); }
