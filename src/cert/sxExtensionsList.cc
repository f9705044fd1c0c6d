#include <memory>

#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxExtension_imp.h"

namespace {

using ExtItem = sxExtensionsList::ExtItem;

const sxExtParser *FindRow(const sxExtParser *table, const sxAsnOid &oid) {
  for (; table != nullptr && table->oid != nullptr; ++table) {
    if (table->oid->OidEquiv(oid)) return table;
  }
  return nullptr;
}

sxExtComposeFunc FindComposer(const sxExtComposer *table, const sxAsnOid &oid) {
  for (; table != nullptr && table->oid != nullptr; ++table) {
    if (table->oid->OidEquiv(oid)) return table->compose;
  }
  return nullptr;
}

ExtItem *NewItem(const sxAsnOid &oid, int critical, sxExtension *ext) {
  return new ExtItem{critical, new sxAsnOid(oid), ext, nullptr};
}

// A handle of the same kind over a deep copy.
sxExtension *Copy(const sxExtension &ext) { return ext.GetP()->Clone()->NewHandle(); }

// Where the next item is to be linked. Loops keep what this returns and move it on: walking to the
// end for every item would be quadratic.
ExtItem **EndOf(ExtItem **link) {
  while (*link != nullptr) link = &(*link)->next;
  return link;
}

const ExtItem *FindItem(const ExtItem *item, const sxAsnOid *oid) {
  if (oid == nullptr) return nullptr;
  while (item != nullptr && !item->oid->OidEquiv(*oid)) item = item->next;
  return item;
}

}  // namespace

sxExtensionsList::sxExtensionsList(const sxExtensionsList &other) { Add(other); }

sxExtensionsList &sxExtensionsList::operator=(const sxExtensionsList &other) {
  Set(other);
  return *this;
}

sxExtensionsList::~sxExtensionsList() { Clear(); }

void sxExtensionsList::Clear() {
  while (m_first != nullptr) {
    ExtItem *const item = m_first;
    m_first = item->next;
    delete item->oid;
    delete item->ext;
    delete item;
  }
}

void sxExtensionsList::Set(const sxExtensionsList &other) {
  if (this == &other) return;
  Clear();
  Add(other);
}

void sxExtensionsList::Add(const sxAsnOid *oid, int critical, sxExtension *ext) {
  if (oid == nullptr) {
    delete ext;
    return;
  }
  *EndOf(&m_first) = NewItem(*oid, critical, ext);
}

void sxExtensionsList::Add(const sxExtensionsList &other) {
  ExtItem *copies = nullptr;  // linked last: the other list may be this one
  ExtItem **end = &copies;
  for (const ExtItem *item = other.m_first; item != nullptr; item = item->next) {
    *end = NewItem(*item->oid, item->critical, item->ext != nullptr ? Copy(*item->ext) : nullptr);
    end = &(*end)->next;
  }
  *EndOf(&m_first) = copies;
}

const sxExtension *sxExtensionsList::Find(const sxAsnOid *oid) const {
  const ExtItem *item = FindItem(m_first, oid);
  return item != nullptr ? item->ext : nullptr;
}

int sxExtensionsList::IsCritical(const sxAsnOid *oid) const {
  const ExtItem *item = FindItem(m_first, oid);
  return item != nullptr && item->critical != 0 ? 1 : 0;
}

sxExtensionsList::Appender::Appender(sxExtensionsList &list, const sxExtParser *table)
    : m_table(table), m_end(EndOf(&list.m_first)) {}

bool sxExtensionsList::Appender::Parse(const sxASN_Extension &ext) {
  if (ext.extnID == nullptr) return true;  // nothing that was decoded lacks it
  const bool critical = ext.critical != nullptr && ext.critical->Value() == 1;
  const sxExtParser *row = FindRow(m_table, *ext.extnID);
  if (row != nullptr && row->parse == sxParseNoParse) return true;
  std::unique_ptr<sxExtension> object;
  // The flag is not reset between extensions, by intent: one that was understood vouches for the
  // parsers after it (test UnderstoodStaysSet).
  if (row != nullptr && row->parse != nullptr) object.reset(row->parse(ext, m_understood));
  if (critical && (object == nullptr || m_understood == 0)) return false;
  if (object == nullptr) return true;  // not critical, and unknown or not decodable
  *m_end = NewItem(*ext.extnID, critical ? 1 : 0, object.release());
  m_end = &(*m_end)->next;
  return true;
}

const sxAsnOid *sxExtensionsList::Parse(const sxASN_Extensions *extensions, const sxExtParser *table) {
  if (extensions == nullptr) return nullptr;
  Appender appender(*this, table);
  for (const sxASN_Extension &ext : *extensions) {
    if (!appender.Parse(ext)) return ext.extnID;
  }
  return nullptr;
}

int sxExtensionsList::Compose(const sxExtComposer *table, sxASN_Extensions **out) const {
  constexpr const char *kFunc = "sxExtensionsList::Compose";
  if (out == nullptr) return -1;
  *out = nullptr;
  std::unique_ptr<sxASN_Extensions> extensions;
  for (const ExtItem *item = m_first; item != nullptr; item = item->next) {
    const sxExtComposeFunc compose = FindComposer(table, *item->oid);
    if (compose == nullptr || item->ext == nullptr) {
      return herror_func(0, 0, "%s: can't compose extension", kFunc), -1;
    }
    const std::unique_ptr<sxASN_Extension> ext(compose(*item->ext, item->critical));
    if (ext == nullptr) {
      return herror_func(0, 0, "%s: can't compose extension of type: %s", kFunc, item->ext->ExtName()), -1;
    }
    if (extensions == nullptr) extensions = std::make_unique<sxASN_Extensions>();
    extensions->AppendCopy(*ext);
  }
  *out = extensions.release();
  return 0;
}

void sxExtensionsList::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  for (const ExtItem *item = m_first; item != nullptr; item = item->next) {
    if (item->critical != 0) {
      out->Indent(indent);
      out->Put("Critical:\n");
    }
    if (item->ext != nullptr) {
      item->ext->Sprint(out, indent);
    } else {
      out->Indent(indent);
      out->Printf("Extension %s\n", sxOidText(*item->oid).c_str());
    }
  }
}

void sxExtensionsList::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxExtensionsList::Herror() const { sxHerrorOf(*this, 0); }

sxExtensionsList *sxExtensionsList_New() { return new sxExtensionsList; }

int sxExtensionsList_Add(sxExtensionsList *list, const sxAsnOid *oid, int critical, sxExtension *ext) {
  if (list == nullptr || oid == nullptr || ext == nullptr) return -1;
  list->Add(oid, critical, ext);
  return 0;
}

void sxExtensionsList_Delete(sxExtensionsList *list) { delete list; }
