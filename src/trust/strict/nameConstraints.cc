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
  NameTree permitted, excluded;
  bool isReadable = true;
  bool isCritical = false;
};

// RFC 5280, 4.2.1.10: of minimum and maximum nobody has made use; whoever meets them obeys or refuses.
bool AddAll(const std::vector<sxNameSubtree> &subtrees, NameTree *tree) {
  return std::ranges::all_of(subtrees, [tree](const sxNameSubtree &subtree) {
    return subtree.minimum == 0 && subtree.maximum == -1 && tree->Add(subtree.base);
  });
}

std::unique_ptr<Constraints> ReadConstraints(const StrictCert &cert) {
  const sxPlainExtension *const extension = cert.Find(kOidNameConstraints);
  if (extension == nullptr) return nullptr;
  auto out = std::make_unique<Constraints>();
  out->isCritical = extension->critical;
  const auto *const constraints = static_cast<const sxNameConstraints *>(cert.Issued(*extension));
  out->isReadable = constraints != nullptr && AddAll(constraints->Space().permitted, &out->permitted) &&
                    AddAll(constraints->Space().excluded, &out->excluded);
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
    for (int above = m_path.Top(); above > 0 || above == m_path.Top(); --above) {
      const std::unique_ptr<Constraints> constraints = ReadConstraints(m_path.At(above));
      if (constraints == nullptr) continue;
      m_verdict.hasConstraints = true;
      if (!constraints->isReadable) {
        Fail(NameFailure::kUnreadable, above, {});
        continue;
      }
      for (int level = above - 1; level >= 0; --level) {
        // RFC 5280, 6.1.3 (b): a CA that changes its key does so under its own name.
        if (level == 0 || !m_path.At(level).IsSelfIssued()) Compare(level, *constraints, m_path.At(above));
      }
    }
    return std::move(m_verdict);
  }

 private:
  void Fail(NameFailure::Kind kind, int level, std::vector<sxFact> facts) {
    const auto isThere = [level](const NameFailure &failure) { return failure.level == level; };
    if (!std::ranges::any_of(m_verdict.failures, isThere))
      m_verdict.failures.push_back({kind, level, std::move(facts)});
  }

  const CertNames &NamesOf(int level) {
    while (static_cast<int>(m_names.size()) <= level) m_names.emplace_back(m_path.At(static_cast<int>(m_names.size())));
    return m_names[static_cast<size_t>(level)];
  }

  void Compare(int level, const Constraints &constraints, const StrictCert &issuer) {
    for (const ComparedName &name : NamesOf(level).All()) {
      if (m_numCompared++ == kMaxComparedNames) {
        std::vector<sxFact> facts;
        facts.push_back({"more names than are compared", std::to_string(kMaxComparedNames)});
        return Fail(NameFailure::kTooMany, level, std::move(facts));
      }
      const bool hasPermitted = constraints.permitted.Has(name.kind), hasExcluded = constraints.excluded.Has(name.kind);
      if (!hasPermitted && !hasExcluded) continue;
      if (!NameTree::IsSupported(name.kind)) {
        if (constraints.isCritical) Fail(NameFailure::kUnknownKind, level, FactsOf("name", name, issuer));
        continue;
      }
      if (!name.isComparable) return Fail(NameFailure::kOutside, level, FactsOf("cannot be compared", name, issuer));
      if (hasExcluded && constraints.excluded.Touches(name)) {
        return Fail(NameFailure::kOutside, level, FactsOf("excluded", name, issuer));
      }
      if (hasPermitted && !constraints.permitted.Contains(name)) {
        return Fail(NameFailure::kOutside, level, FactsOf("not permitted", name, issuer));
      }
    }
  }

  const StrictPath &m_path;
  std::deque<CertNames> m_names;
  size_t m_numCompared = 0;
  NameVerdict m_verdict;
};

}  // namespace

NameVerdict JudgeNames(const StrictPath &path) { return Judge(path).Run(); }
