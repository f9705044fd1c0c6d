/// @file
/// From the certificates of the command line to a chain in path order and the root it ends in.
#ifndef KXCERT_TOOLS_KXCERT_CHAINBUILD_H_
#define KXCERT_TOOLS_KXCERT_CHAINBUILD_H_

#include <memory>
#include <string>
#include <vector>

#include "certInput.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/sxKeyHolder.h"

struct FreeHolder {
  void operator()(sxKeyHolder *holder) const { sxFreePKobj(holder); }
};
using HolderRef = std::unique_ptr<sxKeyHolder, FreeHolder>;

/// A holder with one root CA for each name. A name's certificate that expires last is its own one, the
/// others are its additional ones, so that a renewed root is found whichever key signed.
HolderRef MakeHolder(const std::vector<FoundCert> &trust);

struct BuiltChain {
  sxCerts chain;             ///< path order, end entity first; ends in the root's certificate when trusted
  sxRootCA *root = nullptr;  ///< lent by the holder; null: no trusted root
  std::vector<const FoundCert *> unused;   ///< of the presented ones, those that are not in the chain
};

/// @param presented  must all belong to the chain; what does not is told as unused
/// @param untrusted  issuers that may be missing there; taken only where one is missing
BuiltChain BuildChain(const std::vector<FoundCert> &presented, const std::vector<FoundCert> &untrusted,
                      sxKeyHolder &holder);

/// Why no root was found, as seen from the chain's top certificate.
struct MissingIssuer {
  std::string name;          ///< of the issuer, ASCII
  std::string keyId;         ///< authorityKeyIdentifier, hexadecimal; may be empty
  std::string help;          ///< one sentence: what would help
};
MissingIssuer FindMissingIssuer(const sxCert &top, sxKeyHolder &holder);

#endif
