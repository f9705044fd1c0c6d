/// @file
/// Certified keys out of PKCS #12 containers, and into them.
///
/// Nothing here trusts: a chain says who signed whom, not that anyone may.
#ifndef KXCERT_TRUST_PKCS12KEYS_H_
#define KXCERT_TRUST_PKCS12KEYS_H_

#include <string>
#include <vector>

#include "kxcert/cert/pkcs12.h"

class sxCertifiedKey;
class sxKeyHolder;
class sxRootCA;

constexpr int kMaxPkcs12Verifications = 1024;  ///< of signatures, for one container
constexpr size_t kMaxPkcs12Issuers = 8;        ///< certificates of an issuer's name that are tried for each certificate

/// Bags by their place in sxPkcs12::Bags().
struct sxPkcs12Key {
  int key = 0;
  std::vector<int> chain;  ///< its own certificate first, each the issuer of the one before it
};

/// Which bags belong together.
struct sxPkcs12Order {
  std::vector<sxPkcs12Key> keys;  ///< that have a certificate, in the order of the container
  // What is left over: in no chain.
  std::vector<int> otherKeys, otherCerts, otherCrls;
  std::vector<int> others;  ///< secrets, and what is not read; not the safeContentsBags
  bool isCut = false;       ///< there were more signatures to verify than are; chains may be shorter than they could be
};

/// A key's own certificate has its public key, whatever the names and identifiers say; of several the one with the same
/// localKeyId, else the same friendlyName, else the first. Chains go upwards by name and verified signature.
/// @param container  open; else the order is empty
KXCERT_EXPORT sxPkcs12Order sxPkcs12_Order(const sxPkcs12 &container);

/// @param key   of this container's order
/// @param root  as the constructor of sxCertifiedKey has it
/// @return a new certified key for sxFreePKobj, with the friendlyName as its name and the localKeyId as its identifier
KXCERT_EXPORT sxCertifiedKey *sxPkcs12_NewCertifiedKey(const sxPkcs12 &container, const sxPkcs12Key &key,
                                                       sxRootCA *root, int purpose);

/// Adds every key of the order to a holder, or none: each with the root of the holder that signed its chain, or is in
/// it. The roots of the container are not trusted because of it.
/// @return how many; -1 when there is none or the holder refuses one (one line logged)
KXCERT_EXPORT int sxPkcs12_AddKeys(const sxPkcs12 &container, const sxPkcs12Order &order, int purpose,
                                   sxKeyHolder &holder);

/// Writes a certified key with its chain. Its name becomes the friendlyName, where it has one of its own.
/// @return as sxPkcs12_Write
KXCERT_EXPORT int sxPkcs12_Export(const sxCertifiedKey &key, const sxPkcs12Settings &settings, sxPbeOctets password,
                                  kxBinBuf &out, std::string *why = nullptr);

#endif
