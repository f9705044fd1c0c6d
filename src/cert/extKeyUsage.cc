// ExtKeyUsageSyntax (RFC 5280, 4.2.1.12). Unknown purposes are kept, so that what is composed says
// what was parsed.
#include <vector>

#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/textStream.h"
#include "sxExtension_imp.h"

namespace {

struct PurposeRow {
  const sxAsnOid *oid;
  const char *name;
};

// By sxExtKeyUsageType; rows without OID stand for no purpose.
constexpr PurposeRow kPurposes[] = {
    {nullptr, "bad value"},
    {&sxASN_id_kp_serverAuth, "serverAuth"},
    {&sxASN_id_kp_clientAuth, "clientAuth"},
    {&sxASN_id_kp_codeSigning, "codeSigning"},
    {&sxASN_id_kp_emailProtection, "emailProtection"},
    {&sxASN_id_kp_ipsecEndSystem, "ipsecEndSystem"},
    {&sxASN_id_kp_ipsecTunnel, "ipsecTunnel"},
    {&sxASN_id_kp_ipsecUser, "ipsecUser"},
    {&sxASN_id_kp_timeStamping, "timeStamping"},
    {&sxASN_id_kp_smartCardLogon, "SmartCard Logon"},
    {nullptr, ""},
};
static_assert(sizeof kPurposes / sizeof kPurposes[0] == sxEKU_none + 1);

sxExtKeyUsageType PurposeOf(const sxAsnOid &oid) {
  for (int i = 0; i <= sxEKU_none; ++i) {
    if (kPurposes[i].oid != nullptr && kPurposes[i].oid->OidEquiv(oid)) return static_cast<sxExtKeyUsageType>(i);
  }
  return sxEKU_bad;
}

}  // namespace

class sxExtKeyUsage_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Extended Key Usage";

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxExtKeyUsage_imp(*this); }
  sxExtension *NewHandle() override { return new sxExtKeyUsage(std::unique_ptr<sxExtKeyUsage_imp>(this)); }

  int Count() const { return static_cast<int>(m_items.size()); }
  sxExtKeyUsageType Purpose(int i) const {
    return i >= 0 && i < Count() ? m_items[static_cast<size_t>(i)].purpose : sxEKU_bad;
  }
  bool Has(sxExtKeyUsageType purpose) const {
    return purpose >= sxEKU_bad && purpose <= sxEKU_none && (m_present >> purpose & 1) != 0;
  }
  void Add(const sxAsnOid &purpose);
  void Set(const sxASN_ExtKeyUsageSyntax &purposes);
  void ToAsn(sxASN_ExtKeyUsageSyntax &out) const;

 private:
  struct Item {
    sxAsnOid oid;
    sxExtKeyUsageType purpose;
  };
  std::vector<Item> m_items;   // in order
  unsigned int m_present = 0;  // bit n: an item of purpose n
};

namespace {

const sxExtKeyUsage_imp &Imp(const sxExtension &ext) { return static_cast<const sxExtKeyUsage_imp &>(*ext.GetP()); }

}  // namespace

void sxExtKeyUsage_imp::Add(const sxAsnOid &purpose) {
  const sxExtKeyUsageType type = PurposeOf(purpose);
  m_items.push_back({purpose, type});
  m_present |= 1U << type;
}

void sxExtKeyUsage_imp::Set(const sxASN_ExtKeyUsageSyntax &purposes) {
  m_items.clear();
  m_present = 0;
  m_items.reserve(static_cast<size_t>(purposes.Count()));
  for (const sxAsnOid &purpose : purposes) Add(purpose);
}

void sxExtKeyUsage_imp::ToAsn(sxASN_ExtKeyUsageSyntax &out) const {
  for (const Item &item : m_items) out.AppendCopy(item.oid);
}

void sxExtKeyUsage_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:", kName);
  const char *separator = " ";
  for (const Item &item : m_items) {
    out->Put(separator);
    out->Put(item.purpose == sxEKU_bad ? sxOidText(item.oid) : kPurposes[item.purpose].name);
    separator = ",";
  }
  out->Put("\n");
}

sxExtension *sxParseExtKeyUsage(const sxASN_Extension &ext, int &understood) {
  sxASN_ExtKeyUsageSyntax value;
  if (sxParseExtension(value, &ext) != 0) return nullptr;
  auto imp = std::make_unique<sxExtKeyUsage_imp>();
  imp->Set(value);
  understood = 1;
  return imp.release()->NewHandle();
}

sxASN_Extension *sxComposeExtKeyUsage(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxExtKeyUsage_imp::kName)) return nullptr;
  sxASN_ExtKeyUsageSyntax value;
  Imp(ext).ToAsn(value);
  return sxNewExtension(value, sxASN_id_ce_extKeyUsage, critical);
}

sxExtKeyUsage::sxExtKeyUsage() : sxExtension(new sxExtKeyUsage_imp) {}
sxExtKeyUsage::sxExtKeyUsage(std::unique_ptr<sxExtKeyUsage_imp> imp) : sxExtension(imp.release()) {}
int sxExtKeyUsage::Count() const { return Imp(*this).Count(); }
sxExtKeyUsageType sxExtKeyUsage::Purpose(int i) const { return Imp(*this).Purpose(i); }
bool sxExtKeyUsage::Has(sxExtKeyUsageType purpose) const { return Imp(*this).Has(purpose); }
void sxExtKeyUsage::Add(const sxAsnOid &purpose) { static_cast<sxExtKeyUsage_imp *>(m_imp)->Add(purpose); }

sxASN_ExtKeyUsageSyntax *sxExtKeyUsage::ExtKeyUsage_2_ASN() const {
  auto purposes = std::make_unique<sxASN_ExtKeyUsageSyntax>();
  Imp(*this).ToAsn(*purposes);
  return purposes.release();
}

const char *sxExtKeyUsage::ExtKeyusageStr(int index) { return kPurposes[index].name; }
