#include "kxcert/keys/sxPubKey.h"

#include <cstring>
#include <memory>
#include <new>

#include "kxcert/keys/sxPubKey_imp.h"
#include "kxcert/platform/log.h"

sxPubKey::sxPubKey(sxPubKey_imp_vc *imp) : sxPKobj(imp) {}

sxPubKey_imp_vc *sxPubKey::Imp() const { return static_cast<sxPubKey_imp_vc *>(m_imp); }

int sxPubKey::OK() const { return m_imp == nullptr ? 0 : Imp()->OK(); }
int sxPubKey::algorithm() const { return Imp()->algorithm(); }
int sxPubKey::Flags() const { return Imp()->Flags(); }

int sxPubKey::Encrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) {
  return Imp()->Encrypt(op, in, inLen, out, outLen);
}
int sxPubKey::Decrypt(sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out, int outLen) {
  return Imp()->Decrypt(op, in, inLen, out, outLen);
}
int sxPubKey::Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out, int outLen) {
  return Imp()->Sign(op, md, in, inLen, out, outLen);
}
int sxPubKey::SignSetup() { return Imp()->SignSetup(); }
int sxPubKey::Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
                     int sigLen) {
  return Imp()->Verify(op, md, data, dataLen, sig, sigLen);
}
int sxPubKey::Derive(sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out, int outLen) {
  return Imp()->Derive(op, peer, peerLen, out, outLen);
}
int sxPubKey::Export(sxPK_Format format, unsigned char *out, int outLen) { return Imp()->Export(format, out, outLen); }
int sxPubKey::GetLen(sxPK_Len_Type type) { return Imp()->GetLen(type); }
const unsigned char *sxPubKey::ID() const { return Imp()->ID(); }
int sxPubKey::IdLen() const { return Imp()->IdLen(); }
int sxPubKey::Remove() { return Imp()->Remove(); }
const char *sxPubKey::ClassName() const { return Imp()->ClassName(); }
void sxPubKey::Herror() const { Imp()->Herror(); }
const unsigned char *sxPubKey::PublicKeyHash() const { return Imp()->PublicKeyHash(); }

void sxFreePubKey(sxPubKey *key) { sxFreePKobj(key); }
void sxSavePubKey(sxPubKey *key) { sxSavePKobj(key); }

int sxPubKey_Sign(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out,
                  int outLen) {
  return key == nullptr ? kKeyNotUsable : key->Sign(op, md, in, inLen, out, outLen);
}
int sxPubKey_Verify(sxPubKey *key, sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen,
                    const unsigned char *sig, int sigLen) {
  return key == nullptr ? kKeyNotUsable : key->Verify(op, md, data, dataLen, sig, sigLen);
}
int sxPubKey_Decrypt(sxPubKey *key, sxPKop_type op, const unsigned char *in, int inLen, unsigned char *out,
                     int outLen) {
  return key == nullptr ? kKeyNotUsable : key->Decrypt(op, in, inLen, out, outLen);
}
int sxPubKey_Derive(sxPubKey *key, sxPKop_type op, const unsigned char *peer, int peerLen, unsigned char *out,
                    int outLen) {
  return key == nullptr ? kKeyNotUsable : key->Derive(op, peer, peerLen, out, outLen);
}
int sxPubKey_Export(sxPubKey *key, sxPK_Format format, unsigned char *out, int outLen) {
  return key == nullptr ? kKeyNotUsable : key->Export(format, out, outLen);
}

int sxPubKey_Equal(sxPubKey *a, sxPubKey *b) {
  const auto differ = [](const char *fmt) {
    herror_func(0, 0, fmt, "sxPubKey_Equal");
    return 0;
  };
  if (a == nullptr || b == nullptr) return differ("%s: bad input.");
  const int len = a->Export(sxPK_public, nullptr, 0);
  const int otherLen = b->Export(sxPK_public, nullptr, 0);
  if (len < 1 || otherLen < 1) return differ("%s: Cannot export key.");
  if (len != otherLen) return differ("%s: Different keys (length).");

  const auto size = static_cast<size_t>(len);
  const std::unique_ptr<unsigned char[]> octets(new (std::nothrow) unsigned char[2 * size]);
  if (octets == nullptr) return differ("%s: cannot allocate memory.");
  if (a->Export(sxPK_public, octets.get(), len) != len || b->Export(sxPK_public, octets.get() + size, len) != len) {
    return differ("%s: Internal error.");
  }
  if (std::memcmp(octets.get(), octets.get() + size, size) != 0) return differ("%s: Different keys.");
  return 1;
}
