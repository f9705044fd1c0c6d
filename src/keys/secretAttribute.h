// Binary attributes that may be secret, read without leaving copies behind.
#ifndef KXCERT_SRC_KEYS_SECRETATTRIBUTE_H_
#define KXCERT_SRC_KEYS_SECRETATTRIBUTE_H_

class kxBinBuf;
class sxset;

/// @param maxLen  octets at most
/// @param[out] out  sensitive
/// @return 0, or -1 when it is missing, empty, too long or no hexadecimal text
[[nodiscard]] int ReadSecretAttribute(const sxset &set, const char *name, int maxLen, kxBinBuf &out);

#endif
