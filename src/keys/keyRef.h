// References to keys.
#ifndef KXCERT_SRC_KEYS_KEYREF_H_
#define KXCERT_SRC_KEYS_KEYREF_H_

#include "kxcert/keys/sxPubKey.h"
#include "platform/owned.h"

using PubKeyRef = sxOwned<sxPubKey, sxFreePubKey>;

/// The key, which is handed on when it is usable, else dropped: null.
template <class Key>
Key *IfUsable(Key *key) {
  if (key->OK() != 0) return key;
  sxFreePubKey(key);
  return nullptr;
}

#endif
