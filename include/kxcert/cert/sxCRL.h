/// @file
/// CRLs (RFC 5280, 5): decoded once, whole or not at all, and kept as their octets with an index over them.
///
/// Shared and counted as all signed objects are. A CRL is only read, from any thread; an entry is a value
/// that is read from the octets when it is asked for, without taking memory.
///
/// Nothing here judges. A CRL may be out of its time, of another scope, forged; one that has an unknown
/// critical extension says so and must not be used to call a certificate good.
///
/// Whose signature algorithms inside and outside differ is none (RFC 5280, 5.1.1.2).
///
///   CertificateList ::= SEQUENCE { tbsCertList, signatureAlgorithm, signature }
#ifndef KXCERT_CERT_SXCRL_H_
#define KXCERT_CERT_SXCRL_H_

#include <cstddef>
#include <cstdint>

#include "kxcert/cert/sxSigned.h"

class sxAsnInt;
class sxAsnOid;
class sxCert;
class sxCRL_imp;
class sxDN;
class sxExtensionsList;
class sxExtGN;
class sxExtKeyID;
class sxGeneralNames;
class sxIssuingDP;

/// What a time is that is there and cannot be read, or does not exist: 30 February, 24 o'clock. Whoever judges refuses
/// it: as a thisUpdate it would lie in the past, and so would seem fine.
constexpr int64_t kCrlTimeUnreadable = -1;

/// CRLReason (RFC 5280, 5.3.1).
enum sxCrlReason : int {
  sxCrlReason_none = -1,  ///< the entry has none, or none that can be read: revoked all the same
  sxCrlReason_unspecified = 0,
  sxCrlReason_keyCompromise = 1,
  sxCrlReason_cACompromise = 2,
  sxCrlReason_affiliationChanged = 3,
  sxCrlReason_superseded = 4,
  sxCrlReason_cessationOfOperation = 5,
  sxCrlReason_certificateHold = 6,
  sxCrlReason_removeFromCRL = 8,  ///< of a delta CRL: not revoked any more
  sxCrlReason_privilegeWithdrawn = 9,
  sxCrlReason_aACompromise = 10,
};
KXCERT_EXPORT const char *sxCrlReasonText(int reason);  ///< "keyCompromise"; null for none and unknown ones

/// One entry. Its octets are lent by the CRL, as long as that lives and, of an encoder, does not change.
struct sxRevokedEntry {
  const unsigned char *serial = nullptr;  ///< content octets of the INTEGER, for AsnIntFromBuf
  int serialLen = 0;
  int64_t revokedSec = kCrlTimeUnreadable;  ///< seconds since 1970-01-01 00:00 UTC, here and below
  int reason = sxCrlReason_none;            ///< of sxCrlReason, or a number that it has not
  bool hasInvalidityDate = false;
  int64_t invaliditySec = kCrlTimeUnreadable;
  /// Of an indirect CRL: the DER of the Name of the certificate's issuer, which holds until another entry has
  /// one (RFC 5280, 5.3.3). Null: the CRL's own issuer; or, as isIssuerUnreadable says, none that can be read.
  const unsigned char *certIssuer = nullptr;
  int certIssuerLen = 0;
  bool isIssuerUnreadable = false;                 ///< no name and serial number finds this entry
  const unsigned char *unknownCritical = nullptr;  ///< content octets of the first such OID; null for none
  int unknownCriticalLen = 0;

  uint64_t place = 0;  ///< where NextEntry goes on; the CRL's own use
};

class KXCERT_EXPORT sxCRL : public sxSigned {
 public:
  sxCRL(const unsigned char *buf, unsigned int len);  ///< DER or strict PEM; see OK()
  explicit sxCRL(sxCRL_imp *imp);                     ///< adopts

  int Version() const;                   ///< 1 or 2; the number encoded, plus 1
  const sxDN *Issuer() const;            ///< lent; null when the CRL is not OK
  const sxAsnOid &SignatureOid() const;  ///< lent; no octets when the CRL is not OK
  int64_t ThisUpdate() const;            ///< or kCrlTimeUnreadable; years after 2037 as they are
  bool HasNextUpdate() const;            ///< whether it is there at all
  int64_t NextUpdate() const;            ///< likewise; kCrlTimeUnreadable when it is absent
  bool IsIndirect() const;               ///< entries may be of other issuers' certificates
  bool IsDelta() const;                  ///< has a delta CRL indicator, readable or not

