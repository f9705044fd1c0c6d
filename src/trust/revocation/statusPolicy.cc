#include "trust/revocation/statusPolicy.h"

#include <algorithm>

#include "kxcert/trust/sxRootCA.h"

namespace {

enum OcspValidation : int { kOcsp_no = 0, kOcsp_whenNamed = 1, kOcsp_required = 2 };

StatusPolicy PolicyOf(const ValidateParams &params) {
  StatusPolicy policy;
  const int ocsp = params.OCSP_validation();
  if (ocsp >= kOcsp_whenNamed) policy.sources.push_back(sxStatusSource::kOcsp);
  if (params.CRL_validation()) policy.sources.push_back(sxStatusSource::kCrl);
  policy.all = ocsp >= kOcsp_required;
  return policy;
}

}  // namespace

bool StatusPolicy::Has(sxStatusSource source) const { return std::ranges::find(sources, source) != sources.end(); }

StatusPolicy PolicyOf(const sxRootCA &root, const ValidateParams &params) {
  constexpr sxStatusSource kCrl = sxStatusSource::kCrl, kOcsp = sxStatusSource::kOcsp;
  switch (root.RevocationMethod()) {
    case sxRevocationMethod_crl: return {{kCrl}, false};
    case sxRevocationMethod_ocsp: return {{kOcsp}, false};
    case sxRevocationMethod_ocspThenCrl: return {{kOcsp, kCrl}, false};
    case sxRevocationMethod_crlThenOcsp: return {{kCrl, kOcsp}, false};
    case sxRevocationMethod_none: return {};
    default: return PolicyOf(params);
  }
}
