/// @file
/// What a template comes to, as a certificate or request holds it, whatever form it came in.
#ifndef KXCERT_SRC_CERT_TEMPLATEPARTS_H_
#define KXCERT_SRC_CERT_TEMPLATEPARTS_H_

#include <array>
#include <optional>

#include "derForward.h"
#include "issueRules.h"
#include "kxcert/platform/digest.h"

class sxASN_CertTemplate;
class sxASN_RDNSequence;
class sxPubKey;

/// A key identifier (RFC 5280, 4.2.1.2 (1); RFC 7093, 2 (1)): octets of a digest, as many whichever it is.
using sxKeyId = std::array<unsigned char, 20>;

/// DER of a SubjectPublicKeyInfo, as RFC 3279, 2.3 and RFC 5480 have it.
struct sxKeyInfo {
  sxDerOctets der;   ///< strict; empty: the key cannot be used
  sxOctetView bits;  ///< octets of the bit string: what key identifiers are made from

  sxKeyInfo() = default;
  explicit sxKeyInfo(sxPubKey *key);  ///< null: empty
  /// @param md  SHA-1 or SHA-256. @return none without the digest
  std::optional<sxKeyId> Id(sx_md_type md) const;
  sxKeyInfo(const sxKeyInfo &) = delete;
  sxKeyInfo &operator=(const sxKeyInfo &) = delete;
};

/// The extensions of a certificate but for the authority key identifier, which is the issuer's affair.
struct sxWantedExtensions {
  sxIssueStatus status = sxIssue_ok;  ///< all else is there when it is sxIssue_ok
  sxSubjectFacts facts;
  sxDerOctets octets;     ///< one behind the other
  sxDerOctets subjectId;  ///< the subject key identifier among them; empty: there is none
  bool hasAuthority = false;
  size_t authorityAt = 0;  ///< where in the octets it was asked for
};

struct sxWantedValidity {
  sxIssueStatus status = sxIssue_ok;
  sxDerOctets der;  ///< whole element
};

/// Worked out once, for whoever makes several of the kind. All octets are strict DER.
struct sxTemplateParts {
  sxTemplateParts(const sxASN_CertTemplate &tree, sxPubKey *key);

  const sxDerOctets subject;  ///< whole element, the empty one when absent; without octets when it cannot be encoded
  const sxKeyInfo key;
  const std::optional<sxKeyId> keyId;  ///< with SHA-1
  const bool hasFitSubject;            ///< sxCheckName
  const bool hasFitExtensions;         ///< each as sxMayBeIssued wants it
  const sxWantedExtensions extensions;
  const sxWantedValidity validity;

  bool HasSubject() const { return !sxIsEmptyName(subject); }
};

/// Whether both are usable and have the same public part.
bool sxIsSameKey(sxPubKey *a, sxPubKey *b);

/// The whole element; null: the empty name.
sxDerOctets sxNameOctets(const sxASN_RDNSequence *name);

#endif
