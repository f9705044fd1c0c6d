/// @file
/// Memory of signatures that verified: a chain that is validated again and again is verified once.
///
/// Process-wide, bounded, sharded; any thread. Only successes are kept. The key is a SHA-256 over the
/// signed octets' SHA-256, the algorithm, the signature and the signer's public key, so that a hit
/// says exactly what verifying again would say. No result depends on it.
#ifndef KXCERT_SRC_CERT_SIGNATUREMEMORY_H_
#define KXCERT_SRC_CERT_SIGNATUREMEMORY_H_

#include <array>
#include <cstdint>

#include "kxcert/cert/signatureCache.h"

using sxSignatureKey = std::array<unsigned char, 32>;

/// True when the memory is on and holds the key. Counts a hit or a miss.
bool sxSignatureMemory_Knows(const sxSignatureKey &key);
void sxSignatureMemory_Keep(const sxSignatureKey &key);
bool sxSignatureMemory_IsOn();

#endif
