#include "keyGate.h"

#include <algorithm>
#include <cstring>

#include "keyOctets.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"

int PassGate(const KeyGate &gate, sxOctetView in, const unsigned char *out, int outLen) {
  if (!gate.isUsable) return kKeyNotUsable;
  if (!gate.isAble) return kKeyNotImplemented;
  if (in.empty()) return kKeyBadInput;
  const int answer = CheckRoom(gate.maxLen, out, outLen);
  if (answer != kKeyOutputShort) return answer;
  if (gate.tooShort == nullptr) return 0;
  herror_func(0, 0, gate.tooShort, gate.func);
  return answer;
}

int PassSigningGate(const KeyGate &gate, sxPKop_type op, sx_md_type md, sxOctetView *message, kxBinBuf *area,
                    const unsigned char *out, int outLen) {
  if (const int answer = PassGate(gate, *message, out, outLen)) return answer;
  if (op == sxPKop_digest || op == sxPKop_digest_alt) {
    if (kxPKCS1DigestInfo(message->data(), sxLen(*message), md, *area) != 0) return kKeyNoDigestInfo;
    *message = ViewOf(*area);
  } else if (op != sxPKop_raw && op != sxPKop_either) {
    herror_func(0, 0, "%s: unsupported op %d", gate.func, op);
    return kKeyNotImplemented;
  }
  return 0;
}

int CheckRoom(int needed, const unsigned char *out, int outLen) {
  if (out == nullptr) return needed;
  return outLen < needed ? kKeyOutputShort : 0;
}

int KeyFlags(bool isUsable, bool hasPrivate) {
  if (!isUsable) return 0;
  return hasPrivate ? kKeyFlagsPublic | kKeyFlagsPrivate : kKeyFlagsPublic;
}

int ExportSet(const char *func, bool isUsable, unsigned char *out, int outLen,
              const std::function<sxset *()> &makeSet) {
  if (!isUsable) return kKeyNotUsable;
  if (outLen != kKeySetCapacity) {
    herror_func(0, 0, "%s: wrong pointer length %d", func, outLen);
    return kKeyBadInput;
  }
  if (out == nullptr) {
    herror_func(0, 0, "%s: cannot assign to NULL pointer", func);
    return kKeyBadInput;
  }
  sxset *const set = makeSet();
  if (set == nullptr) return kKeyNotUsable;
  std::memcpy(out, &set, sizeof set);  // the caller's area is an octet pointer: no alignment is promised
  return 0;
}

int ExportOctets(const char *func, bool isUsable, sxPK_Format format, unsigned char *out, int outLen,
                 const MakeKeyOctets &makeOctets) {
  if (!isUsable) return kKeyNotUsable;
  if (format != sxPK_public && format != sxPK_private) {
    herror_func(0, 0, "%s: %d not implemented", func, format);
    return kKeyNotImplemented;
  }
  kxBinBuf area;
  const sxOctetView octets = makeOctets(format == sxPK_private, &area);
  if (octets.empty()) return kKeyBadInput;
  if (const int answer = CheckRoom(sxLen(octets), out, outLen)) return answer;
  std::ranges::copy(octets, out);
  return sxLen(octets);
}
