/// @file
/// What is told about a certification request, as text and as JSON. All of it is printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_REQUESTFACTS_H_
#define KXCERT_TOOLS_KXCERT_REQUESTFACTS_H_

#include "facts.h"

class sxCertRequest;
class SxStream;

/// Everything but whether its signature verifies. Of a challenge password only that there is one.
/// @param[out] text  the same, a line each
Facts RequestFacts(const sxCertRequest &request, SxStream *text, int indent);

#endif
