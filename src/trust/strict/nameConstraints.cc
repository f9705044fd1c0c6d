#include "trust/strict/nameConstraints.h"

#include <deque>
#include <memory>

#include "kxcert/cert/sxCert.h"
#include "trust/nameText.h"
#include "trust/strict/certNames.h"
#include "trust/strict/nameTree.h"
#include "trust/strict/strictPath.h"

namespace {

constexpr char kNoName[] = "no name";

// The constraints of one CA.
struct Constraints {
  int level;
  NameTree permitted, excluded;
  const char *fault = nullptr;  // why they cannot be obeyed
  bool isCritical = false;
};

// RFC 5280, 4.2.1.10: of minimum and maximum nobody has made use; whoever meets them obeys or refuses.
const char *AddAll(const std::vector<sxNameSubtree> &subtrees, NameTree *tree) {
  for (const sxNameSubtree &subtree : subtrees) {
    if (subtree.minimum != 0 || subtree.maximum != -1) return "a base with a minimum or a maximum";
    if (!tree->Add(subtree.base)) return "a base that is none of its kind";
  }
  return nullptr;
}

// @return null without any
std::unique_ptr<Constraints> ReadConstraints(const StrictCert &cert, int level) {
  const sxPlainExtension *const extension = cert.Find(kOidNameConstraints);
  if (extension == nullptr) return nullptr;
  auto out = std::make_unique<Constraints>();
  out->level = level;
  out->isCritical = extension->critical;
  const auto *const constraints = static_cast<const sxNameConstraints *>(cert.Issued(*extension));
  if (cert.HasTwo(kOidNameConstraints)) {
    out->fault = "the extension is there twice";
  } else if (constraints == nullptr) {
    out->fault = "they cannot be decoded";
  } else {
    out->fault = AddAll(constraints->Space().permitted, &out->permitted);
    if (out->fault == nullptr) out->fault = AddAll(constraints->Space().excluded, &out->excluded);
  }
  return out;
}

std::vector<sxFact> FactsOf(const char *label, const ComparedName &name, const StrictCert &issuer) {
  std::vector<sxFact> facts;
  facts.push_back({label, name.shown});
  facts.push_back({"constraints of", sxNameText(issuer.Cert().Subject(), kNoName)});
  return facts;
}

class Judge {
 public:
  explicit Judge(const StrictPath &path) : m_path(path) {}

  NameVerdict Run() {
    Read();
    for (const std::unique_ptr<Constraints> &constraints : m_constraints) {
      for (int level = constraints->level - 1; level >= 0 && m_verdict.isComplete; --level) {
        // RFC 5280, 6.1.3 (b): a CA that changes its key does so under its own name.
        if (level == 0 || !m_path.At(level).IsSelfIssued()) Compare(level, *constraints);
      }
    }
    return std::move(m_verdict);
  }

 private:
  // From the root down.
  void Read() {
    for (int level = m_path.Top(); level > 0 || level == m_path.Top(); --level) {
      std::unique_ptr<Constraints> constraints = ReadConstraints(m_path.At(level), level);
      if (constraints == nullptr) continue;
      m_verdict.hasConstraints = true;
      if (constraints->fault == nullptr) {
        m_constraints.push_back(std::move(constraints));
        continue;
      }
      std::vector<sxFact> facts;
      facts.push_back({"name constraints", constraints->fault});
      Fail(NameFailure::kUnreadable, level, std::move(facts));
      m_verdict.topUnreadable = std::max(m_verdict.topUnreadable, level);
    }
  }

  bool HasFailed(NameFailure::Kind kind, int level) const {
    return std::ranges::any_of(m_verdict.failures, [kind, level](const NameFailure &failure) {
      return failure.kind == kind && failure.level == level;
    });
  }

  void Fail(NameFailure::Kind kind, int level, std::vector<sxFact> facts) {
    if (!HasFailed(kind, level)) m_verdict.failures.push_back({kind, level, std::move(facts)});
  }

  const CertNames &NamesOf(int level) {
    while (static_cast<int>(m_names.size()) <= level) m_names.emplace_back(m_path.At(static_cast<int>(m_names.size())));
    return m_names[static_cast<size_t>(level)];
  }

  void Compare(int level, const Constraints &constraints) {
    const StrictCert &issuer = m_path.At(constraints.level);
    bool isInside = !HasFailed(NameFailure::kOutside, level);
    for (const ComparedName &name : NamesOf(level).All()) {
      if (!constraints.permitted.Has(name.kind) && !constraints.excluded.Has(name.kind)) continue;
      if (m_numCompared++ == kMaxComparedNames) {
        std::vector<sxFact> facts;
        facts.push_back({"more names than are compared", std::to_string(kMaxComparedNames)});
        m_verdict.isComplete = false;
        return Fail(NameFailure::kTooMany, level, std::move(facts));
      }
      if (!NameTree::IsSupported(name.kind)) {
        if (constraints.isCritical) Fail(NameFailure::kUnknownKind, level, FactsOf("name", name, issuer));
        continue;
      }
      const char *const fault = isInside ? Misfit(name, constraints) : nullptr;
      if (fault == nullptr) continue;
      Fail(NameFailure::kOutside, level, FactsOf(fault, name, issuer));
      isInside = false;  // one is told
    }
  }

  // @return why a name of a kind that the constraints have does not stand them, or null
  static const char *Misfit(const ComparedName &name, const Constraints &constraints) {
    const bool hasExcluded = constraints.excluded.Has(name.kind);
    if (!name.isComparable) return "cannot be compared";
    if (hasExcluded && constraints.excluded.Touches(name)) return "excluded";
    if (constraints.permitted.Has(name.kind) && !constraints.permitted.Contains(name)) return "not permitted";
    return hasExcluded && constraints.excluded.MayHide(name) ? "cannot be compared" : nullptr;
  }

  const StrictPath &m_path;
  std::vector<std::unique_ptr<Constraints>> m_constraints;  // those that can be obeyed
  std::deque<CertNames> m_names;
  size_t m_numCompared = 0;
  NameVerdict m_verdict;
};

}  // namespace

NameVerdict JudgeNames(const StrictPath &path) { return Judge(path).Run(); }
