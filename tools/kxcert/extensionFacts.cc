#include "extensionFacts.h"

#include <utility>

#include "kxcert/cert/sxExtensions.h"
#include "unknownParts.h"

Facts ExtensionFacts(const sxExtensionsList &known, const sxASN_Extensions *all, SxStream *text, int indent) {
  Facts facts, extensions;
  known.Sprint(text, indent);
  facts["unknownExtensions"] = PrintUnknown(all, known, nullptr, text, indent, &extensions);
  facts["extensions"] = std::move(extensions);
  return facts;
}
