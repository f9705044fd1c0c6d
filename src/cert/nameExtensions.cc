// Name constraints, alternative names of issuers and access to subjects: names of any kind (RFC 5280, 4.2.1.7,
// 4.2.1.10 and 4.2.2.2).
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/foundation/textStream.h"
#include "valueExtension.h"

constinit const sxAsnOid sxASN_id_ad_timeStamping({1, 3, 6, 1, 5, 5, 7, 48, 3});
constinit const sxAsnOid sxASN_id_ad_caRepository({1, 3, 6, 1, 5, 5, 7, 48, 5});

using SpaceImp = sxValueExtension<sxNameConstraints, sxNameSpace>;
using NamesImp = sxValueExtension<sxIssuerAltName, std::vector<sxAnyName>>;
using AccessImp = sxValueExtension<sxSubjectInfoAccess, std::vector<sxAccess>>;
template <>
const char *const SpaceImp::kName = "Name Constraints";
template <>
const char *const NamesImp::kName = "Issuer Alternate names";
template <>
const char *const AccessImp::kName = "Subject Info Access";

namespace {

constexpr const char *kBadName = "a name that is none of its kind";

// --- name constraints ---

bool ReadSubtrees(const sxASN_GeneralSubtrees *from, std::vector<sxNameSubtree> *subtrees) {
  if (from == nullptr) return true;
  return sxReadItems(*from, subtrees, [](const sxASN_GeneralSubtree &element, sxNameSubtree *subtree) {
    return subtree->base.Set(*element.base, sxNameUse::kBase) &&
           (element.minimum == nullptr || sxReadCount(*element.minimum, &subtree->minimum)) &&
           (element.maximum == nullptr || sxReadCount(*element.maximum, &subtree->maximum));
  });
}

bool ReadSpace(const sxASN_NameConstraints &tree, sxNameSpace *space) {
  return ReadSubtrees(tree.permittedSubtrees, &space->permitted) &&
         ReadSubtrees(tree.excludedSubtrees, &space->excluded);
}

const char *WriteSubtrees(const std::vector<sxNameSubtree> &subtrees, sxASN_GeneralSubtrees **out) {
  if (subtrees.empty()) return nullptr;
  if (const char *const fault = sxCountFault(subtrees.size(), nullptr); fault != nullptr) return fault;
  *out = new sxASN_GeneralSubtrees;
  for (const sxNameSubtree &subtree : subtrees) {
    sxASN_GeneralSubtree *const element = (*out)->Append();
    element->base = new sxASN_GeneralName;
    if (subtree.minimum != 0 || subtree.maximum >= 0) return "a minimum or maximum";
    if (!subtree.base.Fill(element->base, sxNameUse::kBase)) return kBadName;
  }
  return nullptr;
}

const char *WriteSpace(const sxNameSpace &space, sxASN_NameConstraints *tree) {
  if (space.permitted.empty() && space.excluded.empty()) return "neither permitted nor excluded names";
  const char *const reason = WriteSubtrees(space.permitted, &tree->permittedSubtrees);
  return reason != nullptr ? reason : WriteSubtrees(space.excluded, &tree->excludedSubtrees);
}

// @param empty  what an empty text means
void PrintName(const sxAnyName &name, const char *empty, SxStream *out, int indent) {
  out->Indent(indent);
  out->Put(name.Label());
  out->Put(": ");
  const std::string text = name.Str();
  out->Put(text.empty() ? empty : text);
  out->Put("\n");
}

void PrintSubtrees(const char *title, const std::vector<sxNameSubtree> &subtrees, SxStream *out, int indent) {
  if (subtrees.empty()) return;
  out->Indent(indent);
  out->Printf("%s:\n", title);
  for (const sxNameSubtree &subtree : subtrees) {
    PrintName(subtree.base, "(every name)", out, indent + 1);
    if (subtree.minimum == 0 && subtree.maximum < 0) continue;
    out->Indent(indent + 2);
    out->Printf("from level %s", sxCountText(subtree.minimum).c_str());
    if (subtree.maximum >= 0) out->Printf(" to %s", sxCountText(subtree.maximum).c_str());
    out->Put("\n");
  }
}

// --- alternative names of issuers ---

bool ReadNames(const sxASN_GeneralNames &tree, std::vector<sxAnyName> *names) {
  return sxReadItems(tree, names, [](const sxASN_GeneralName &element, sxAnyName *name) {
    return name->Set(element, sxNameUse::kName);
  });
}

const char *WriteNames(const std::vector<sxAnyName> &names, sxASN_GeneralNames *tree) {
  if (const char *const fault = sxCountFault(names.size(), "no name"); fault != nullptr) return fault;
  for (const sxAnyName &name : names) {
    if (!name.Fill(tree->Append(), sxNameUse::kName)) return kBadName;
  }
  return nullptr;
}

// --- access ---

bool ReadAccesses(const sxASN_AuthorityInfoAccessSyntax &tree, std::vector<sxAccess> *accesses) {
  return sxReadItems(tree, accesses, [](const sxASN_AccessDescription &element, sxAccess *access) {
    access->method = *element.accessMethod;
    return access->location.Set(*element.accessLocation, sxNameUse::kName);
  });
}

const char *WriteAccesses(const std::vector<sxAccess> &accesses, sxASN_AuthorityInfoAccessSyntax *tree) {
  if (const char *const fault = sxCountFault(accesses.size(), "no place"); fault != nullptr) return fault;
  for (const sxAccess &access : accesses) {
    sxASN_AccessDescription *const element = tree->Append();
    element->accessMethod = new sxAsnOid(access.method);
    element->accessLocation = new sxASN_GeneralName;
    if (access.method.Len() < 1) return "a place without method";
    if (!access.location.Fill(element->accessLocation, sxNameUse::kName)) return kBadName;
  }
  return nullptr;
}

std::string MethodText(const sxAsnOid &method) {
  if (method.OidEquiv(sxASN_id_ad_caRepository)) return "CA Repository";
  if (method.OidEquiv(sxASN_id_ad_timeStamping)) return "Time Stamping";
  return sxOidText(method);
}

}  // namespace

