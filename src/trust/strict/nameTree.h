/// @file
/// The bases of one list of name constraints, arranged so that a name is compared with all of them at once.
#ifndef KXCERT_SRC_TRUST_STRICT_NAMETREE_H_
#define KXCERT_SRC_TRUST_STRICT_NAMETREE_H_

#include <map>
#include <set>
#include <string>

#include "cert/flatName.h"
#include "kxcert/cert/issuedExtensions.h"

/// A name of a certificate, as it is compared.
struct ComparedName {
  sxNameKind kind;
  std::string text;                  ///< kDns, kUri: the host, in lower case; kEmail: the mailbox; kIp: the octets
  const sxFlatName *name = nullptr;  ///< kDn
  std::string shown;                 ///< printable
  bool isComparable = true;          ///< else it is none of its kind
};

class NameTree {
 public:
  /// @return false for a base that is none of its kind
  bool Add(const sxAnyName &base);
  bool Has(sxNameKind kind) const { return m_kinds.contains(kind); }
  // Of a kind that IsSupported. A wildcard name stands for every host with one label in its place (RFC 9525, 6.3), and
  // whoever holds its key is each of them: it is inside only when all of them are, and touches a base when one is.
  bool Contains(const ComparedName &name) const;  ///< all that the name stands for is at or below a base
  bool Touches(const ComparedName &name) const;   ///< some of it is
  /// Whether a directory name has a value that stands beside one of a base's, and whose string type is not compared: it
  /// may be the same text.
  bool MayHide(const ComparedName &name) const;

  static bool IsSupported(sxNameKind kind);

 private:
  bool AddDn(const sxDN &base);
  bool AddAddress(const std::vector<unsigned char> &octets);
  bool AddHost(sxNameKind kind, const std::string &text);
  enum class DnMatch { kBelow, kNotBelow, kNobodyKnows };
  DnMatch MatchDn(const sxFlatName &name) const;
  bool MatchesAddress(const std::string &octets) const;
  bool MatchesHost(sxNameKind kind, std::string_view host) const;

  struct Hosts {
    std::set<std::string, std::less<>> exact, below;  ///< the host itself; what has more labels
    std::set<std::string, std::less<>> parents;       ///< of the exact ones, without the first label
  };
  std::set<sxNameKind> m_kinds;
  std::map<sxNameKind, Hosts> m_hosts;
  std::set<std::string> m_mailboxes;
  std::map<std::string, std::set<std::string>> m_addresses;  // by mask
  std::map<std::pair<int, std::string>, int> m_rdns{};       // from a node by an RDN to the next node
  std::set<int> m_ends;                                      // nodes at which a base ends; 0 is the empty name
  int m_numNodes = 1;
};

#endif
