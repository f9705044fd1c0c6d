/// @file
/// Algorithms by their identifiers, also those that the library does not use.
#ifndef KXCERT_TOOLS_KXCERT_ALGORITHMFACTS_H_
#define KXCERT_TOOLS_KXCERT_ALGORITHMFACTS_H_

#include <span>
#include <string>

#include "facts.h"

class sxASN_AlgorithmIdentifier;
class sxAsnOid;

/// The parameters as they stand, lent; empty when there are none.
std::span<const unsigned char> ParametersOf(const sxASN_AlgorithmIdentifier &algorithm);
/// @return false: the parameters are not one identifier, as that of a curve is
bool ParameterOid(const sxASN_AlgorithmIdentifier &algorithm, sxAsnOid *oid);

/// The identifier with its name, and those among its parameters: "1.2.840.10045.2.1 (id-ecPublicKey) with 1.3.132.0.10
/// (secp256k1)".
std::string AlgorithmText(const sxASN_AlgorithmIdentifier &algorithm);
/// The same as JSON.
Facts AlgorithmFacts(const sxASN_AlgorithmIdentifier &algorithm);

/// "" for a signature that the library knows, else its algorithm.
std::string UnknownSignature(const sxASN_AlgorithmIdentifier &algorithm);
/// "ECDSA with SHA-256", "not supported: 1.3.101.112 (Ed25519)".
std::string SignatureWords(const sxASN_AlgorithmIdentifier &algorithm);

#endif
