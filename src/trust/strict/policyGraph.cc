#include "trust/strict/policyGraph.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "cert/sxExtension_imp.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCert.h"
#include "trust/nameText.h"
#include "trust/strict/strictPath.h"

namespace {

using Oid = std::string;  // content octets, which sort and compare
using OidSet = std::set<Oid>;

Oid KeyOf(const sxAsnOid &oid) {
  return Oid(reinterpret_cast<const char *>(oid.Data()), static_cast<size_t>(oid.Len()));
}
const Oid &AnyPolicy() {
  static const Oid kAny = KeyOf(sxASN_anyPolicy);
  return kAny;
}

// What one certificate says of policies.
struct Said {
  const char *fault = nullptr;     // of an extension that does not decode, or says what it must not
  sxOctetView malformed = {};      // that extension's type
  std::optional<OidSet> policies;  // none: no such extension
  std::map<Oid, OidSet> mappings;
  int requireExplicit = -1, inhibitMapping = -1, inhibitAny = -1;  // -1: absent
};

// Each reads one extension. @return what is wrong with it, or null
const char *ReadPolicies(const sxExtension &extension, bool isCritical, Said *said) {
  said->policies.emplace();
  for (const sxPolicy &policy : static_cast<const sxCertPolicies &>(extension).Policies()) {
    if (!said->policies->insert(KeyOf(policy.id)).second) return "a policy is there twice";  // RFC 5280, 4.2.1.4
    // The same section: who cannot interpret all of a critical one refuses it.
    const auto isUnknown = [](const sxPolicyQualifier &qualifier) { return !qualifier.octets.empty(); };
    if (isCritical && std::ranges::any_of(policy.qualifiers, isUnknown))
      return "it is critical, with an unknown qualifier";
  }
  return nullptr;
}

const char *ReadMappings(const sxExtension &extension, bool /*isCritical*/, Said *said) {
  for (const sxPolicyMapping &mapping : static_cast<const sxPolicyMappings &>(extension).Mappings()) {
    const Oid from = KeyOf(mapping.issuerDomain), to = KeyOf(mapping.subjectDomain);
    if (from == AnyPolicy() || to == AnyPolicy()) return "any policy is mapped";  // RFC 5280, 6.1.4 (a)
    said->mappings[from].insert(to);
  }
  return nullptr;
}

const char *ReadLimits(const sxExtension &extension, bool /*isCritical*/, Said *said) {
  const sxPolicyLimits &limits = static_cast<const sxPolicyConstraints &>(extension).Limits();
  said->requireExplicit = limits.requireExplicit;
  said->inhibitMapping = limits.inhibitMapping;
  return nullptr;
}

const char *ReadInhibitAny(const sxExtension &extension, bool /*isCritical*/, Said *said) {
  said->inhibitAny = static_cast<const sxInhibitAnyPolicy &>(extension).SkipCerts();
  return nullptr;
}

struct ReaderRow {
  sxOctetView oid;
  const char *(*read)(const sxExtension &extension, bool isCritical, Said *said);
};
constexpr ReaderRow kReaders[] = {{kOidPolicies, ReadPolicies},
                                  {kOidPolicyMappings, ReadMappings},
                                  {kOidPolicyConstraints, ReadLimits},
                                  {kOidInhibitAnyPolicy, ReadInhibitAny}};

Said Read(const StrictCert &cert) {
  Said said;
  for (const ReaderRow &row : kReaders) {
    const sxPlainExtension *const extension = cert.Find(row.oid);
    if (extension == nullptr) continue;
    const sxExtension *const parsed = cert.Issued(*extension);
    const char *const fault = cert.HasTwo(row.oid) ? "it is there twice"
                              : parsed == nullptr  ? "it cannot be decoded"
                                                   : row.read(*parsed, extension->critical, &said);
    if (fault == nullptr || said.fault != nullptr) continue;
    said.fault = fault;
    said.malformed = row.oid;
  }
  return said;
}

bool SaysItCritically(const StrictCert &cert) {
  return std::ranges::any_of(kReaders, [&cert](const ReaderRow &row) {
    const sxPlainExtension *const extension = cert.Find(row.oid);
    return extension != nullptr && extension->critical;
  });
}

bool SaysAny(const StrictCert &cert) {
  return std::ranges::any_of(kReaders, [&cert](const ReaderRow &row) { return cert.Find(row.oid) != nullptr; });
}

// RFC 9618, 3: one node for each policy at each depth.
struct Node {
  std::vector<Oid> parents;  // at the depth before
  OidSet expected;
};
using Depth = std::map<Oid, Node>;

class Graph {
 public:
  Graph() { m_depths.emplace_back()[AnyPolicy()].expected = {AnyPolicy()}; }

