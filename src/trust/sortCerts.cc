#include "kxcert/trust/sortCerts.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"

namespace {

constexpr int kMaxSortVerifications = 64;  // in one sort; after them the order of the candidates decides
constexpr size_t kMaxNamesOfOneHash = 8;   // different ones; more are made on purpose, and issue nothing
constexpr int kNoName = -1;

struct Member {
  sxCert *cert;
  int order;              // of input
  int subject = kNoName;  // equal names have equal numbers, so that the steps below compare numbers
  int issuer = kNoName;
  bool isOutdated = false;  // or not valid yet
  size_t namePlace = 0;     // in PathBuilder's orders
  size_t idPlace = 0;
  std::string_view keyId = {};
  size_t key = 0;  // equal keys of one name have equal numbers

  bool IsSelfIssued() const { return subject != kNoName && subject == issuer; }
};

struct NameOf {
  uint64_t hash;
  const sxDN *dn;
  int *number;  // where its number goes
};

// The numbers are below twice the number of members.
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
  std::vector<size_t> firsts;  // of the different names with the current hash; nearly always one
  for (size_t i = 0; i < names.size(); ++i) {
    if (i == 0 || names[i].hash != names[i - 1].hash) firsts.clear();
    const auto known =
        std::find_if(firsts.begin(), firsts.end(), [&](size_t first) { return names[first].dn->Equal(*names[i].dn); });
    if (known == firsts.end() && firsts.size() == kMaxNamesOfOneHash) continue;
    *names[i].number = static_cast<int>(known != firsts.end() ? *known : i);
    if (known == firsts.end()) firsts.push_back(i);
  }
}

std::string_view KeyIdOf(const sxExtKeyID *ext) {
  if (ext == nullptr || ext->KIdBuf().IsEmpty()) return {};
  return {reinterpret_cast<const char *>(ext->KIdBuf().Data()), ext->KIdBuf().Len()};
}

std::vector<Member> MembersOf(const sxCerts &certs) {
  std::vector<Member> members;
  members.reserve(static_cast<size_t>(certs.Count()));
  for (int i = 0; i < certs.Slots(); ++i) {
    if (certs.Get(i) != nullptr) members.push_back({.cert = certs.Get(i), .order = i});
  }
  NumberNames(members);
  return members;
}

// Lower is better: end entities, then members of a loop, then what issued itself.
int StartRank(const Member &member, const std::vector<int> &numIssued) {
  const int own = member.IsSelfIssued() ? 1 : 0;  // having issued itself does not count
  const bool issuedAnother = member.subject != kNoName && numIssued[static_cast<size_t>(member.subject)] > own;
  return 2 * own + (issuedAnother ? 1 : 0);
}

Member &FindStart(std::vector<Member> &members) {
  std::vector<int> numIssued(2 * members.size(), 0);  // by the number of the issuer's name
  for (const Member &member : members) {
    if (member.issuer != kNoName) ++numIssued[static_cast<size_t>(member.issuer)];
  }
  return *std::min_element(members.begin(), members.end(), [&numIssued](const Member &a, const Member &b) {
    return StartRank(a, numIssued) < StartRank(b, numIssued);
  });
}

std::string_view DerOf(const Member &member) {
  return {reinterpret_cast<const char *>(member.cert->GetBuf()), member.cert->BufLen()};
}

std::string_view KeyHashOf(const Member &member) {
  const unsigned char *hash = member.cert->PubKey() != nullptr ? member.cert->PubKey()->PublicKeyHash() : nullptr;
  return {reinterpret_cast<const char *>(hash), hash != nullptr ? kPublicKeyHashLen : size_t{0}};
}

// The places of an order that are still taken. Those that were left are jumped over, each run of them
// ever faster, so that finding the first of many takes no longer than leaving them.
class TakenPlaces {
 public:
  explicit TakenPlaces(size_t count) : m_next(count + 1) { std::iota(m_next.begin(), m_next.end(), size_t{0}); }
  void Leave(size_t place) { m_next[place] = place + 1; }
  size_t FirstFrom(size_t place) {  // the count when there is none
    while (m_next[place] != place) place = m_next[place] = m_next[m_next[place]];
    return place;
  }

 private:
  std::vector<size_t> m_next;
};