template <>
void SpaceImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  PrintSubtrees("Permitted", Get().permitted, out, indent + 1);
  PrintSubtrees("Excluded", Get().excluded, out, indent + 1);
}

template <>
void NamesImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  for (const sxAnyName &name : Get()) PrintName(name, "", out, indent + 1);
}

template <>
void AccessImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  for (const sxAccess &access : Get()) {
    out->Indent(indent + 1);
    out->Put(MethodText(access.method));
    out->Put("\n");
    PrintName(access.location, "", out, indent + 2);
  }
}

sxNameConstraints::sxNameConstraints(sxNameSpace space) : sxExtension(new SpaceImp(std::move(space))) {}
const sxNameSpace &sxNameConstraints::Space() const { return SpaceImp::Of(*this); }

sxIssuerAltName::sxIssuerAltName(std::vector<sxAnyName> names) : sxExtension(new NamesImp(std::move(names))) {}
const std::vector<sxAnyName> &sxIssuerAltName::Names() const { return NamesImp::Of(*this); }

sxSubjectInfoAccess::sxSubjectInfoAccess(std::vector<sxAccess> accesses)
    : sxExtension(new AccessImp(std::move(accesses))) {}
const std::vector<sxAccess> &sxSubjectInfoAccess::Accesses() const { return AccessImp::Of(*this); }

sxExtension *sxParseNameConstraints(const sxASN_Extension &ext, int &understood) {
  return SpaceImp::Parse(ext, understood, ReadSpace);
}
sxExtension *sxParseIssuerAltName(const sxASN_Extension &ext, int &understood) {
  return NamesImp::Parse(ext, understood, ReadNames);
}
sxExtension *sxParseSubjectInfoAccess(const sxASN_Extension &ext, int &understood) {
  return AccessImp::Parse(ext, understood, ReadAccesses);
}
sxASN_Extension *sxComposeNameConstraints(const sxExtension &ext, int critical) {
  return SpaceImp::Compose(ext, sxASN_id_ce_nameConstraints, critical, WriteSpace);
}
sxASN_Extension *sxComposeIssuerAltName(const sxExtension &ext, int critical) {
  return NamesImp::Compose(ext, sxASN_id_ce_issuerAltName, critical, WriteNames);
}
sxASN_Extension *sxComposeSubjectInfoAccess(const sxExtension &ext, int critical) {
  return AccessImp::Compose(ext, sxASN_id_pe_subjectInfoAccess, critical, WriteAccesses);
}
