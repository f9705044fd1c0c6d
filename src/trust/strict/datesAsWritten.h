/// @file
/// Dates as a certificate's octets have them, where sxCert has 32-bit seconds that end in 2038.
#ifndef KXCERT_SRC_TRUST_STRICT_DATESASWRITTEN_H_
#define KXCERT_SRC_TRUST_STRICT_DATESASWRITTEN_H_

#include "trust/strict/strictRule.h"

StrictOutcome BegunAsWritten(StrictPath &path, int level);
StrictOutcome NotOverAsWritten(StrictPath &path, int level);

#endif
