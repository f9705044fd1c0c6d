#include "keyFacts.h"

#include <memory>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "visibleText.h"

namespace {

constexpr int kSha256Len = 32;

const char *KindOf(const sxPubKey &key) {
  switch (key.algorithm()) {
    case sxPK_RSA: return "RSA";
    case sxPK_ECDSA: return "EC";
    default: return "DH";
  }
}

// A curve's or a group's; "" where there is none.
std::string NameInSet(sxPubKey &key) {
  const std::unique_ptr<sxset> set(sxExportKey_to_Set(&key, false));
  const char *const name = set == nullptr ? nullptr : set->FindText(key.algorithm() == sxPK_DH ? "group" : "curve");
  return name == nullptr ? "" : VisibleLine(name);
}

}  // namespace

std::string KeyName(sxPubKey &key) {
  const std::string name = NameInSet(key), kind = KindOf(key);
  return kind + ", " + (name.empty() ? "" : name + ", ") + std::to_string(sxPubKey_NumBits(&key)) + " bits";
}

std::string KeyFingerprint(sxPubKey &key) {
  kxBinBuf der;
  unsigned char digest[kSha256Len];
  if (sxExportKeyInfo(&key, false, der) != 0) return "";
  return kx_md_hashbuf(sx_md_sha256, der.Data(), der.Len(), digest, kSha256Len) == 0 ? HexOf(digest, kSha256Len) : "";
}

std::string KeyLines(sxPubKey &key, bool isPrivate) {
  return "  key:     " + KeyName(key) + "\n  part:    " + (isPrivate ? "private" : "public") +
         "\n  sha-256: " + KeyFingerprint(key) + " (SubjectPublicKeyInfo)";
}

Facts KeyFacts(sxPubKey &key, bool isPrivate) {
  Facts facts = {{"kind", KindOf(key)}, {"bits", sxPubKey_NumBits(&key)}, {"private", isPrivate}};
  const std::string name = NameInSet(key);
  if (!name.empty()) facts[key.algorithm() == sxPK_DH ? "group" : "curve"] = name;
  facts["publicKeySha256"] = KeyFingerprint(key);
  return facts;
}
