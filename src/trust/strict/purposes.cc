#include "trust/strict/purposes.h"

#include <algorithm>
#include <iterator>

#include "cert/sxExtension_imp.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/trust/strictRules.h"

namespace {

constexpr unsigned Bit(sxKeyUsageType bit) { return 1U << bit; }
constexpr unsigned kSigns = Bit(sxKU_digitalSignature);
constexpr unsigned kSignsForGood = kSigns | Bit(sxKU_nonRepudiation);
constexpr unsigned kExchanges = Bit(sxKU_keyEncipherment) | Bit(sxKU_keyAgreement);

// {1 3 6 1 5 5 7 3 number}
sxAsnOid Pkix(unsigned number) {
  const unsigned arcs[] = {1, 3, 6, 1, 5, 5, 7, 3, number};
  return sxAsnOid(arcs);
}

// RFC 5280, 4.2.1.12; RFC 3161, 2.3; RFC 6960, 4.2.2.2; RFC 4945, 5.1.3.2
const Purpose kPurposes[] = {
    {"server", Pkix(1), kSigns | kExchanges, false, false},
    {"client", Pkix(2), kSigns | Bit(sxKU_keyAgreement), false, false},
    {"code", Pkix(3), kSigns, false, false},
    {"mail", Pkix(4), kSignsForGood | kExchanges, false, false},
    {"timestamping", Pkix(8), kSignsForGood, true, true},
    {"ocsp", Pkix(9), kSignsForGood, true, false},
    {"ike", Pkix(17), kSignsForGood, false, false},
};
constexpr unsigned char kAnyPurpose[] = {0x55, 0x1D, 37, 0};

const Purpose *OrNull(const Purpose *found) { return found == std::end(kPurposes) ? nullptr : found; }

}  // namespace

const Purpose *FindPurpose(const sxAsnOid &oid) {
  return OrNull(std::ranges::find_if(kPurposes, [&oid](const Purpose &p) { return p.oid.OidEquiv(oid); }));
}

const Purpose *FindPurpose(std::string_view name) { return OrNull(std::ranges::find(kPurposes, name, &Purpose::name)); }

std::string PurposeText(const sxAsnOid &oid) {
  const Purpose *const known = FindPurpose(oid);
  return known != nullptr ? known->name : sxOidWords(oid);
}

PurposeMatch MatchPurpose(sxOctetView value, const sxAsnOid &purpose, size_t *number) {
  const sxOctetView wanted = sxView(purpose.Data(), purpose.Len());
  sxDerReader all(value), each;
  if (!all.Enter(kDerSequence, &each) || !all.AtEnd() || each.AtEnd()) return PurposeMatch::kUnreadable;
  PurposeMatch match = PurposeMatch::kNotNamed;
  sxOctetView oid;
  for (*number = 0; !each.AtEnd(); ++*number) {
    if (!each.Take(kDerOid, &oid)) return PurposeMatch::kUnreadable;
    if (sxEqual(oid, wanted)) match = PurposeMatch::kNamed;
    if (match == PurposeMatch::kNotNamed && sxEqual(oid, kAnyPurpose)) match = PurposeMatch::kAny;
  }
  return match;
}

bool sxPurpose_Find(std::string_view name, sxAsnOid *out) {
  const Purpose *const known = FindPurpose(name);
  if (known == nullptr || out == nullptr) return false;
  *out = known->oid;
  return true;
}
