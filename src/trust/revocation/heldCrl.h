/// @file
/// HeldCrl: a CRL, and whose key verified it. CrlSet: what stood at one place at one time.
#ifndef KXCERT_SRC_TRUST_REVOCATION_HELDCRL_H_
#define KXCERT_SRC_TRUST_REVOCATION_HELDCRL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "asn1/der.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/fetcher.h"
#include "kxcert/trust/revocation.h"

class sxCert;

/// Read by any thread without a lock. To verify a large CRL takes as long as to read all of it, so that the result is
/// remembered with the object.
class HeldCrl {
 public:
  /// @param crl  adopted: nobody else counts it
  explicit HeldCrl(sxCRL *crl);
  ~HeldCrl();
  HeldCrl(const HeldCrl &) = delete;
  HeldCrl &operator=(const HeldCrl &) = delete;

  const sxCRL &Crl() const { return *m_crl; }
  size_t NumOctets() const;  ///< about what it takes of memory

  enum class Known { kNotAsked, kYes, kNo };
  Known IsFrom(const sxCert &signer) const;
  /// Whether the certificate has the CRL issuer's name, the key usage that CRLs want, where it has any, and the key
  /// (RFC 5280, 6.3.3 (f) and (g)). Asks the key unless that was done before.
  bool Verify(const sxCert &signer) const;
  /// The octets of a certificate whose key verified it, lent; empty when there was none yet.
  sxOctetView Signer() const;
  sxOctetView SignerKey() const;  ///< its key's hash (sxPubKey::PublicKeyHash); likewise

 private:
  struct Asked {
    std::vector<unsigned char> signer;  // its octets: the certificate itself is counted elsewhere
    std::vector<unsigned char> key;     // its hash
    bool verified;
    const Asked *next;
  };
  const Asked *Find(const sxCert &signer) const;
  const Asked *Verified() const;

  const std::shared_ptr<const sxCRL> m_crl;
  mutable std::atomic<const Asked *> m_asked{nullptr};  // grows at its head, and only there
};

struct CrlSet {
  std::vector<std::shared_ptr<const HeldCrl>> crls;  ///< one, but for directories that hold several
  sxStatusOrigin origin = sxStatusOrigin::kNone;     ///< where it came from into memory
  sxGeneralName place;                               ///< by which it is found, on disk as well
  std::string rootName;
  int crlTo = sxCrlTo_memoryAndDisk;
  sxStatusSource kind = sxStatusSource::kCrl;
  kxFetchVersion version;
  int64_t obtainedSec = 0;  ///< on the clock
};

#endif
