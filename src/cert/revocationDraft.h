/// @file
/// Entries under construction, encoded at once: what they become in a CRL are these octets.
///
/// A removed entry becomes an element of another type, which is passed over until the next compaction. In an indirect
/// CRL an entry that names an issuer does so for those behind it that name none (RFC 5280, 5.3.3): removed, it still
/// does, and the compaction hands the name on to the first of them.
#ifndef KXCERT_SRC_CERT_REVOCATIONDRAFT_H_
#define KXCERT_SRC_CERT_REVOCATIONDRAFT_H_

#include <vector>

#include "extensionDer.h"
#include "revokedEntries.h"

/// The fewest content octets of a number (X.690, 8.3.2); a zero in front of digits that would look negative.
sxDerOctets sxNumberContent(const sxAsnDigits &digits);

/// The extension of an entry that says whose it is.
/// @param name  the whole element
sxDerOctets sxCertificateIssuerDer(sxOctetView name);

class sxRevocationDraft : public sxRevokedEntries {
 public:
  void Reserve(int num);  ///< a hint
  /// Makes it one of an indirect CRL. Entries that are there are of the CRL's issuer.
  void BecomeIndirect(const std::optional<sxIssuerId> &own);
  void BecomeDirect();  ///< and back, when no entry names an issuer
  using sxRevokedEntries::LastIssuer;
  using sxRevokedEntries::Own;

  /// @param issuer      of an indirect CRL; else null
  /// @param serial      may lie in the octets of this draft
  /// @param extensions  content of the SEQUENCE; names the issuer unless that is LastIssuer()
  /// @return 1; 0: the number is there; -1: more octets than offsets reach
  int Add(const sxIssuerId *issuer, sxOctetView serial, const sxPlainTime &date, sxOctetView extensions);
  bool Remove(const sxDN *issuer, const sxAsnInt &number);  ///< false: it was not there

  sxOctetView Octets() const;  ///< of all entries behind one another
  /// Without those that were removed.
  /// @param isForDer  numbers that are longer than they need to be are shortened, too
  void Compact(bool isForDer);
  bool HasExtensions() const { return m_numExtended > 0; }  ///< any entry

 private:
  sxOctetView All() const { return {m_octets.data(), m_octets.size()}; }
  void IndexAll(size_t numEntries);
  sxDerOctets MoveTo(size_t capacity);

  sxDerOctets m_octets{0};  // no entry is the first octet
  size_t m_holeOctets = 0, m_numExtended = 0;
  size_t m_handedOn = 0;  // octets of names that the last compaction handed on: it freed less than there were holes
  bool m_hasLongNumbers = false;  // any that has more octets than it needs
};

#endif
