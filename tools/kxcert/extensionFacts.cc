#include "extensionFacts.h"

#include <utility>

#include "kxcert/cert/sxExtensions.h"
#include "unknownParts.h"

Facts ExtensionFacts(const sxASN_Extensions *all, SxStream *text, int indent) {
  Facts facts, extensions;
  facts["unknownExtensions"] = PrintUnknown(all, sxExtensionsList(), nullptr, text, indent, &extensions);
  facts["extensions"] = std::move(extensions);
  return facts;
}
