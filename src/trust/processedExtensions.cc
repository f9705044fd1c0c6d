#include "trust/processedExtensions.h"

#include <memory>
#include <set>

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

const ProcessedRow *RowOf(sxOctetView oid) {
  const auto *const row =
      std::ranges::find_if(kProcessed, [oid](const ProcessedRow &known) { return sxEqual(known.oid, oid); });
  return row == std::end(kProcessed) ? nullptr : row;
}

// Those of CAs say nothing of anybody else: there no rule processes them, and RFC 5280, 4.2.1.10 does not let them be.
bool IsProcessed(const ProcessedRow *row, unsigned processed, bool isCA) {
  if (row == nullptr || (row->by & processed) == 0) return false;
  const sxExtensionRule *const rule = sxExtensionRuleOf(row->oid);
  return rule == nullptr || !rule->isForCAs || isCA;
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
  std::set<const ProcessedRow *> met;
  sxForEachExtension(strict.ExtensionList(), [&](const sxASN_Extension &extension, bool isCritical) {
    const sxOctetView oid = sxView(extension.extnID->Data(), extension.extnID->Len());
    const ProcessedRow *const row = RowOf(oid);
    const bool isFirst = row == nullptr || met.insert(row).second;
    if (!isCritical || (isFirst && IsProcessed(row, processed, strict.IsCA())) || IsUnderstood(extension)) return true;
    found = *extension.extnID;
    return false;
  });
  // What cannot even be read that way is not known.
  return found.has_value() || strict.IsReadable() ? found : std::optional<sxAsnOid>(sxAsnOid());
}
