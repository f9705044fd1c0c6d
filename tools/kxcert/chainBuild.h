/// @file
/// From the certificates of the command line to the verdict about one of them.
#ifndef KXCERT_TOOLS_KXCERT_CHAINBUILD_H_
#define KXCERT_TOOLS_KXCERT_CHAINBUILD_H_

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "certInput.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/sxKeyHolder.h"

class Cert_Cache_DB;

struct FreeHolder {
  void operator()(sxKeyHolder *holder) const { sxFreePKobj(holder); }
};
using HolderRef = std::unique_ptr<sxKeyHolder, FreeHolder>;

/// A holder with one root CA for each name. A name's certificate that expires last is its own one, the
/// others are its additional ones, so that a renewed root is found whichever key signed.
HolderRef MakeHolder(const std::vector<FoundCert> &trust);

/// What the command line named; all of it could be read.
struct GivenCerts {
  std::vector<FoundCert> trust;
  std::vector<FoundCert> endEntity;  ///< the first one is judged, the others are as if untrusted; may be empty
  std::vector<FoundCert> chain;
  std::vector<FoundCert> untrusted;        ///< issuers that may be missing in the chain; they need not be used
  Cert_Cache_DB *intermediates = nullptr;  ///< where others are looked for; or null
  const sxOcspResponses *responses = nullptr;
  bool mayFetch = false;
  sxStrictQuestion strict = {};
};

/// Certificates by the names that they have, to give each question those alone that may be above its end entity.
class IssuerIndex {
 public:
  explicit IssuerIndex(std::vector<FoundCert> certs);
  /// Whoever may have issued it by name, who may have issued these, and so on; each once.
  std::vector<FoundCert> Above(const sxCert &cert) const;

 private:
  std::vector<FoundCert> m_certs;
  std::unordered_multimap<uint64_t, size_t> m_bySubject;
};

struct JudgedChain {
  sxChainVerdict verdict;
  /// Of the chain's certificates, those that the verdict says nothing about: neither on the path, octet for
  /// octet, nor the root's. None when the end entity was named.
  std::vector<const FoundCert *> leftOver;
};

/// Judges the end entity that was named; else the one that the chain's certificates lead down to.
/// @param given   has an end entity or a chain
/// @param params  with the time
/// @param flags   sxValidationFlags
void JudgeGiven(const GivenCerts &given, sxKeyHolder &holder, const ValidateParams &params, int flags,
                JudgedChain &judged);

/// Why no root was found, as seen from the chain's top certificate.
struct MissingIssuer {
  std::string name;   ///< of the issuer, ASCII
  std::string keyId;  ///< authorityKeyIdentifier, hexadecimal; may be empty
  std::string help;   ///< one sentence: what would help
};
MissingIssuer FindMissingIssuer(const sxCert &top, sxKeyHolder &holder);

#endif
