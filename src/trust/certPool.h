/// @file
/// CertPool: certificates of unknown worth, found by the name of whom they may have issued.
#ifndef KXCERT_SRC_TRUST_CERTPOOL_H_
#define KXCERT_SRC_TRUST_CERTPOOL_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "trust/sharedRef.h"

class sxCerts;
class sxExtKeyID;

/// The order of the answers depends on the certificates' octets, not on the order in which they came.
class CertPool {
 public:
  /// @param certs  borrowed; of its certificates a reference each is kept; what is not OK is passed over; may be null
  /// @param now    seconds since 1970-01-01 00:00 UTC
  CertPool(const sxCerts *certs, int64_t now);

  /// Certificates with the issuer's name, each once: those with the key identifier that is wanted, then
  /// the others; of both the valid ones first. The rest of a crowd of more than @p maxCount is left out; a
  /// crowd costs no more than that, unless its names only have equal hashes.
  std::vector<sxCert *> IssuersOf(const sxCert &cert, size_t maxCount) const;

 private:
  struct Entry {
    uint64_t nameHash;
    size_t keyIdHash;
    bool isOutOfDate;
    sxCert *cert;
  };
  std::vector<SharedRef<sxCert>> m_held;
  std::vector<Entry> m_byDate;   // sorted by name, date and octets, without copies
  std::vector<Entry> m_byKeyId;  // the same, by name, key identifier, date and octets
};

/// Tells nearly all key identifiers apart; two that are equal by accident only spoil an order. 0: none.
size_t sxKeyIdHash(const sxExtKeyID *keyId);
/// At the time, without any grace.
bool sxIsOutOfDate(const sxCert &cert, int64_t now);
std::string_view sxOctetsOf(const sxCert &cert);

#endif
