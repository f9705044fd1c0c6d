// What every kind of key does alike: the gate before an operation, the way out of Export.
#ifndef KXCERT_SRC_KEYS_KEYGATE_H_
#define KXCERT_SRC_KEYS_KEYGATE_H_

#include <functional>

#include "asn1/der.h"
#include "kxcert/keys/keyCodes.h"
#include "kxcert/platform/digest.h"

class kxBinBuf;
class sxset;

/// What a key says of itself before an operation. The checks go from top to bottom.
struct KeyGate {
  const char *func;      ///< named in log lines
  bool isUsable;         ///< else kKeyNotUsable
  bool isAble;           ///< has the part that is needed; else kKeyNotImplemented
  int maxLen;            ///< the longest output, octets: the answer when there is no area
  const char *tooShort;  ///< a format of func, logged with kKeyOutputShort; null: any room may do
};

/// Empty input is kKeyBadInput, before the output is looked at.
/// @return 0: go on; else what the operation returns
[[nodiscard]] int PassGate(const KeyGate &gate, sxOctetView in, const unsigned char *out, int outLen);

/// The same before signing.
/// @param[in,out] message  what was given; then what is to be signed: the same, or a DigestInfo
/// @param         area     holds that DigestInfo
[[nodiscard]] int PassSigningGate(const KeyGate &gate, sxPKop_type op, sx_md_type md, sxOctetView *message,
                                  kxBinBuf *area, const unsigned char *out, int outLen);

/// The size convention: 0 when @p out takes so many octets; else how many there are (@p out is null) or
/// kKeyOutputShort.
[[nodiscard]] int CheckRoom(int needed, const unsigned char *out, int outLen);

/// Flags() of RSA and EC keys.
[[nodiscard]] int KeyFlags(bool isUsable, bool hasPrivate);

/// Export as a set, which the caller of Export then owns.
/// @return 0; kKeyNotUsable, also when no set could be made; kKeyBadInput: the area is no place for a pointer
[[nodiscard]] int ExportSet(const char *func, bool isUsable, unsigned char *out, int outLen,
                            const std::function<sxset *()> &makeSet);

/// Export as octets: those of the public or the private form, lent or in the area; none: kKeyBadInput.
using MakeKeyOctets = std::function<sxOctetView(bool privateForm, kxBinBuf *area)>;
[[nodiscard]] int ExportOctets(const char *func, bool isUsable, sxPK_Format format, unsigned char *out, int outLen,
                               const MakeKeyOctets &makeOctets);

#endif
