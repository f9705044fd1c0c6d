#include "trust/processedExtensions.h"

#include <memory>

#include "cert/extensionRules.h"
#include "cert/extensionWalk.h"
#include "cert/sxExtension_imp.h"
#include "kxcert/trust/ValidateParams.h"
#include "trust/strict/strictCert.h"

namespace {

struct ProcessedRow {
  unsigned by;
  sxOctetView oid;
};
constexpr ProcessedRow kProcessed[] = {
    {sxProcesses_nameConstraints, kOidNameConstraints}, {sxProcesses_policies, kOidPolicies},
    {sxProcesses_policies, kOidPolicyMappings},         {sxProcesses_policies, kOidPolicyConstraints},
    {sxProcesses_policies, kOidInhibitAnyPolicy},
};

// Those of CAs say nothing of anybody else: there no rule processes them, and RFC 5280, 4.2.1.10 does not let them be.
bool IsProcessed(sxOctetView oid, unsigned processed, bool isCA) {
  const sxExtensionRule *const rule = sxExtensionRuleOf(oid);
  if (rule != nullptr && rule->isForCAs && !isCA) return false;
  return std::ranges::any_of(kProcessed, [oid, processed](const ProcessedRow &row) {
    return (row.by & processed) != 0 && sxEqual(row.oid, oid);
  });
}

// As the certificate does when it is built (sxExtensions.h).
bool IsUnderstood(const sxASN_Extension &extension) {
  for (const sxExtParser *row = Get_ExtParserTable(); row->oid != nullptr; ++row) {
    if (!row->oid->OidEquiv(*extension.extnID)) continue;
    int isUnderstood = 0;
    return row->parse == sxParseNoParse || std::unique_ptr<sxExtension>(row->parse(extension, isUnderstood)) != nullptr;
  }
  return false;
}

}  // namespace

std::optional<sxAsnOid> sxFirstUnknown(const sxCert &cert, unsigned processed) {
  std::optional<sxAsnOid> found;
  const StrictCert strict(cert);
  sxForEachExtension(strict.ExtensionList(), [&](const sxASN_Extension &extension, bool isCritical) {
    const sxOctetView oid = sxView(extension.extnID->Data(), extension.extnID->Len());
    if (!isCritical || IsProcessed(oid, processed, strict.IsCA()) || IsUnderstood(extension)) return true;
    found = *extension.extnID;
    return false;
  });
  // What cannot even be read that way is not known.
  return found.has_value() || strict.IsReadable() ? found : std::optional<sxAsnOid>(sxAsnOid());
}
