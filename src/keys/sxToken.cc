#include "kxcert/keys/sxToken.h"

#include "foundation/textOutput.h"
#include "kxcert/platform/log.h"
#include "platform/textForms.h"
#include "sxToken_imp.h"

namespace {

std::string NameOf(sxOctetView id) { return {id.begin(), id.end()}; }

int Refuse(const char *func, const char *why) {
  herror_func(0, 0, "%s: %s", func, why);
  return -1;
}

}  // namespace

sxPubKey *sxToken_imp::FindKey(sxOctetView id) const {
  const auto found = m_keys.find(NameOf(id));
  if (found == m_keys.end()) return nullptr;
  sxSavePubKey(found->second.get());
  return found->second.get();
}

int sxToken_imp::AddKey(sxOctetView id, sxPubKey *key) {
  constexpr const char *kFunc = "sxToken_imp::AddKey";
  if (key == nullptr || key->OK() == 0) return Refuse(kFunc, "no usable key");
  if (id.empty() || id.size() > static_cast<size_t>(kMaxTokenIdLen)) return Refuse(kFunc, "no such identifier");
  const auto [place, isNew] = m_keys.try_emplace(NameOf(id));
  if (!isNew) return Refuse(kFunc, "the identifier is in use");
  sxSavePubKey(key);
  place->second.reset(key);
  return 0;
}

int sxToken_imp::RemoveKey(sxOctetView id) {
  return m_keys.erase(NameOf(id)) == 1 ? 0 : Refuse("sxToken_imp::RemoveKey", "no such key");
}

void sxToken_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("Token %s, %d keys\n", Label(), NumKeys());
  for (const auto &[id, key] : m_keys) {
    std::string text;
    kxAppendHex(&text, sxOctetView(reinterpret_cast<const unsigned char *>(id.data()), id.size()));
    out->Indent(indent);
    out->Printf("Key %s\n", text.c_str());
    key->Sprint(out, indent + 1);
  }
}

sxToken::sxToken(const char *label) : sxToken(new sxToken_imp(label)) {}
sxToken::sxToken(sxToken_imp *imp) : sxPKobj(imp) {}

sxToken_imp *sxToken::Imp() const { return static_cast<sxToken_imp *>(m_imp); }
const char *sxToken::Label() const { return Imp()->Label(); }
int sxToken::NumKeys() const { return Imp()->NumKeys(); }
sxPubKey *sxToken::FindKey(const unsigned char *id, int idLen) const { return Imp()->FindKey(sxView(id, idLen)); }
int sxToken::AddKey(const unsigned char *id, int idLen, sxPubKey *key) { return Imp()->AddKey(sxView(id, idLen), key); }
int sxToken::RemoveKey(const unsigned char *id, int idLen) { return Imp()->RemoveKey(sxView(id, idLen)); }
void sxToken::Sprint(SxStream *out, int indent) const {
  if (out != nullptr) Imp()->Sprint(out, indent);
}
void sxToken::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxToken::Herror() const { sxHerrorOf(*this, 0); }
