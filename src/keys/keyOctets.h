// Octets of keys: views of what holds them, and buffers for those that may be secret.
#ifndef KXCERT_SRC_KEYS_KEYOCTETS_H_
#define KXCERT_SRC_KEYS_KEYOCTETS_H_

#include "asn1/der.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/foundation/kxBinBuf.h"

struct bignum_st;
class sxset;
class sxString;

inline sxOctetView ViewOf(const kxBinBuf &octets) { return sxView(octets.Data(), static_cast<int>(octets.Len())); }
/// The content octets.
inline sxOctetView ViewOf(const sxAsnOid &oid) { return sxView(oid.Data(), oid.Len()); }

kxBinBuf SensitiveBuf(int len);
/// The octets of both; sensitive when @p isSecret is.
kxBinBuf JoinOctets(sxOctetView head, sxOctetView tail, bool isSecret);

/// A binary attribute, read without leaving copies behind.
/// @param maxLen  octets at most
/// @param[out] out  sensitive
/// @return 0, or -1 when it is missing, empty, too long or no hexadecimal text
[[nodiscard]] int ReadSecretAttribute(const sxset &set, const char *name, int maxLen, kxBinBuf &out);

/// Two digits an octet. The copy on the way is wiped; that @p text is sensitive is its owner's to say.
void SetHexText(sxOctetView octets, sxString &text);

/// A public number with its size, on the debug log. Null: nothing.
void LogKeyNumber(const char *title, const bignum_st *number);

#endif
