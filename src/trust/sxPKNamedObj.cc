#include "kxcert/trust/sxPKNamedObj.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "foundation/textOutput.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "trust/sxPKNamedObj_imp.h"

namespace {

std::unique_ptr<char[]> CopyText(const char *text) {
  if (text == nullptr) return nullptr;
  const size_t size = std::strlen(text) + 1;
  auto copy = std::make_unique<char[]>(size);
  std::memcpy(copy.get(), text, size);
  return copy;
}

std::vector<unsigned char> CopyOctets(const unsigned char *data, int len) {
  if (data == nullptr || len < 1) return {};
  return {data, data + len};
}

}  // namespace

sxPKNamedObj_imp::sxPKNamedObj_imp(const char *name, int purpose, const unsigned char *id, int idLen)
    : m_name(CopyText(name)), m_id(CopyOctets(id, idLen)), m_purpose(purpose) {}

sxPKNamedObj_imp::~sxPKNamedObj_imp() {
  if (m_name) KX_memset(m_name.get(), std::strlen(m_name.get()));
}

const char *sxPKNamedObj_imp::Name() const {
  if (m_name && m_name[0] != '\0') return m_name.get();
  const sxDN *dn = DN();
  const char *text = dn != nullptr ? dn->GetStr() : nullptr;
  return text != nullptr ? text : m_name.get();
}

bool sxPKNamedObj_imp::HasId(const unsigned char *id, int idLen) const {
  return id != nullptr && idLen > 0 && idLen == IdLen() && std::equal(m_id.begin(), m_id.end(), id);
}

const char *sxPKNamedObj_imp::ShownName() const {
  const char *name = Name();
  return name != nullptr && name[0] != '\0' ? name : "<no name>";
}

std::string sxPKNamedObj_imp::HexId() const {
  std::string hex(m_id.size() * 2 + 1, '\0');
  bytes_to_string(m_id.data(), IdLen(), hex.data(), static_cast<int>(hex.size()));
  hex.pop_back();
  return hex;
}

void sxPKNamedObj_imp::Herror() const {
  if (!kxLog_DebugOn()) return;
  herror_func(0, 0, "%s", ShownName());
  if (!m_id.empty()) herror_func(0, 0, "ID: %s", HexId().c_str());
}

void sxPKNamedObj_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s\n", ShownName());
  if (m_id.empty()) return;
  out->Indent(indent);
  out->Printf("ID: %s\n", HexId().c_str());
}

sxPKNamedObj::sxPKNamedObj(sxPKNamedObj_imp *imp) : sxPKobj(imp) {}

sxPKNamedObj_imp *sxPKNamedObj::NamedImp() const { return static_cast<sxPKNamedObj_imp *>(m_imp); }

const char *sxPKNamedObj::Name() const { return NamedImp()->Name(); }
const sxDN *sxPKNamedObj::DN() const { return NamedImp()->DN(); }
const unsigned char *sxPKNamedObj::Id() const { return NamedImp()->Id(); }
int sxPKNamedObj::IdLen() const { return NamedImp()->IdLen(); }
int sxPKNamedObj::Purpose() const { return NamedImp()->Purpose(); }
bool sxPKNamedObj::HasId(const unsigned char *id, int idLen) const { return NamedImp()->HasId(id, idLen); }
void sxPKNamedObj::Herror() const { NamedImp()->Herror(); }
void sxPKNamedObj::Sprint(SxStream *out, int indent) const {
  if (out != nullptr) NamedImp()->Sprint(out, indent);
}
void sxPKNamedObj::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
