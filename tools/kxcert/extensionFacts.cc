#include "extensionFacts.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxExtensions.h"
#include "oidInput.h"
#include "templateInput.h"
#include "unknownParts.h"

Facts ExtensionFacts(const sxExtensionsList &known, const sxASN_Extensions *all, SxStream *text, int indent) {
  Facts facts;
  facts["extensions"] = Facts::array();
  if (all != nullptr) {
    for (const sxASN_Extension &ext : *all) {
      facts["extensions"].push_back(
          {{"name", ExtensionName(*ext.extnID)}, {"oid", OidText(*ext.extnID)}, {"critical", IsCritical(ext)}});
    }
  }
  known.Sprint(text, indent);
  facts["unknownExtensions"] = PrintUnknown(all, known, nullptr, text, indent);
  return facts;
}
