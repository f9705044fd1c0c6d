// The handle of all extensions, and what turns their values into extnValue and back.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <typeinfo>

#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oidNames.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxExtension_imp.h"

// All handles are deleted through sxExtension, which knows one size.
static_assert(sizeof(sxExtension) == sizeof(void *) && sizeof(sxBasicConstraint) == sizeof(sxExtension) &&
              sizeof(sxKeyUsage) == sizeof(sxExtension) && sizeof(sxExtKeyUsage) == sizeof(sxExtension) &&
              sizeof(sxExtGN) == sizeof(sxExtension) && sizeof(sxExtKeyID) == sizeof(sxExtension) &&
              sizeof(sxAuthorityInfoAccess) == sizeof(sxExtension) && sizeof(sxExtDeviceData) == sizeof(sxExtension) &&
              sizeof(sxIssuingDP) == sizeof(sxExtension));

void sxExtension_imp::Herror() const { sxHerrorOf(*this, 0); }
void sxExtension_imp::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }

bool sxExtensionIs(const sxExtension &ext, const char *extName) { return std::strcmp(ext.ExtName(), extName) == 0; }

bool sxPlainSequence(const sxASN_Extension &ext, sxDerReader *content) {
  if (ext.extnValue == nullptr) return false;
  sxDerReader all(sxView(ext.extnValue->Data(), ext.extnValue->Len()));
  return all.Enter(kDerSequence, content) && all.AtEnd();
}

sxASN_Extension *sxNewExtension(sxAsnType &value, const sxAsnOid &oid, int critical) {
  auto ext = std::make_unique<sxASN_Extension>();
  return sxComposeExtension(value, oid, critical, ext.get()) == 0 ? ext.release() : nullptr;
}

bool sxReadCount(const sxAsnInt &number, int *count) {
  if (!number.IsBig()) {
    *count = number.GetShortVal();
    return *count >= 0;
  }
  const unsigned char *octets = number.BigOctets().Data();
  const int len = number.BigOctets().Len();
  if (octets[0] >= 0x80) return false;
  uint64_t value = 0;
  for (int i = 0; i < len && value <= INT32_MAX; ++i) value = value << 8 | octets[i];
  *count = value <= INT32_MAX ? static_cast<int>(value) : INT32_MAX;
  return true;
}

std::string sxCountText(int count) { return std::to_string(count) + (count == INT32_MAX ? " or more" : ""); }

bool sxHasTwice(std::vector<sxOctetView> oids) {
  std::ranges::sort(oids, [](sxOctetView a, sxOctetView b) { return std::ranges::lexicographical_compare(a, b); });
  return std::ranges::adjacent_find(oids, sxEqual) != oids.end();
}

std::string sxOidText(const sxAsnOid &oid) {
  char text[252] = "";
  static_cast<void>(oid.GetStr(text, sizeof text));  // what fits, when it is too long
  return text;
}

std::string sxOidWords(const sxAsnOid &oid) {
  const char *const name = sxOidName(oid);
  return sxOidText(oid) + (name != nullptr ? std::string(" (") + name + ")" : "");
}

void *sxExtension::operator new(size_t size) { return sxAsnType::operator new(size); }

void sxExtension::operator delete(sxExtension *self, std::destroying_delete_t) {
  self->~sxExtension();
  sxAsnType::operator delete(self, sizeof(sxExtension));
}

void sxExtension::operator delete(void *block, size_t size) noexcept { sxAsnType::operator delete(block, size); }

sxExtension::sxExtension(const sxExtension &other) : m_imp(other.m_imp->Clone()) {}
sxExtension::~sxExtension() { delete m_imp; }

sxExtension &sxExtension::operator=(const sxExtension &other) {
  if (this == &other) return *this;
  const sxExtension_imp &own = *m_imp;
  const sxExtension_imp &from = *other.m_imp;
  if (typeid(own) != typeid(from)) {
    herror_func(0, 0, "sxExtension::operator=: %s into %s", other.ExtName(), ExtName());
    return *this;
  }
  sxExtension_imp *copy = from.Clone();
  delete m_imp;
  m_imp = copy;
  return *this;
}

const char *sxExtension::ExtName() const { return m_imp->ExtName(); }
void sxExtension::Herror() const { m_imp->Herror(); }
void sxExtension::Fprint(FILE *out, int indent) const { m_imp->Fprint(out, indent); }
void sxExtension::Sprint(SxStream *out, int indent) const {
  if (out != nullptr) m_imp->Sprint(out, indent);
}

int sxParseExtension(sxAsnType &value, const sxASN_Extension *ext) {
  if (ext == nullptr || ext->extnValue == nullptr) return -1;
  const auto *octets = reinterpret_cast<const char *>(ext->extnValue->Data());
  return sxASN_DecodeBuf(value, octets, ext->extnValue->Len());
}

int sxComposeExtension(sxAsnType &value, const sxAsnOid &oid, int critical, sxASN_Extension *out) {
  kxBinBuf encoded;
  if (out == nullptr || sxASN_EncodeBuf(value, encoded, 1) != 0) return -1;
  auto extnID = std::make_unique<sxAsnOid>(oid);  // before the old one goes: it may be the argument
  auto extnValue = std::make_unique<sxAsnOcts>(encoded.Data(), static_cast<int>(encoded.Len()));
  delete out->extnID;
  out->extnID = extnID.release();
  delete out->critical;
  out->critical = critical != 0 ? new sxAsnBool(1) : nullptr;  // DEFAULT FALSE is absent (X.690, 11.5)
  delete out->extnValue;
  out->extnValue = extnValue.release();
  return 0;
}
