// Certificates in path order.
#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"

namespace {

constexpr int kMaxSortVerifications = 16;   // in one sort; after them input order decides
constexpr int kNoName = -1;

struct Member {
  sxCert *cert;
  int subject = kNoName;   // equal names have equal numbers, so that the steps below compare numbers
  int issuer = kNoName;
  bool isUsed = false;

  bool IsSelfIssued() const { return subject != kNoName && subject == issuer; }
};

struct NameOf {
  uint64_t hash;
  const sxDN *dn;
  int *number;             // where its number goes
};

void NumberNames(std::vector<Member> &members) {
  std::vector<NameOf> names;
  names.reserve(2 * members.size());
  const auto add = [&names](const sxDN *dn, int *number) {
    const uint64_t hash = dn != nullptr ? dn->Hash() : 0;
    if (hash != 0) names.push_back({hash, dn, number});
  };
  for (Member &member : members) {
    add(member.cert->Subject(), &member.subject);
    add(member.cert->Issuer(), &member.issuer);
  }
  std::sort(names.begin(), names.end(), [](const NameOf &a, const NameOf &b) { return a.hash < b.hash; });
  size_t sameHash = 0;     // first name with the current hash; nearly always one name, repeated
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i].hash != names[sameHash].hash) sameHash = i;
    size_t known = sameHash;
    while (known < i && !names[known].dn->Equal(*names[i].dn)) ++known;
    *names[i].number = known < i ? *names[known].number : static_cast<int>(i);
  }
}

std::vector<Member> MembersOf(const sxCerts &certs) {
  std::vector<Member> members;
  members.reserve(static_cast<size_t>(certs.Count()));
  for (int i = 0; i < certs.Slots(); ++i) {
    if (certs.Get(i) != nullptr) members.push_back({certs.Get(i)});
  }
  NumberNames(members);
  return members;
}

// Lower is better: end entities, then members of a loop, then what issued itself.
int StartRank(const Member &member, const std::vector<int> &numIssued) {
  const int own = member.IsSelfIssued() ? 1 : 0;   // having issued itself does not count
  const bool issuedAnother = member.subject != kNoName && numIssued[static_cast<size_t>(member.subject)] > own;
  return 2 * own + (issuedAnother ? 1 : 0);
}

Member &FindStart(std::vector<Member> &members) {
  std::vector<int> numIssued(2 * members.size(), 0);   // by the number of the issuer's name
  for (const Member &member : members) {
    if (member.issuer != kNoName) ++numIssued[static_cast<size_t>(member.issuer)];
  }
  return *std::min_element(members.begin(), members.end(), [&numIssued](const Member &a, const Member &b) {
    return StartRank(a, numIssued) < StartRank(b, numIssued);
  });
}

bool KeyIdMatches(const sxCert &subject, const sxCert &issuer) {
  const sxExtKeyID *wanted = subject.AuthorityKeyId();
  const sxExtKeyID *offered = issuer.SubjectKeyId();
  return wanted != nullptr && offered != nullptr && !wanted->KIdBuf().IsEmpty() &&
         wanted->KIdBuf() == offered->KIdBuf();
}

// Picks the issuers, one after the other.
class PathBuilder {
 public:
  explicit PathBuilder(std::vector<Member> &members) : m_members(members) {}

  // Null when there is none.
  Member *IssuerOf(const Member &current) {
    if (current.issuer == kNoName || current.IsSelfIssued()) return nullptr;
    m_candidates.clear();
    for (Member &member : m_members) {
      if (!member.isUsed && member.subject == current.issuer) m_candidates.push_back(&member);
    }
    if (m_candidates.size() > 1) KeepMatchingKeyIds(*current.cert);
    if (m_candidates.size() > 1) return VerifyingOne(*current.cert);
    return m_candidates.empty() ? nullptr : m_candidates.front();
  }

 private:
  void KeepMatchingKeyIds(const sxCert &subject) {
    const auto matches = [&subject](const Member *m) { return KeyIdMatches(subject, *m->cert); };
    const auto end = std::stable_partition(m_candidates.begin(), m_candidates.end(), matches);
    if (end != m_candidates.begin()) m_candidates.erase(end, m_candidates.end());
  }

  // A set full of equal names must not make us verify each against each.
  Member *VerifyingOne(const sxCert &subject) {
    for (Member *candidate : m_candidates) {
      if (m_numVerified == kMaxSortVerifications) break;
      ++m_numVerified;
      if (subject.VerifySig(candidate->cert->PubKey()) == 0) return candidate;
    }
    return m_candidates.front();
  }

  std::vector<Member> &m_members;
  std::vector<Member *> m_candidates;   // of one step, in input order
  int m_numVerified = 0;
};

}  // namespace

int sxCerts_Sort(const sxCerts &in, sxCerts &out) {
  std::vector<Member> members = MembersOf(in);
  if (members.empty()) {
    out.ClearAll();
    return -1;
  }
  sxCerts path(static_cast<int>(members.size()) + 1);   // one more, for the root that callers add
  PathBuilder builder(members);
  int numOnPath = 0;
  for (Member *member = &FindStart(members); member != nullptr; member = builder.IssuerOf(*member)) {
    member->isUsed = true;
    sxSaveSigned(member->cert);
    path.Set(numOnPath++, member->cert);
  }
  out.Swap(path);
  const int numLeftOut = static_cast<int>(members.size()) - numOnPath;
  if (numLeftOut == 0) return 0;
  herror_func(0, 0, "sxCerts_Sort: %d of %zu certificates are not on the path", numLeftOut, members.size());
  return -1;
}

int sxCerts_Sort(sxCerts &certs) { return sxCerts_Sort(certs, certs); }
