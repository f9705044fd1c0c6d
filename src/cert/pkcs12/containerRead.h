/// @file
/// The structure of a container: what is told without a password, and the bags of a safe.
#ifndef KXCERT_SRC_CERT_PKCS12_CONTAINERREAD_H_
#define KXCERT_SRC_CERT_PKCS12_CONTAINERREAD_H_

#include <deque>
#include <vector>

#include "asn1/der.h"
#include "containerFailure.h"

/// MacData (RFC 7292, 4), not checked yet.
struct ContainerMac {
  bool isThere = false;
  sxOctetView algorithm;  // whole AlgorithmIdentifier
  sxOctetView digest, salt;
  uint64_t iterations = 1;
};

struct ContainerSafe {
  sxOctetView algorithm;  // whole AlgorithmIdentifier; empty when it is not encrypted
  kxBinBuf content;       // encrypted octets in one piece; or a SafeContents, plain as sxMakePlain writes it; sensitive
  sxPkcs12Safe facts;
};

/// A container, taken apart. Views are of its own buffers.
struct ContainerParts {
  kxBinBuf pfx, authSafe;    // plain
  sxOctetView signedOctets;  // what the MAC is over
  ContainerMac mac;
  std::deque<ContainerSafe> safes;
};

bool ReadContainer(sxOctetView octets, ContainerParts *parts, ContainerFailure *failure);

bool MakePlain(sxOctetView ber, kxBinBuf *out, ContainerFailure *failure);

/// Bags with what stands in them. Views are of the safes that they were read from.
struct ContainerBags {
  std::vector<sxPkcs12Bag> bags;
  std::vector<sxOctetView> values;  // content of each bagValue, or of what is in a CertBag, CRLBag or SecretBag
};

/// Appends the bags of a SafeContents. @param contents  plain
bool ReadBags(sxOctetView contents, int safe, ContainerBags *bags, ContainerFailure *failure);

#endif