  bool IsNull() const { return m_depths.back().empty(); }
  void Clear() { m_depths.assign(1, Depth()); }

  // RFC 5280, 6.1.3 (d).
  void Add(const OidSet &policies, bool anyCounts) {
    const Depth &before = m_depths.back();
    std::map<Oid, std::vector<Oid>> expecting;  // who expects a policy
    for (const auto &[policy, node] : before) {
      for (const Oid &expected : node.expected) expecting[expected].push_back(policy);
    }
    Depth now;
    for (const Oid &policy : policies) {
      if (policy == AnyPolicy()) continue;
      if (const auto found = expecting.find(policy); found != expecting.end()) {
        now[policy] = {found->second, {policy}};
      } else if (before.contains(AnyPolicy())) {
        now[policy] = {{AnyPolicy()}, {policy}};
      }
    }
    if (anyCounts && policies.contains(AnyPolicy())) {
      for (auto &[policy, parents] : expecting) now.try_emplace(policy, Node{std::move(parents), {policy}});
    }
    m_depths.push_back(std::move(now));
  }

  // RFC 5280, 6.1.4 (b).
  void Map(const std::map<Oid, OidSet> &mappings, bool isAllowed) {
    Depth &now = m_depths.back();
    for (const auto &[from, to] : mappings) {
      if (!isAllowed) {
        now.erase(from);
      } else if (const auto found = now.find(from); found != now.end()) {
        found->second.expected = to;
      } else if (now.contains(AnyPolicy())) {
        now[from] = {{AnyPolicy()}, to};
      }
    }
  }

  // RFC 9618, 4.5: what the path is valid for, and which of that is wanted. @param wanted  empty: all
  OidSet Result(const OidSet &wanted) const {
    if (IsNull()) return {};
    OidSet reached;
    for (const auto &[policy, node] : m_depths.back()) reached.insert(policy);
    OidSet found;  // those that anyPolicy stood above, on the way to the last depth
    for (size_t depth = m_depths.size() - 1; depth > 0; --depth) {
      OidSet above;
      for (const Oid &policy : reached) {
        const Node &node = m_depths[depth].at(policy);
        const bool isBelowAny = std::ranges::find(node.parents, AnyPolicy()) != node.parents.end();
        if (isBelowAny && policy != AnyPolicy()) found.insert(policy);
        above.insert(node.parents.begin(), node.parents.end());
      }
      reached = std::move(above);
    }
    const bool isAny = m_depths.back().contains(AnyPolicy());
    if (wanted.empty() || wanted.contains(AnyPolicy())) return isAny ? OidSet{AnyPolicy()} : found;
    if (isAny) return wanted;
    OidSet both;
    std::ranges::set_intersection(found, wanted, std::inserter(both, both.end()));
    return both;
  }

 private:
  std::vector<Depth> m_depths;
};

// A number of certificates that may still come.
struct Count {
  int left;
  void Step() { left -= left > 0 ? 1 : 0; }
  void Limit(int limit) { left = limit >= 0 ? std::min(left, limit) : left; }
};

class Judge {
 public:
  explicit Judge(const StrictPath &path)
      : m_path(path),
        m_top(path.IsRoot(path.Top()) && SaysItCritically(path.At(path.Top())) ? path.Top() : path.TopBelowRoot()),
        m_explicit{path.Question().requireExplicitPolicy ? 0 : m_top + 2},
        m_mapping{path.Question().inhibitPolicyMapping ? 0 : m_top + 2},
        m_inhibitAny{path.Question().inhibitAnyPolicy ? 0 : m_top + 2} {}

