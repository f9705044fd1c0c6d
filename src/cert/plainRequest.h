/// @file
/// The fields of a certification request as positions in its encoding.
#ifndef KXCERT_SRC_CERT_PLAINREQUEST_H_
#define KXCERT_SRC_CERT_PLAINREQUEST_H_

#include <vector>

#include "plainCert.h"

struct sxPlainAttribute {
  sxOctetView oid;                  ///< content octets
  std::vector<sxOctetView> values;  ///< whole elements
};

struct sxPlainRequest {
  int version = 1;      ///< the number encoded, plus 1
  sxOctetView subject;  ///< whole element
  sxFlatName subjectName;
  sxPlainAlgorithm keyAlgorithm;
  sxOctetView keyBits;  ///< octets of the bit string
  std::vector<sxPlainAttribute> attributes;
  sxPlainAlgorithm signatureAlgorithm;
};

/// Reads a request that takes up all octets, which stay borrowed. Values of attributes are not looked into.
/// @param decoded  as of sxReadPlainCert
/// @return false when the encoding is not plain or no request
bool sxReadPlainRequest(sxOctetView der, bool decoded, sxPlainRequest *request);

constexpr unsigned char kOidExtensionRequest[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 14};  // RFC 2985, 5.4.2
constexpr unsigned char kOidChallengePassword[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 7};  // RFC 2985, 5.4.1

#endif
