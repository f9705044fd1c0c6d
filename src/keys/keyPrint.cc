// Keys as text: what can be told of any kind through its interface.
#include "foundation/textOutput.h"
#include "keyAlgorithms.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"

void sxPubKey::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  if (OK() == 0) return out->Puts("Key: not usable\n");
  auto &self = const_cast<sxPubKey &>(*this);  // only declared as if they changed it
  const bool isPrivate = (Flags() & kKeyFlagCanSign) != 0 || self.Export(sxPK_private, nullptr, 0) > 0;
  const KeyFamily *const family = FindKeyFamily(algorithm());
  out->Printf("%s key (%d bits), private part: %s\n", family == nullptr ? "unknown" : family->name,
              sxPubKey_NumBits(&self), isPrivate ? "yes" : "no");
  const int len = self.Export(sxPK_public, nullptr, 0);
  if (len <= 0) return;
  kxBinBuf octets(static_cast<unsigned int>(len));
  const int written = self.Export(sxPK_public, octets.Data(), len);
  if (written <= 0) return;
  octets.Set(octets.Data(), static_cast<unsigned int>(written));
  octets.Sprint(out, "Public key octets", indent);
}

void sxPubKey::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
