// BasicConstraints (RFC 5280, 4.2.1.9).
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxExtension_imp.h"

class sxBasicConstraint_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Basic Constraint";

  sxBasicConstraint_imp(bool isCA, int pathLen) : m_isCA(isCA), m_pathLen(pathLen < 0 ? -1 : pathLen) {}

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxBasicConstraint_imp(*this); }
  sxExtension *NewHandle() override { return new sxBasicConstraint(std::unique_ptr<sxBasicConstraint_imp>(this)); }

  bool IsCA() const { return m_isCA; }
  int PathLen() const { return m_pathLen; }

 private:
  bool m_isCA;
  int m_pathLen;
};

namespace {

const sxBasicConstraint_imp &Imp(const sxExtension &ext) {
  return static_cast<const sxBasicConstraint_imp &>(*ext.GetP());
}

}  // namespace

void sxBasicConstraint_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s CA\n", m_isCA ? "Is a" : "Is not a");
  if (m_pathLen < 0) return;
  out->Indent(indent);
  out->Printf("%s levels\n", sxCountText(m_pathLen).c_str());
}

sxExtension *sxParseBasicConstraint(const sxASN_Extension &ext, int &understood) {
  sxASN_BasicConstraints value;
  if (sxParseExtension(value, &ext) != 0) return nullptr;
  int pathLen = -1;
  if (value.pathLenConstraint != nullptr && !sxReadCount(*value.pathLenConstraint, &pathLen)) {
    herror_func(0, 0, "sxParseBasicConstraint: negative pathLenConstraint");
    return nullptr;
  }
  understood = 1;
  return new sxBasicConstraint(value.cA != nullptr && value.cA->Value() == 1, pathLen);
}

sxASN_Extension *sxComposeBasicConstraint(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxBasicConstraint_imp::kName)) return nullptr;
  sxASN_BasicConstraints value;
  value.cA = new sxAsnBool(Imp(ext).IsCA() ? 1 : 0);  // also when FALSE, although that is the default
  if (Imp(ext).PathLen() >= 0) value.pathLenConstraint = new sxAsnInt(Imp(ext).PathLen());
  return sxNewExtension(value, sxASN_id_ce_basicConstraints, critical);
}

sxBasicConstraint::sxBasicConstraint(bool isCA, int pathLen) : sxExtension(new sxBasicConstraint_imp(isCA, pathLen)) {}
sxBasicConstraint::sxBasicConstraint(std::unique_ptr<sxBasicConstraint_imp> imp) : sxExtension(imp.release()) {}
bool sxBasicConstraint::IsCA() const { return Imp(*this).IsCA(); }
int sxBasicConstraint::PathLen() const { return Imp(*this).PathLen(); }