// Picks the issuers, one after the other. Candidates of one name stand in an order of preference: those
// with the wanted key identifier (a hint: RFC 5280, 4.2.1.1), then those that are valid now, then as
// they came. Where rivals have different keys, the one that verifies decides.
class PathBuilder {
 public:
  explicit PathBuilder(std::vector<Member> &members)
      : m_members(members),
        m_byName(members.size()),
        m_firstOfName(2 * members.size(), members.size()),
        m_namesLeft(members.size()) {
    SortByName();
    const auto isRival = [](const Member *a, const Member *b) {
      return a->subject != kNoName && a->subject == b->subject;
    };
    m_hasRivals = std::adjacent_find(m_byName.begin(), m_byName.end(), isRival) != m_byName.end();
    if (!m_hasRivals) return;
    LeaveOutCopies();
    SortByKeyId();
    NumberKeys();
  }

  void Use(const Member &member) {
    m_namesLeft.Leave(member.namePlace);
    if (!m_hasRivals || member.subject == kNoName) return;
    m_idsLeft.Leave(member.idPlace);
    if (--m_numOfKey[member.key] == 0) --m_numKeys[static_cast<size_t>(member.subject)];
  }

  // Null when there is none.
  Member *IssuerOf(const Member &current) {
    if (current.issuer == kNoName) return nullptr;
    Member *first = nullptr;
    Visit(current, [&first](Member &candidate) {
      first = &candidate;
      return true;
    });
    if (first == nullptr) return nullptr;
    if (current.IsSelfIssued()) return NextKeyOf(current);
    if (!m_hasRivals || m_numKeys[static_cast<size_t>(current.issuer)] == 1) return first;
    ++m_step;
    const Found found = FindVerifying(current);
    if (found.verifying != nullptr) return found.verifying;
    return found.untried != nullptr ? found.untried : first;
  }

 private:
  struct Found {
    Member *verifying = nullptr;
    Member *untried = nullptr;  // the first that there was no verification left for
  };

  void SortByName() {
    const int64_t now = kxClock_Now();
    for (size_t i = 0; i < m_members.size(); ++i) {
      m_members[i].isOutdated = m_members[i].cert->notBefore() > now || m_members[i].cert->notAfter() < now;
      m_byName[i] = &m_members[i];
    }
    std::sort(m_byName.begin(), m_byName.end(), [](const Member *a, const Member *b) {
      return std::tie(a->subject, a->isOutdated, a->order) < std::tie(b->subject, b->isOutdated, b->order);
    });
    for (size_t i = m_byName.size(); i-- > 0;) {
      m_byName[i]->namePlace = i;
      if (m_byName[i]->subject != kNoName) m_firstOfName[static_cast<size_t>(m_byName[i]->subject)] = i;
    }
  }

  // A path has no certificate twice.
  void LeaveOutCopies() {
    std::vector<Member *> byOctets = m_byName;
    std::sort(byOctets.begin(), byOctets.end(), [](const Member *a, const Member *b) {
      return std::make_tuple(a->subject, DerOf(*a), a->order) < std::make_tuple(b->subject, DerOf(*b), b->order);
    });
    for (size_t i = 1; i < byOctets.size(); ++i) {
      if (DerOf(*byOctets[i]) == DerOf(*byOctets[i - 1])) m_namesLeft.Leave(byOctets[i]->namePlace);
    }
  }

  bool IsLeft(const Member &member) { return m_namesLeft.FirstFrom(member.namePlace) == member.namePlace; }

  void SortByKeyId() {
    for (Member *member : m_byName) {
      member->keyId = KeyIdOf(member->cert->SubjectKeyId());
      if (IsLeft(*member)) m_byKeyId.push_back(member);
    }
    std::stable_sort(m_byKeyId.begin(), m_byKeyId.end(), [](const Member *a, const Member *b) {
      return std::tie(a->subject, a->keyId) < std::tie(b->subject, b->keyId);
    });
    for (size_t i = 0; i < m_byKeyId.size(); ++i) m_byKeyId[i]->idPlace = i;
    m_idsLeft = TakenPlaces(m_byKeyId.size());
  }

