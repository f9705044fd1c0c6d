#include "trust/revocation/crlScope.h"

#include <algorithm>
#include <compare>
#include <vector>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"

namespace {

bool Equal(const sxDN *a, const sxDN *b) { return a != nullptr && b != nullptr && a->Equal(*b); }

bool Holds(const sxGeneralNames &names, const sxDN *dn) {
  for (int i = 0; i < names.Count(); ++i) {
    if (names.Get(i)->GetType() == sxGN_dn && Equal(names.Get(i)->GetDN(), dn)) return true;
  }
  return false;
}

bool IsCA(const sxCert &cert) {
  const sxBasicConstraint *const constraint = cert.GetBasicConstraint();
  return constraint != nullptr && constraint->IsCA();
}

// (b) (2) (i). A point without names of its own has those of its issuer.
bool NamesMeet(const sxCRL &crl, const sxCert &cert, const sxDistPoint &point) {
  const sxGeneralNames &scope = crl.ScopeNames();
  if (scope.Count() == 0) return true;
  if (point.names.Count() > 0) return scope.Match(point.names) == 1;
  return point.crlIssuer.Count() > 0 ? scope.Match(point.crlIssuer) == 1 : Holds(scope, cert.Issuer());
}

// (b) (2) (ii) to (iv).
const char *KindMisfit(const sxIssuingDP &scope, const sxCert &cert) {
  if (scope.OnlyUserCerts() && IsCA(cert)) return "it is not of CA certificates";
  if (scope.OnlyCACerts() && !IsCA(cert)) return "it is of CA certificates alone";
  return scope.OnlyAttributeCerts() ? "it is of attribute certificates alone" : nullptr;
}

bool SameKeyId(const sxCRL &a, const sxCRL &b) {
  const sxExtKeyID *const x = a.AuthorityKeyId(), *const y = b.AuthorityKeyId();
  if (x == nullptr || y == nullptr) return x == y;
  const kxBinBuf &left = x->KIdBuf(), &right = y->KIdBuf();
  return sxEqual({left.Data(), left.Len()}, {right.Data(), right.Len()});
}

bool SameScope(const sxCRL &a, const sxCRL &b) {
  const sxIssuingDP *const x = a.IssuingDP(), *const y = b.IssuingDP();
  if (x == nullptr || y == nullptr) return x == y;
  const bool sameNames =
      a.ScopeNames().Count() == 0 ? b.ScopeNames().Count() == 0 : a.ScopeNames().Match(b.ScopeNames()) == 1;
  return sameNames && x->OnlyUserCerts() == y->OnlyUserCerts() && x->OnlyCACerts() == y->OnlyCACerts() &&
         x->OnlyAttributeCerts() == y->OnlyAttributeCerts() && x->IndirectCRL() == y->IndirectCRL() &&
         x->HasOnlySomeReasons() == y->HasOnlySomeReasons() && x->SomeReasons() == y->SomeReasons();
}

std::vector<unsigned char> Digits(const sxAsnInt &number) {
  kxBinBuf octets;
  if (AsnInt2BinBuf(&number, octets) != 0) return {};
  const sxOctetView all(octets.Data(), octets.Len());
  return {std::ranges::find_if(all, [](unsigned char digit) { return digit != 0; }), all.end()};
}

}  // namespace

int CompareNumbers(const sxAsnInt *a, const sxAsnInt *b) {
  if (a == nullptr || b == nullptr) return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
  const std::vector<unsigned char> x = Digits(*a), y = Digits(*b);
  if (x.size() != y.size()) return x.size() < y.size() ? -1 : 1;
  const auto order = std::lexicographical_compare_three_way(x.begin(), x.end(), y.begin(), y.end());
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

bool IsOlder(const sxCRL &crl, const sxCRL &other) {
  if (crl.ThisUpdate() != other.ThisUpdate()) return crl.ThisUpdate() < other.ThisUpdate();
  return CompareNumbers(crl.Number(), other.Number()) < 0;
}

bool IsNewer(const sxCRL &crl, const sxCRL &held) {
  const int order = CompareNumbers(crl.Number(), held.Number());
  if (order < 0 || crl.ThisUpdate() < held.ThisUpdate()) return false;
  return order > 0 || crl.ThisUpdate() > held.ThisUpdate();
}

bool SameSeries(const sxCRL &a, const sxCRL &b) {
  return Equal(a.Issuer(), b.Issuer()) && a.IsDelta() == b.IsDelta() && SameScope(a, b);
}

// (b) (1). A point may name the certificate's own issuer, which says no more than naming none.
const char *CrlIssuerMisfit(const sxCRL &crl, const sxCert &cert, const sxDistPoint &point) {
  if (point.crlIssuer.Count() == 0 || Holds(point.crlIssuer, cert.Issuer())) {
    return Equal(crl.Issuer(), cert.Issuer()) ? nullptr : "it is another issuer's";
  }
  if (!Holds(point.crlIssuer, crl.Issuer())) return "it is not of the issuer that the certificate names for its CRLs";
  return crl.IsIndirect() ? nullptr : "it is of another issuer, and not indirect";
}

CrlFit FitCrl(const sxCRL &crl, const sxCert &cert, const sxDistPoint &point) {
  if (crl.UnknownListExt() != nullptr) return {"it has a critical extension that nobody here knows", 0};
  if (crl.UnknownEntryExt() != nullptr) return {"an entry has a critical extension that nobody here knows", 0};
  if (!NamesMeet(crl, cert, point)) return {"it is of another distribution point", 0};
  ReasonMask reasons = point.reasons.value_or(kAllReasons) & kAllReasons;  // (d)
  if (const sxIssuingDP *const scope = crl.IssuingDP()) {
    if (const char *misfit = KindMisfit(*scope, cert)) return {misfit, 0};
    if (scope->HasOnlySomeReasons()) reasons &= scope->SomeReasons();
  }
  return reasons == 0 ? CrlFit{"it is of no reason that the certificate names it for", 0} : CrlFit{nullptr, reasons};
}

// RFC 5280, 5.2.4 and 6.3.3 (c).
const char *DeltaMisfit(const sxCRL &delta, const sxCRL &base) {
  if (!delta.IsDelta() || base.IsDelta()) return "it is no CRL that updates another";
  if (!Equal(delta.Issuer(), base.Issuer())) return "it updates a CRL of another issuer";
  if (delta.UnknownListExt() != nullptr || delta.UnknownEntryExt() != nullptr) {
    return "it has a critical extension that nobody here knows";
  }
  if (!SameScope(delta, base)) return "it updates a CRL of another scope";
  if (!SameKeyId(delta, base)) return "it updates a CRL of another key";
  if (delta.Number() == nullptr || base.Number() == nullptr || delta.DeltaBase() == nullptr) return "it has no number";
  if (CompareNumbers(delta.DeltaBase(), base.Number()) > 0) return "it updates a later CRL";
  return CompareNumbers(delta.Number(), base.Number()) <= 0 ? "it does not follow the CRL" : nullptr;
}
