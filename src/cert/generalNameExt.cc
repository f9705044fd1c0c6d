// SubjectAltName and CRLDistributionPoints (RFC 5280, 4.2.1.6 and 4.2.1.13): both are general names.
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "sxExtension_imp.h"
#include "sxGeneralName_imp.h"
#include "sxGeneralNames_imp.h"

// The names of the extensions are their titles when printed.
constinit const char *const kExtNameSubjectAltName = "Subject Alternate names";
constinit const char *const kExtNameDistPoints = "CRL distribution Points";
constinit const char *const kExtNameFreshestCRL = "Freshest CRL";

class sxExtGN_imp : public sxExtension_imp {
 public:
  explicit sxExtGN_imp(const char *extName) : m_extName(extName) {}
  sxExtGN_imp(const char *extName, const sxGeneralNames &names) : m_extName(extName), m_names(names) {}

  const char *ExtName() const override { return m_extName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override { m_names.Sprint(out, m_extName, indent); }
  sxExtension_imp *Clone() const override { return new sxExtGN_imp(*this); }
  sxExtension *NewHandle() override { return new sxExtGN(std::unique_ptr<sxExtGN_imp>(this)); }

  sxGeneralNames &Names() { return m_names; }
  const sxGeneralNames &Names() const { return m_names; }

 private:
  const char *m_extName;  // borrowed, static
  sxGeneralNames m_names;
};

namespace {

const sxExtGN_imp &Imp(const sxExtension &ext) { return static_cast<const sxExtGN_imp &>(*ext.GetP()); }

// Points that are a full name and nothing else, as nearly all are.
bool AppendPlainPoints(sxDerReader points, sxGeneralNames_imp &names) {
  constexpr int kTag0 = DerContextConstructed(0);
  sxDerReader point, pointName, fullName;  // distributionPoint [0] { fullName [0] { ... } }
  while (!points.AtEnd()) {
    if (!points.Enter(kDerSequence, &point) || !point.Enter(kTag0, &pointName) || !point.AtEnd() ||
        !pointName.Enter(kTag0, &fullName) || !pointName.AtEnd() || !names.AppendPlain(fullName)) {
      return false;
    }
  }
  return true;
}

// Of each point its full name; a name relative to the CRL issuer, reasons and cRLIssuer are not kept.
sxExtension *ParsePoints(const char *extName, const sxASN_Extension &ext, int &understood) {
  auto imp = std::make_unique<sxExtGN_imp>(extName);
  sxGeneralNames_imp &names = *imp->Names().GetP();
  sxDerReader content;
  if (!sxPlainSequence(ext, &content) || !AppendPlainPoints(content, names)) {
    sxASN_CRLDistPointsSyntax value;
    if (sxParseExtension(value, &ext) != 0) return nullptr;
    names.Clear();
    for (const sxASN_DistributionPoint &point : value) {
      const sxASN_DistributionPointName *name = point.distributionPoint;
      if (name != nullptr && name->fullName() != nullptr) names.Append(*name->fullName());
    }
  }
  understood = 1;
  return imp.release()->NewHandle();
}

// A point for each name: names of one point must lead to the same CRL (RFC 5280 4.2.1.13), and which
// of them did is no longer known.
sxASN_Extension *ComposePoints(const char *extName, const sxAsnOid &oid, const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, extName)) return nullptr;
  const sxGeneralNames &names = Imp(ext).Names();
  sxASN_CRLDistPointsSyntax value;
  for (int i = 0; i < names.Count(); ++i) {
    sxASN_GeneralNames fullName;
    if (!names.Get(i)->GetP()->ToAsn(*fullName.Append())) return nullptr;
    sxASN_DistributionPoint *point = value.Append();
    point->distributionPoint = new sxASN_DistributionPointName;
    point->distributionPoint->Set_fullName(fullName);
  }
  return sxNewExtension(value, oid, critical);
}

}  // namespace

sxExtension *sxParseSubjectAltName(const sxASN_Extension &ext, int &understood) {
  auto imp = std::make_unique<sxExtGN_imp>(kExtNameSubjectAltName);
  sxDerReader content;
  if (!sxPlainSequence(ext, &content) || !imp->Names().GetP()->AppendPlain(content)) {
    sxASN_GeneralNames value;
    if (sxParseExtension(value, &ext) != 0) return nullptr;
    imp->Names().Set(&value);
  }
  understood = 1;
  return imp.release()->NewHandle();
}

sxExtension *sxParseDistPoints(const sxASN_Extension &ext, int &understood) {
  return ParsePoints(kExtNameDistPoints, ext, understood);
}
sxExtension *sxParseFreshestCRL(const sxASN_Extension &ext, int &understood) {
  return ParsePoints(kExtNameFreshestCRL, ext, understood);
}

sxASN_Extension *sxComposeSubjectAltName(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, kExtNameSubjectAltName)) return nullptr;
  sxASN_GeneralNames value;
  if (!Imp(ext).Names().GetP()->ToAsn(value)) return nullptr;
  return sxNewExtension(value, sxASN_id_ce_subjectAltName, critical);
}

sxASN_Extension *sxComposeDistPoints(const sxExtension &ext, int critical) {
  return ComposePoints(kExtNameDistPoints, sxASN_id_ce_cRLDistributionPoints, ext, critical);
}
sxASN_Extension *sxComposeFreshestCRL(const sxExtension &ext, int critical) {
  if (sxExtensionIs(ext, kExtNameFreshestCRL) && Imp(ext).Names().Count() == 0) return nullptr;  // SIZE (1..MAX)
  return ComposePoints(kExtNameFreshestCRL, sxASN_id_ce_freshestCRL, ext, critical);
}

sxExtGN::sxExtGN(const char *extName, const sxGeneralNames &names) : sxExtension(new sxExtGN_imp(extName, names)) {}
sxExtGN::sxExtGN(std::unique_ptr<sxExtGN_imp> imp) : sxExtension(imp.release()) {}
const sxGeneralNames &sxExtGN::Names() const { return Imp(*this).Names(); }
