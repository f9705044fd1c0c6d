// The algorithms of keys and signatures, by object identifier, and the families that they belong to.
#ifndef KXCERT_SRC_KEYS_KEYALGORITHMS_H_
#define KXCERT_SRC_KEYS_KEYALGORITHMS_H_

#include "asn1/der.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/keys/keyCodes.h"

struct KeyAlgorithm {
  const sxAsnOid *oid;
  sxPK_Alg family;
  int mdType;          // of signatures; sx_md_unknown: it says none
  bool standsForKeys;  // may name the algorithm of a subjectPublicKeyInfo
};

/// Lent; null for one that is not known.
const KeyAlgorithm *FindKeyAlgorithm(sxOctetView oid);

struct KeyFamily {
  sxPK_Alg family;
  const char *name;        // in print-outs
  sxSpkiResult onFailure;  // what it is called that a certificate's key was not imported
  /// Imports one from the pieces of a subjectPublicKeyInfo; null: never imported.
  sxPubKey *(*import)(sxOctetView params, sxOctetView key);
};

/// Lent; null for another number.
const KeyFamily *FindKeyFamily(int family);

/// Whether a subjectPublicKeyInfo of that algorithm can be imported.
bool IsImportedKeyAlgorithm(const sxAsnOid &oid);

// Where families import from a certificate (subjectPublicKey.cc).
sxPubKey *ImportSpkiRsa(sxOctetView params, sxOctetView key);
sxPubKey *ImportSpkiEc(sxOctetView params, sxOctetView key);

#endif