  void NumberKeys() {
    std::vector<Member *> byKey = m_byKeyId;
    std::sort(byKey.begin(), byKey.end(), [](const Member *a, const Member *b) {
      return std::make_pair(a->subject, KeyHashOf(*a)) < std::make_pair(b->subject, KeyHashOf(*b));
    });
    m_numKeys.resize(m_firstOfName.size());
    for (size_t i = 0; i < byKey.size(); ++i) {
      const bool isKnown =
          i > 0 && byKey[i]->subject == byKey[i - 1]->subject && KeyHashOf(*byKey[i]) == KeyHashOf(*byKey[i - 1]);
      if (!isKnown) m_numOfKey.push_back(0);
      if (!isKnown && byKey[i]->subject != kNoName) ++m_numKeys[static_cast<size_t>(byKey[i]->subject)];
      byKey[i]->key = m_numOfKey.size() - 1;
      ++m_numOfKey.back();
    }
    m_triedInStep.resize(m_numOfKey.size());
  }

  // Shows the candidates in their order until one is enough. Those with the key identifier come twice.
  template <class Enough>
  void Visit(const Member &subject, const Enough &isEnough) {
    const std::string_view wanted = m_hasRivals ? KeyIdOf(subject.cert->AuthorityKeyId()) : std::string_view();
    if (!wanted.empty()) {
      const auto isBefore = [&subject](const Member *member, std::string_view id) {
        return std::tie(member->subject, member->keyId) < std::tie(subject.issuer, id);
      };
      const auto begin = std::lower_bound(m_byKeyId.begin(), m_byKeyId.end(), wanted, isBefore);
      size_t i = m_idsLeft.FirstFrom(static_cast<size_t>(begin - m_byKeyId.begin()));
      for (; i < m_byKeyId.size() && m_byKeyId[i]->subject == subject.issuer && m_byKeyId[i]->keyId == wanted;
           i = m_idsLeft.FirstFrom(i + 1)) {
        if (isEnough(*m_byKeyId[i])) return;
      }
    }
    size_t i = m_namesLeft.FirstFrom(m_firstOfName[static_cast<size_t>(subject.issuer)]);
    for (; i < m_byName.size() && m_byName[i]->subject == subject.issuer; i = m_namesLeft.FirstFrom(i + 1)) {
      if (isEnough(*m_byName[i])) return;
    }
  }

  bool Verifies(const sxCert &subject, const Member &issuer) {
    --m_numVerificationsLeft;
    m_triedInStep[issuer.key] = m_step;
    return subject.VerifySig(issuer.cert->PubKey()) == 0;
  }

  // A set full of equal names must not make us verify each against each.
  Found FindVerifying(const Member &subject) {
    Found found;
    Visit(subject, [&](Member &candidate) {
      if (m_triedInStep[candidate.key] == m_step) return false;
      if (m_numVerificationsLeft == 0) {
        found.untried = &candidate;
      } else if (Verifies(*subject.cert, candidate)) {
        found.verifying = &candidate;
      } else {
        return false;
      }
      return true;
    });
    return found;
  }

  // The issuer of a CA's new key is the same CA with its old one; a certificate that its own key
  // verifies, or no other, ends the path.
  Member *NextKeyOf(const Member &selfIssued) {
    ++m_step;
    if (m_numVerificationsLeft == 0 || Verifies(*selfIssued.cert, selfIssued)) return nullptr;
    return FindVerifying(selfIssued).verifying;
  }

  std::vector<Member> &m_members;
  std::vector<Member *> m_byName;     // by subject, then in order of preference
  std::vector<size_t> m_firstOfName;  // places in m_byName, by the name's number
  TakenPlaces m_namesLeft;
  // What follows is made only where a name has rivals, which is seldom.
  bool m_hasRivals = false;
  std::vector<Member *> m_byKeyId;  // by subject and key identifier, then in order of preference
  TakenPlaces m_idsLeft{0};
  std::vector<int> m_numOfKey;     // unused members, by the key's number
  std::vector<int> m_numKeys;      // of unused members, by the name's number
  std::vector<int> m_triedInStep;  // by the key's number
  int m_step = 0;
  int m_numVerificationsLeft = kMaxSortVerifications;
};

}  // namespace

int sxCerts_Sort(const sxCerts &in, sxCerts &out) {
  std::vector<Member> members = MembersOf(in);
  if (members.empty()) {
    out.ClearAll();
    return -1;
  }
  sxCerts path(static_cast<int>(members.size()) + 1);  // one more, for the root that callers add
  PathBuilder builder(members);
  int numOnPath = 0;
  for (Member *member = &FindStart(members); member != nullptr; member = builder.IssuerOf(*member)) {
    builder.Use(*member);
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
