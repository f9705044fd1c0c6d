#include "requestTaken.h"

#include <algorithm>
#include <set>
#include <span>

#include "certFacts.h"
#include "crlFacts.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "oidInput.h"
#include "report.h"
#include "templateInput.h"
#include "visibleText.h"

namespace {

// Which of two counts would be a matter of who looks.
const sxASN_Extension *FirstTwice(const sxASN_Extensions &extensions) {
  std::set<std::string> seen;
  for (const sxASN_Extension &ext : extensions) {
    const auto *const octets = ext.extnID->Data();
    if (!seen.emplace(octets, octets + ext.extnID->Len()).second) return &ext;
  }
  return nullptr;
}

bool IsSame(const sxASN_Extension &a, const sxASN_Extension *b) {
  const auto octetsOf = [](const sxASN_Extension &ext) {
    return std::span(ext.extnValue->Data(), static_cast<size_t>(ext.extnValue->Len()));
  };
  return b != nullptr && std::ranges::equal(octetsOf(a), octetsOf(*b));
}

std::string AltNamesText(const sxASN_Extension &ext) {
  sxASN_Extensions one;
  one.AppendCopy(ext);
  sxExtensionsList list;
  list.Parse(&one, Get_ExtParserTable());
  const auto *const found = static_cast<const sxExtGN *>(list.Find(&sxASN_id_ce_subjectAltName));
  if (found == nullptr) return "that cannot be read";
  const std::vector<std::string> texts = NameTexts(found->Names());
  std::string all;
  for (size_t i = 0; i < std::min<size_t>(texts.size(), RequestTaken::kMaxTold); ++i) {
    all += (i == 0 ? "" : ", ") + texts[i];
  }
  return texts.size() > RequestTaken::kMaxTold ? all + " and more, " + Counted(texts.size(), "name") + " in all" : all;
}

std::string TextOf(const sxASN_Extension &asked, const sxASN_Extension *made) {
  const sxAsnOid &type = *asked.extnID;
  const std::string name = NameOrOid(type);
  if (sxASN_id_ce_authorityKeyIdentifier.OidEquiv(type)) return name + ", not taken: it is the issuer's own";
  const bool isAltNames = sxASN_id_ce_subjectAltName.OidEquiv(type);
  if (made == nullptr) return name + ", not taken; --copy " + name + " takes it";
  if (!IsSame(asked, made)) return name + ", not taken: profile and options say otherwise";
  return isAltNames ? "alternative names, taken over: " + AltNamesText(asked) : name + ", taken over";
}

}  // namespace

bool RequestTaken::Read(const std::string &path, sxCertTemplate &wanted, Report &report) {
  m_found = ReadProvenRequest(path, report);
  if (m_found.request == nullptr) return false;
  if (m_asked.Set(m_found.request.get()) != 0 || wanted.SetPubKey(m_found.request->PubKey()) != 0) {
    return report.Problem(kExitInputError, m_found.where, "has no key that can be used"), false;
  }
  const sxASN_Extensions *const extensions = m_asked.Tree().extensions;
  const sxASN_Extension *const twice = extensions == nullptr ? nullptr : FirstTwice(*extensions);
  if (twice != nullptr) {
    return report.Problem(kExitNo, m_found.where, "refused: asks for " + NameOrOid(*twice->extnID) + " twice"), false;
  }
  wanted.SetSubject(m_asked.Subject());
  return true;
}

bool RequestTaken::TakeExtensions(bool altNames, const std::vector<std::string> &copies, sxCertTemplate &wanted,
                                  Report &report) const {
  const sxASN_Extension *const names = FindExtension(m_asked, sxASN_id_ce_subjectAltName);
  if (altNames && names != nullptr) CopyExtension(*names, wanted);
  for (const std::string &copy : copies) {
    const sxASN_Extension *const ext = FindExtension(m_asked, *ReadExtensionType(copy));
    if (ext != nullptr && CopyExtension(*ext, wanted)) continue;
    return report.Problem(kExitInputError, m_found.where, "does not ask for " + VisibleLine(copy)), false;
  }
  return true;
}

void RequestTaken::Tell(const sxCertTemplate &wanted, Report &report) const {
  const sxDN *const subject = m_found.request->Subject();
  if (wanted.Subject() == nullptr ? subject->Count() > 0 : !subject->Equal(*wanted.Subject())) {
    report.Note(m_found.where, "asks for the subject " + NameText(subject) + ", not taken");
  }
  if (m_asked.Tree().extensions == nullptr) return;
  int num = 0;
  for (const sxASN_Extension &asked : *m_asked.Tree().extensions) {
    if (++num > kMaxTold) continue;
    report.Note(m_found.where, "asks for " + TextOf(asked, FindExtension(wanted, *asked.extnID)));
  }
  if (num > kMaxTold)
    report.Note(m_found.where, "asks for " + Counted(static_cast<size_t>(num - kMaxTold), "more extension"));
}
