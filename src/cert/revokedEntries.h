/// @file
/// The entries of a CRL: octets in order, found by number at once, a million of them as well.
///
/// Reading may be shared; changing is for one thread alone.
#ifndef KXCERT_SRC_CERT_REVOKEDENTRIES_H_
#define KXCERT_SRC_CERT_REVOKEDENTRIES_H_

#include <map>
#include <optional>
#include <vector>

#include "kxcert/cert/sxCRL.h"
#include "plainCrl.h"
#include "serialIndex.h"

/// What stands for a name in an indirect CRL. No value: nothing is equal to it.
std::optional<sxIssuerId> sxIssuerIdOf(const sxDN &name);
std::optional<sxIssuerId> sxIssuerIdOf(sxOctetView name);  ///< the whole element

class sxRevokedEntries {
 public:
  /// @param octets   lent as long as this lives; the entries lie in them, not at their beginning
  /// @param entries  behind one another
  /// @return false: one is not plain (plainCrl.h)
  bool Read(sxOctetView octets, sxOctetView entries);
  /// Whether any that was read has a critical extension, known or not.
  bool HasCritical() const { return m_hasCritical; }
  /// Entries may have issuers of their own; before they are read.
  /// @param own  of the CRL's issuer
  void SetIndirect(const std::optional<sxIssuerId> &own) {
    m_isIndirect = true;
    m_own = own;
  }
  void SetDirect() { m_isIndirect = false; }  ///< likewise
  bool IsIndirect() const { return m_isIndirect; }
  bool HasIssuers() const { return !m_runs.empty(); }

  size_t Count() const { return m_count; }
  /// @param issuer  of an indirect CRL: the certificate's, null for the CRL's own
  bool Find(const sxDN *issuer, const sxAsnDigits &number, sxRevokedEntry *entry) const;
  bool Next(sxRevokedEntry *entry) const;
  /// Those that Find finds, in order.
  /// @param take  gets the entry and, of an indirect CRL, whose it is and that one's name (no octets for the CRL's own
  ///              before any other came); false ends it
  /// @return false: it did, or there is an entry that nobody can ask for
  template <class Take>
  bool ForEachFound(const Take &take) const;

 protected:
  /// The same for what was read before, or written here. Entries of another type are passed over; the issuers that they
  /// name hold all the same.
  /// @param numEntries  at least as many as there are: room for them
  /// @param maxOffset   likewise for the length of @p octets
  void Index(sxOctetView octets, sxOctetView entries, size_t numEntries, size_t maxOffset);
  /// The octets are elsewhere; what was in them is there, and one entry more behind it, whose number is new.
  void Grow(sxOctetView octets, const sxPlainEntry &entry);
  bool HasRoomFor(size_t maxOffset) const { return m_index.HasRoomFor(m_numEntered + 1, maxOffset); }
  void Forget() { --m_count; }                                             ///< one entry is none any more
  uint32_t OffsetOf(const sxDN *issuer, const sxAsnDigits &number) const;  ///< 0: not there
  /// Likewise. @param issuer  null: of a direct CRL
  uint32_t OffsetOf(const sxIssuerId *issuer, const sxAsnDigits &number) const;
  const std::optional<sxIssuerId> &Own() const { return m_own; }
  /// Of an indirect CRL: the issuer of an entry behind the last one that names none. Lent; null: nobody.
  const sxIssuerId *LastIssuer() const { return IdAt(m_runs.empty() ? nullptr : &m_runs.back()); }
  bool ReadAt(uint32_t offset, sxPlainEntry *entry) const;

 private:
  // Entries from one on have an issuer.
  struct Run {
    uint32_t first;  // its offset
    uint32_t name, nameLen;
    std::optional<sxIssuerId> id;  // none: it cannot be read
  };
  class Indexer;

  void Start(sxOctetView octets, sxOctetView entries, size_t numEntries, size_t maxOffset);
  uint32_t Offset(const unsigned char *pos) const { return static_cast<uint32_t>(pos - m_octets.data()); }
  void StartRun(const sxPlainEntry &entry);
  const Run *RunOf(uint32_t offset) const;  // null: before the first
  const sxIssuerId *IdAt(const Run *run) const;
  bool IsAt(uint32_t offset, const sxAsnDigits &number, const sxIssuerId *id) const;
  void Describe(const sxPlainEntry &plain, sxRevokedEntry *entry) const;

  sxOctetView m_octets;
  uint32_t m_first = 0, m_end = 0;  // where the entries lie
  size_t m_count = 0, m_numEntered = 0;
  bool m_isIndirect = false, m_hasCritical = false;
  std::optional<sxIssuerId> m_own;
  std::vector<Run> m_runs;
  sxSerialIndex m_index;
};

template <class Take>
bool sxRevokedEntries::ForEachFound(const Take &take) const {
  const Run *run = nullptr, *next = m_runs.data(), *const end = next + m_runs.size();
  sxPlainEntry entry;
  for (sxDerReader each(m_octets.subspan(m_first, m_end - m_first), kCrlLenOctets); !each.AtEnd();) {
    if (!sxTakePlainEntry(each, &entry)) return false;
    const uint32_t offset = Offset(entry.whole.data());
    while (next != end && next->first <= offset) run = next++;
    const sxIssuerId *const issuer = m_isIndirect ? IdAt(run) : nullptr;
    if (m_isIndirect && issuer == nullptr) return false;
    const uint32_t found = OffsetOf(issuer, sxAsnDigitsOf(entry.serial));
    if (found == 0) return false;
    const sxOctetView name = run == nullptr ? sxOctetView() : m_octets.subspan(run->name, run->nameLen);
    if (found == offset && !take(entry, issuer, name)) return false;
  }
  return true;
}

#endif
