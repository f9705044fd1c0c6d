#include "trust/strict/strictPath.h"

#include "kxcert/cert/sxCerts.h"

StrictPath::StrictPath(const sxCerts &certs, bool hasRoot, const ValidateParams &params,
                       const sxStrictQuestion &question)
    : m_hasRoot(hasRoot), m_params(params), m_question(question), m_now(params.Time()) {
  m_certs.reserve(static_cast<size_t>(certs.Count()));
  for (int level = 0; level <= certs.Top(); ++level) m_certs.emplace_back(*certs.Get(level));
}

const NameVerdict &StrictPath::Names() {
  if (!m_names) m_names = JudgeNames(*this);
  return *m_names;
}

const PolicyVerdict &StrictPath::PolicyFailure() {
  if (m_policies) return *m_policies;
  if (!m_policyFailure) m_policyFailure = PoliciesCannotFail(*this) ? PolicyVerdict() : Policies();
  return *m_policyFailure;
}

const PolicyVerdict &StrictPath::Policies() {
  if (!m_policies) m_policies = JudgePolicies(*this);
  return *m_policies;
}
