/// @file
/// Parts of a template as a certificate or request holds them, whatever form they came in.
#ifndef KXCERT_SRC_CERT_TEMPLATEPARTS_H_
#define KXCERT_SRC_CERT_TEMPLATEPARTS_H_

#include "derForward.h"

class sxASN_CertTemplate;
class sxASN_RDNSequence;
class sxPubKey;

/// DER of a SubjectPublicKeyInfo, as RFC 3279, 2.3 and RFC 5480 have it.
struct sxKeyInfo {
  sxDerOctets der;   ///< empty: the key cannot be used
  sxOctetView bits;  ///< octets of the bit string: what key identifiers are made from

  sxKeyInfo() = default;
  explicit sxKeyInfo(sxPubKey *key);  ///< null: empty
  sxKeyInfo(const sxKeyInfo &) = delete;
  sxKeyInfo &operator=(const sxKeyInfo &) = delete;
};

struct sxTemplateParts {
  sxTemplateParts(const sxASN_CertTemplate &tree, sxPubKey *key);

  const sxDerOctets subject;  ///< whole element, the empty one when absent; without octets when it cannot be encoded
  const sxKeyInfo key;
  // Asked once, for whoever makes several of the kind.
  const bool hasFitSubject;     ///< sxCheckName
  const bool hasFitExtensions;  ///< each as sxMayBeIssued wants it
};

/// Whether both are usable and have the same public part.
bool sxIsSameKey(sxPubKey *a, sxPubKey *b);

/// The whole element; null: the empty name.
sxDerOctets sxNameOctets(const sxASN_RDNSequence *name);

#endif
