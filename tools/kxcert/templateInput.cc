#include "templateInput.h"

#include <optional>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "nameInput.h"
#include "report.h"

bool SetSubject(const std::string &text, sxCertTemplate &wanted, Report &report) {
  if (text.empty()) return true;
  std::string reason;
  const std::optional<sxDN> subject = ReadName(text, &reason);
  if (!subject.has_value()) return report.Problem(kExitUsage, text, "not a legal name" + reason), false;
  wanted.SetSubject(&*subject);
  return true;
}

const sxASN_Extension *FindExtension(const sxCertTemplate &wanted, const sxAsnOid &type) {
  if (wanted.Tree().extensions == nullptr) return nullptr;
  for (const sxASN_Extension &ext : *wanted.Tree().extensions) {
    if (ext.extnID->OidEquiv(type)) return &ext;
  }
  return nullptr;
}

bool CopyExtension(const sxASN_Extension &ext, sxCertTemplate &wanted) {
  return wanted.SetExtension(*ext.extnID, IsCritical(ext), ext.extnValue->Data(), ext.extnValue->Len()) == 0;
}

bool IsCritical(const sxASN_Extension &ext) { return ext.critical != nullptr && ext.critical->Value() == 1; }
