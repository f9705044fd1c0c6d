#include "kxcert/keys/sxPubKey_imp.h"

#include <memory>
#include <vector>

#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"

namespace {

int NotImplemented(const char *operation, const sxPubKey_imp_vc &key) {
  herror_func(0, 0, "%s not implemeted for %s", operation, key.ClassName());
  return kKeyNotImplemented;
}

}  // namespace

sxPubKey_imp_vc::~sxPubKey_imp_vc() { delete m_publicKeyHash.load(std::memory_order_acquire); }

int sxPubKey_imp_vc::Encrypt(sxPKop_type, const unsigned char *, int, unsigned char *, int) {
  return NotImplemented("Encrypt", *this);
}
int sxPubKey_imp_vc::Decrypt(sxPKop_type, const unsigned char *, int, unsigned char *, int) {
  return NotImplemented("Decrypt", *this);
}
int sxPubKey_imp_vc::Sign(sxPKop_type, sx_md_type, const unsigned char *, int, unsigned char *, int) {
  return NotImplemented("Sign", *this);
}
int sxPubKey_imp_vc::SignSetup() { return NotImplemented("SignSetup", *this); }
int sxPubKey_imp_vc::Verify(sxPKop_type, sx_md_type, const unsigned char *, int, const unsigned char *, int) {
  return NotImplemented("Verify", *this);
}
int sxPubKey_imp_vc::Derive(sxPKop_type, const unsigned char *, int, unsigned char *, int) {
  return NotImplemented("Derive", *this);
}
int sxPubKey_imp_vc::Export(sxPK_Format, unsigned char *, int) { return NotImplemented("Export", *this); }
int sxPubKey_imp_vc::GetLen(sxPK_Len_Type) { return NotImplemented("GetLen", *this); }

const unsigned char *sxPubKey_imp_vc::ID() const { return PublicKeyHash(); }
int sxPubKey_imp_vc::IdLen() const { return PublicKeyHash() == nullptr ? 0 : kPublicKeyHashLen; }

int sxPubKey_imp_vc::Remove() {
  herror_func(0, 0, "%s: Not implemented", "sxPubKey_imp::Remove");
  return -1;
}

void sxPubKey_imp_vc::Herror() const { herror_func(0, 0, "Herror not implemeted for %s", ClassName()); }

const unsigned char *sxPubKey_imp_vc::PublicKeyHash() const {
  static_assert(std::tuple_size_v<Hash> == kPublicKeyHashLen);
  if (const Hash *made = m_publicKeyHash.load(std::memory_order_acquire)) return made->data();

  // Export changes nothing that can be seen; only its declaration is older than that promise.
  auto &self = const_cast<sxPubKey_imp_vc &>(*this);
  const int len = self.Export(sxPK_public, nullptr, 0);
  if (len <= 0) return nullptr;
  std::vector<unsigned char> octets(static_cast<size_t>(len) + 1);
  octets[0] = static_cast<unsigned char>(algorithm());
  if (self.Export(sxPK_public, octets.data() + 1, len) != len) return nullptr;
  auto hash = std::make_unique<Hash>();
  if (kx_md_hashbuf(sx_md_sha256, octets.data(), octets.size(), hash->data(), kPublicKeyHashLen) != 0) {
    return nullptr;
  }
  const Hash *first = nullptr;  // of two threads that get here the first one's stays
  if (!m_publicKeyHash.compare_exchange_strong(first, hash.get(), std::memory_order_acq_rel)) { return first->data(); }
  return hash.release()->data();
}
