/// @file
/// Keys of this process, as against those that are kept elsewhere and whose answers are somebody else's.
#ifndef KXCERT_SRC_KEYS_OWNKEYS_H_
#define KXCERT_SRC_KEYS_OWNKEYS_H_

class sxPubKey;

/// Whether this library itself computes what the key signs and verifies, whatever the key calls itself.
bool sxIsOwnKey(const sxPubKey &key);

#endif