  /// Extensions that are understood: all lent, null when absent or not readable.
  const sxAsnInt *Number() const;            ///< cRLNumber (RFC 5280, 5.2.3)
  const sxAsnInt *DeltaBase() const;         ///< BaseCRLNumber of a delta CRL (5.2.4)
  const sxIssuingDP *IssuingDP() const;      ///< 5.2.5
  const sxExtKeyID *AuthorityKeyId() const;  ///< 5.2.1
  const sxExtGN *FreshestCRL() const;        ///< full names of the points where deltas are (5.2.6)
  /// The names of the issuing distribution point; one that is relative to the issuer is made whole. Empty
  /// without it, or when it has none.
  const sxGeneralNames &ScopeNames() const;

  /// The list's objects of those, but for the numbers, in order, also behind one that is not understood.
  const sxExtensionsList &Extensions() const;

  /// What was not understood. sxSigned::UnhandledCritExt() is the first critical one of the list, else of an
  /// entry, and counts the issuing distribution point and the delta CRL indicator among them, for who knows
  /// nothing of scopes. Who does asks for these two instead; both lent, null for none.
  /// The list's: critical and unknown; an issuing distribution point or a delta CRL indicator that cannot be
  /// read, critical or not, as the CRL would seem to say more than it does; one of the above that is there
  /// twice.
  const sxAsnOid *UnknownListExt() const;
  const sxAsnOid *UnknownEntryExt() const;  ///< of the first entry that has a critical one

  /// Entries as they stand in the list, one that is there twice included.
  int GetSize() const;
  /// An entry by serial number; two integers are the same number however they are stored. Of a direct CRL
  /// entries are of its issuer's certificates, and whoever asks has compared that. Of entries with the same number
  /// the gravest counts, the first of equally grave ones: removeFromCRL is the least, then certificateHold.
  /// @param certIssuer  of an indirect CRL: the certificate's issuer, null for the CRL's own; of a direct one
  ///                    not looked at
  /// @param[out] entry  may be null; untouched when there is none
  bool FindEntry(const sxDN *certIssuer, const sxAsnInt &serial, sxRevokedEntry *entry) const;
  bool FindEntry(const sxCert &cert, sxRevokedEntry *entry) const;  ///< by its issuer and serial number
  bool IsEntryExist(const sxCert &cert) const;                      ///< likewise
  /// The entry after @p entry in the order of the list, the first one for a new sxRevokedEntry.
  /// @return false after the last; @p entry is then as it was
  bool NextEntry(sxRevokedEntry *entry) const;

 protected:
  sxCRL_imp *Imp() const;
};

/// @return a new CRL for sxCRL_Free, or null when it is not OK (the reason is logged)
KXCERT_EXPORT sxCRL *sxCRL_Decode(const unsigned char *buf, int len);
/// The same from a file, whose first @p offset octets are passed over. A large one in DER is not copied but stays
/// mapped as long as the CRL lives, when it belongs to this user or root and nobody else may write it. Whoever
/// replaces such a file does it by renaming another over it, as kxFile_WriteWhole and the databases do; this CRL
/// then keeps the old one. A file that shrinks in place under its map would end the process (SIGBUS); one
/// that changes in place makes lookups wrong, and nothing worse.
KXCERT_EXPORT sxCRL *sxCRL_DecodeFile(const char *path, size_t offset);
KXCERT_EXPORT void sxCRL_Free(sxCRL *crl);  ///< drops a reference; null is ignored
KXCERT_EXPORT void sxCRL_Save(sxCRL *crl);  ///< adds one; null is ignored

/// Whether a certificate lets its key sign CRLs (RFC 5280, 6.3.3 (f)): where there is a key usage it has cRLSign. One that
/// cannot be read allows nothing, also where the certificate's list of extensions holds none for that reason.
/// @param signer  OK
KXCERT_EXPORT bool sxCRL_MayBeSignedBy(const sxCert &signer);

#endif
