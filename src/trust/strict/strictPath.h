/// @file
/// A path under strict rules: its certificates read once, and what rules need that go over all of it.
#ifndef KXCERT_SRC_TRUST_STRICT_STRICTPATH_H_
#define KXCERT_SRC_TRUST_STRICT_STRICTPATH_H_

#include <optional>
#include <vector>

#include "kxcert/trust/strictRules.h"
#include "trust/strict/nameConstraints.h"
#include "trust/strict/policyGraph.h"
#include "trust/strict/strictCert.h"

class sxCerts;

class StrictPath {
 public:
  /// @param certs    all OK; the end entity first. They live longer, as do the others
  /// @param hasRoot  the last one is that of a trusted root
  StrictPath(const sxCerts &certs, bool hasRoot, const ValidateParams &params, const sxStrictQuestion &question);

  int Top() const { return static_cast<int>(m_certs.size()) - 1; }
  bool IsRoot(int level) const { return m_hasRoot && level == Top(); }
  /// The highest one that is a part of the path; a root that is judged by itself counts as one.
  int TopBelowRoot() const { return m_hasRoot && Top() > 0 ? Top() - 1 : Top(); }
  const StrictCert &At(int level) const { return m_certs[static_cast<size_t>(level)]; }
  const sxStrictQuestion &Question() const { return m_question; }
  const ValidateParams &Params() const { return m_params; }
  int64_t Now() const { return m_now; }

  const NameVerdict &Names();  ///< computed at the first call, as is the next one
  const PolicyVerdict &Policies();
  /// The same as far as rules ask: what the path is valid for is left out where it is not needed.
  const PolicyVerdict &PolicyFailure();

 private:
  std::vector<StrictCert> m_certs;
  const bool m_hasRoot;
  const ValidateParams &m_params;
  const sxStrictQuestion &m_question;
  const int64_t m_now;
  std::optional<NameVerdict> m_names;
  std::optional<PolicyVerdict> m_policies, m_policyFailure;
};

#endif
