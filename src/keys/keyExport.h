// What every kind's Export does alike.
#ifndef KXCERT_SRC_KEYS_KEYEXPORT_H_
#define KXCERT_SRC_KEYS_KEYEXPORT_H_

class sxset;

/// 0 when @p out can take a pointer to a set, else kKeyBadInput with a line that names @p func.
[[nodiscard]] int CheckSetSlot(const char *func, const unsigned char *out, int outLen);
/// Stores the pointer, which the caller of Export then owns. @return 0; kKeyNotUsable for null
[[nodiscard]] int StoreSet(sxset *set, unsigned char *out);

/// The size convention: the length when @p out is null, kKeyOutputShort, or the octets copied.
[[nodiscard]] int StoreOctets(const unsigned char *data, int dataLen, unsigned char *out, int outLen);

#endif
