/// @file
/// What is told of extensions that certificates do not keep in their list: read with every table that there is.
#ifndef KXCERT_TOOLS_KXCERT_ISSUEDFACTS_H_
#define KXCERT_TOOLS_KXCERT_ISSUEDFACTS_H_

#include <memory>

#include "extensionWords.h"
#include "facts.h"

class sxASN_Extension;
class sxAsnOid;
class sxExtension;

/// @param[out] made  set when it was read
ReadAs ReadExtension(const sxASN_Extension &ext, std::unique_ptr<sxExtension> *made);

/// Its members as JSON: nothing for kinds of sxExtensions.h, of which only the text is told.
Facts IssuedFacts(const sxAsnOid &type, const sxExtension &ext);

/// A number of levels or certificates, of which readers keep no more than 31 bits: null for what may be more.
Facts CountFacts(int count);

#endif