  PolicyVerdict Run() {
    for (int level = m_top; level >= 0; --level) {
      const StrictCert &cert = m_path.At(level);
      const Said said = Read(cert);
      if (said.fault != nullptr) return Malformed(level, said);
      Process(level, said);
      if (m_explicit.left == 0 && m_graph.IsNull()) return None(level);
      if (level > 0) {
        Prepare(cert, said);
      } else {
        m_explicit.Step();  // RFC 5280, 6.1.5 (a), (b): what the end entity says counts for itself
        if (said.requireExplicit == 0) m_explicit.left = 0;
      }
    }
    OidSet wanted;
    for (const sxAsnOid &policy : m_path.Question().policies) wanted.insert(KeyOf(policy));
    const OidSet result = m_graph.Result(wanted);
    if (m_explicit.left == 0 && result.empty()) return None(0);
    PolicyVerdict verdict;
    for (const Oid &policy : result) {
      verdict.policies.emplace_back().Set(reinterpret_cast<const unsigned char *>(policy.data()),
                                          static_cast<int>(policy.size()));
    }
    return verdict;
  }

 private:
  void Process(int level, const Said &said) {
    if (m_graph.IsNull()) return;
    if (!said.policies.has_value()) return m_graph.Clear();
    const bool isSelfIssuedCA = level > 0 && m_path.At(level).IsSelfIssued();
    m_graph.Add(*said.policies, m_inhibitAny.left > 0 || isSelfIssuedCA);
  }

  // RFC 5280, 6.1.4.
  void Prepare(const StrictCert &cert, const Said &said) {
    if (!m_graph.IsNull()) m_graph.Map(said.mappings, m_mapping.left > 0);
    if (!cert.IsSelfIssued()) {
      for (Count *count : {&m_explicit, &m_mapping, &m_inhibitAny}) count->Step();
    }
    if (said.requireExplicit >= 0 && said.requireExplicit < m_explicit.left) m_demandedBy = &cert;
    m_explicit.Limit(said.requireExplicit);
    m_mapping.Limit(said.inhibitMapping);
    m_inhibitAny.Limit(said.inhibitAny);
  }

  PolicyVerdict None(int level) const {
    PolicyVerdict verdict;
    verdict.isValid = false;
    verdict.level = level;
    verdict.facts.push_back(
        {"explicit policy demanded by", m_demandedBy != nullptr ? sxNameText(m_demandedBy->Cert().Subject(), "no name")
                                        : m_path.Question().requireExplicitPolicy ? "the question"
                                                                                  : "the end entity"});
    for (const sxAsnOid &policy : m_path.Question().policies) verdict.facts.push_back({"wanted", sxOidWords(policy)});
    return verdict;
  }

  static PolicyVerdict Malformed(int level, const Said &said) {
    PolicyVerdict verdict;
    sxAsnOid type;
    type.Set(said.malformed.data(), sxLen(said.malformed));
    verdict.facts.push_back({"extension", sxOidWords(type)});
    verdict.facts.push_back({"fault", said.fault});
    verdict.isValid = false;
    verdict.isMalformed = true;
    verdict.level = level;
    return verdict;
  }

  const StrictPath &m_path;
  const int m_top;  // where the path begins
  Graph m_graph;
  Count m_explicit, m_mapping, m_inhibitAny;
  const StrictCert *m_demandedBy = nullptr;
};

}  // namespace

bool PoliciesCannotFail(const StrictPath &path) {
  if (path.Question().requireExplicitPolicy) return false;
  const auto mayFail = [](const StrictCert &cert, size_t i) {
    const StrictExtension &extension = cert.Extensions()[i];
    const auto isIt = [&extension](const ReaderRow &row) { return sxEqual(row.oid, extension.oid); };
    if (!std::ranges::any_of(kReaders, isIt)) return false;
    if (sxEqual(extension.oid, kOidPolicyConstraints) || cert.HasTwo(extension.oid)) return true;
    if (sxEqual(extension.oid, kOidPolicies) && extension.critical) return true;  // it may have any qualifier
    const StrictForm &form = cert.Form(i);
    // Longer ones may have more elements than are read.
    return !form.isDer || form.fault.reason != nullptr || extension.value.size() > kMaxIssuedItems;
  };
  for (int level = 0; level <= path.Top(); ++level) {
    const StrictCert &cert = path.At(level);
    for (size_t i = 0; i < cert.Extensions().size(); ++i) {
      if (mayFail(cert, i)) return false;
    }
  }
  return true;
}

PolicyVerdict JudgePolicies(const StrictPath &path) {
  bool saysAny = path.Question().requireExplicitPolicy;
  for (int level = 0; level <= path.Top(); ++level) saysAny |= SaysAny(path.At(level));
  return saysAny ? Judge(path).Run() : PolicyVerdict();
}
