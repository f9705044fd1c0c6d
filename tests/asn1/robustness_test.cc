// Input made to cost much: nesting, and many small parts. Time may grow with the input and its
// logarithm, memory with the input.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
