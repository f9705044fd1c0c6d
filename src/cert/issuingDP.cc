// IssuingDistributionPoint of CRLs (RFC 5280, 5.2.5).
#include <algorithm>
#include <bit>
#include <optional>

#include "distPoints.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "sxExtension_imp.h"
#include "sxGeneralNames_imp.h"

namespace {

struct FlagRow {
  sxAsnBool *sxASN_IssuingDistributionPoint::*elem;
  const char *text;
};

enum Flag { kUserCerts, kCACerts, kAttributeCerts, kIndirect, kNumFlags };
constexpr FlagRow kFlags[] = {
    {&sxASN_IssuingDistributionPoint::onlyContainsUserCerts, "Only user certificates"},
    {&sxASN_IssuingDistributionPoint::onlyContainsCACerts, "Only CA certificates"},
    {&sxASN_IssuingDistributionPoint::onlyContainsAttributeCerts, "Only attribute certificates"},
    {&sxASN_IssuingDistributionPoint::indirectCRL, "Indirect CRL"},
};
static_assert(sizeof kFlags / sizeof kFlags[0] == kNumFlags);

}  // namespace

class sxIssuingDP_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Issuing Distribution Point";

  sxIssuingDP_imp() = default;
  explicit sxIssuingDP_imp(const sxGeneralNames &fullName) : m_fullName(fullName) {}

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxIssuingDP_imp(*this); }
  sxExtension *NewHandle() override { return new sxIssuingDP(std::unique_ptr<sxIssuingDP_imp>(this)); }

  const sxGeneralNames &FullName() const { return m_fullName; }
  void SetFullName(const sxGeneralNames &fullName) {
    m_fullName = fullName;
    m_relative.reset();
  }
  const sxDN *RelativeName() const { return m_relative ? &*m_relative : nullptr; }
  bool Is(Flag flag) const { return m_flags[flag]; }
  void Put(Flag flag, bool on) { m_flags[flag] = on; }
  void PutReasons(unsigned int bits);
  bool HasReasons() const { return m_reasons.has_value(); }
  unsigned int Reasons() const;

  /// @return false for a name that has nothing in it: it would be of no point, and seem to be of all
  [[nodiscard]] bool Set(const sxASN_IssuingDistributionPoint &value);
  [[nodiscard]] bool ToAsn(sxASN_IssuingDistributionPoint &out) const;

 private:
  sxGeneralNames m_fullName;
  std::optional<sxDN> m_relative;
  bool m_flags[kNumFlags] = {};
  std::optional<sxASN_ReasonFlags> m_reasons;
};

namespace {

const sxIssuingDP_imp &Imp(const sxExtension &ext) { return static_cast<const sxIssuingDP_imp &>(*ext.GetP()); }
sxIssuingDP_imp &Imp(sxExtension &ext) { return static_cast<sxIssuingDP_imp &>(*ext.GetP()); }

}  // namespace

bool sxIssuingDP_imp::Set(const sxASN_IssuingDistributionPoint &value) {
  if (value.distributionPoint != nullptr) {
    const sxASN_GeneralNames *const fullName = value.distributionPoint->fullName();
    const sxASN_RelativeDistinguishedName *const relative = value.distributionPoint->nameRelativeToCRLIssuer();
    if (fullName != nullptr && fullName->Count() == 0) {  // RFC 5280, 4.2.1.6: at least one
      herror_func(0, 0, "sxIssuingDP_imp::Set: fullName is empty");
      return false;
    }
    if (relative != nullptr) {
      if (relative->Count() == 0) {
        herror_func(0, 0, "sxIssuingDP_imp::Set: nameRelativeToCRLIssuer is empty");
        return false;
      }
      sxASN_RDNSequence name;
      name.AppendCopy(*relative);
      m_relative.emplace(&name);
    }
    m_fullName.Set(fullName);
  }
  for (int i = 0; i < kNumFlags; ++i) {
    const sxAsnBool *flag = value.*kFlags[i].elem;
    m_flags[i] = flag != nullptr && flag->Value() == 1;
  }
  if (value.onlySomeReasons != nullptr) m_reasons = *value.onlySomeReasons;
  return true;
}

unsigned int sxIssuingDP_imp::Reasons() const { return m_reasons ? sxReasonBits(*m_reasons) : 0; }

