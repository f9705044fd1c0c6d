/// @file
/// Who signed an OCSP response, and whether it may speak for the issuer (RFC 6960, 4.2.2.2).
#ifndef KXCERT_SRC_TRUST_REVOCATION_OCSPSIGNER_H_
#define KXCERT_SRC_TRUST_REVOCATION_OCSPSIGNER_H_

#include "kxcert/trust/ocsp.h"

constexpr int kMaxOcspVerifications = 8;  ///< of signatures, for one response

/// Sets the members of the answer that tell of the signer.
/// @return sxOcsp_good when it verifies; else notAuthorized or badSignature, and @c why says more
sxOcspResult sxOcsp_FindSigner(const sxOcspResponse &response, const sxOcspQuestion &question, sxOcspAnswer *answer);

#endif
