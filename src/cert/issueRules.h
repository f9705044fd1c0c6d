/// @file
/// What RFC 5280, 4 wants of the parts of a certificate that is made.
#ifndef KXCERT_SRC_CERT_ISSUERULES_H_
#define KXCERT_SRC_CERT_ISSUERULES_H_

#include <vector>

#include "asn1/der.h"
#include "kxcert/cert/issueCert.h"

class sxASN_Extensions;

/// An extension that is to be written. Octets are lent.
struct sxExtToWrite {
  sxOctetView oid;  ///< content octets
  bool critical = false;
  sxOctetView value;  ///< octets of extnValue
};

/// Without RDNs. @param name  whole element
inline bool sxIsEmptyName(sxOctetView name) { return name.size() <= 2; }

/// A name that attributes of known types fit: their string types and lengths (RFC 5280, A.1).
/// @param name  whole element
bool sxCheckName(sxOctetView name);

/// Whether a name is one that everybody reads, although it need not be one that is made today: no RDN is empty, values
/// are strings that are not. For names that are copied.
/// @param name  whole element
bool sxIsNameForm(sxOctetView name);

/// Whether a value has a text to compare it by (dnValue.h), and is one of its type. Others are read, and not issued.
bool sxIsComparedValue(const sxDerElement &value);
/// @param name  whole element
bool sxIsComparedName(sxOctetView name);

/// sxIsNameForm of a single RDN. @param content  of its SET
bool sxIsRdnContent(sxOctetView content);

/// The extensions of a tree (null: none), each with one strict DER value, none twice. basicConstraints that spell out
/// the default are replaced by what DER has. Used for requests, too.
sxIssueStatus sxTakeExtensions(const sxASN_Extensions *tree, std::vector<sxExtToWrite> *out);

/// What the extensions of a certificate say about its subject.
struct sxSubjectFacts {
  bool isCA = false;
  bool signsCrls = false;
  bool hasAltName = false;
};
/// Sets the criticality that RFC 5280 fixes, and checks those values whose form matters.
/// @param hasSubject  an alternative name is critical when there is none
sxIssueStatus sxCheckExtensions(bool hasSubject, std::vector<sxExtToWrite> *extensions, sxSubjectFacts *facts);

/// What an issuer's certificate says of what it may issue.
struct sxIssuerFacts {
  bool isCA = false;
  bool mayNotSign = false;  ///< a key usage without keyCertSign
  bool isLast = false;      ///< no CA may be below it
  sxOctetView keyId;        ///< its subject key identifier, lent; empty when it has none
};
/// Reads all of them, whatever the certificate's own list of extensions understood.
/// @param extensions  content of the SEQUENCE; empty when there are none
/// @return sxIssue_ok: it may sign certificates
sxIssueStatus sxReadIssuer(sxOctetView extensions, sxIssuerFacts *facts);

#endif
