/// @file
/// The codes that a certificate's status can have, beside sxValidation_OK; kxcert/trust/revocation.h says what each is.
#ifndef KXCERT_SRC_TRUST_STATUSCODES_H_
#define KXCERT_SRC_TRUST_STATUSCODES_H_

#include <algorithm>
#include <array>

#include "kxcert/trust/sxValidation.h"

/// The worst first.
constexpr std::array kStatusCodes = {
    sxValidation_revoked,   sxValidation_crlFetchFailed, sxValidation_crlNotYetValid,  sxValidation_crlExpired,
    sxValidation_crlTooBig, sxValidation_noValidCRL,     sxValidation_crlNotRetrieved, sxValidation_unknownStatus,
};

inline bool sxIsStatusCode(sxValidationRC code) { return std::ranges::find(kStatusCodes, code) != kStatusCodes.end(); }

/// Any other code is better than all of these.
inline sxValidationRC sxWorseStatus(sxValidationRC a, sxValidationRC b) {
  return std::ranges::find(kStatusCodes, a) < std::ranges::find(kStatusCodes, b) ? a : b;
}

#endif