void sxIssuingDP_imp::PutReasons(unsigned int bits) {
  m_reasons.reset();
  if (bits == 0) return;
  m_reasons.emplace();
  m_reasons->Set(
      std::min(static_cast<int>(std::bit_width(bits)), sxASN_ReasonFlags::aACompromise + 1));  // X.690 11.2.2
  for (int i = 0; i < m_reasons->BitLen(); ++i) {
    if ((bits >> i & 1) != 0) m_reasons->SetBit(i);
  }
}

bool sxIssuingDP_imp::ToAsn(sxASN_IssuingDistributionPoint &out) const {
  if (m_fullName.Count() > 0) {
    sxASN_GeneralNames fullName;
    if (!m_fullName.GetP()->ToAsn(fullName)) return false;
    out.distributionPoint = new sxASN_DistributionPointName;
    out.distributionPoint->Set_fullName(fullName);
  } else if (m_relative && m_relative->GetName() != nullptr) {
    out.distributionPoint = new sxASN_DistributionPointName;
    out.distributionPoint->Set_nameRelativeToCRLIssuer(*m_relative->GetName()->begin());
  }
  for (int i = 0; i < kNumFlags; ++i) {
    if (m_flags[i]) out.*kFlags[i].elem = new sxAsnBool(1);
  }
  if (m_reasons) out.onlySomeReasons = new sxASN_ReasonFlags(*m_reasons);
  return true;
}

void sxIssuingDP_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:\n", kName);
  m_fullName.Sprint(out, nullptr, indent + 1);
  if (m_relative) {
    out->Indent(indent + 1);
    out->Printf("Relative to the issuer: %s\n",
                m_relative->GetStr_ascii() == nullptr ? "" : m_relative->GetStr_ascii());
  }
  for (int i = 0; i < kNumFlags; ++i) {
    if (!m_flags[i]) continue;
    out->Indent(indent + 1);
    out->Printf("%s\n", kFlags[i].text);
  }
  if (!m_reasons) return;
  out->Indent(indent + 1);
  out->Put("Only some reasons\n");
}

sxExtension *sxParseIssuingDP(const sxASN_Extension &ext, int &understood) {
  sxASN_IssuingDistributionPoint value;
  auto imp = std::make_unique<sxIssuingDP_imp>();
  if (sxParseExtension(value, &ext) != 0 || !imp->Set(value)) return nullptr;
  understood = 1;
  return imp.release()->NewHandle();
}

sxASN_Extension *sxComposeIssuingDP(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxIssuingDP_imp::kName)) return nullptr;
  sxASN_IssuingDistributionPoint value;
  if (!Imp(ext).ToAsn(value)) return nullptr;
  return sxNewExtension(value, sxASN_id_ce_issuingDistributionPoint, critical);
}

sxIssuingDP::sxIssuingDP(const sxGeneralNames &fullName) : sxExtension(new sxIssuingDP_imp(fullName)) {}
sxIssuingDP::sxIssuingDP(std::unique_ptr<sxIssuingDP_imp> imp) : sxExtension(imp.release()) {}
const sxGeneralNames &sxIssuingDP::FullName() const { return Imp(*this).FullName(); }
bool sxIssuingDP::OnlyUserCerts() const { return Imp(*this).Is(kUserCerts); }
bool sxIssuingDP::OnlyCACerts() const { return Imp(*this).Is(kCACerts); }
bool sxIssuingDP::OnlyAttributeCerts() const { return Imp(*this).Is(kAttributeCerts); }
bool sxIssuingDP::IndirectCRL() const { return Imp(*this).Is(kIndirect); }
bool sxIssuingDP::HasOnlySomeReasons() const { return Imp(*this).HasReasons(); }
unsigned int sxIssuingDP::SomeReasons() const { return Imp(*this).Reasons(); }
const sxDN *sxIssuingDP::RelativeName() const { return Imp(*this).RelativeName(); }
void sxIssuingDP::SetFullName(const sxGeneralNames &fullName) { Imp(*this).SetFullName(fullName); }
void sxIssuingDP::SetOnlyUserCerts(bool on) { Imp(*this).Put(kUserCerts, on); }
void sxIssuingDP::SetOnlyCACerts(bool on) { Imp(*this).Put(kCACerts, on); }
void sxIssuingDP::SetOnlyAttributeCerts(bool on) { Imp(*this).Put(kAttributeCerts, on); }
void sxIssuingDP::SetIndirectCRL(bool on) { Imp(*this).Put(kIndirect, on); }
void sxIssuingDP::SetSomeReasons(unsigned int bits) { Imp(*this).PutReasons(bits); }
