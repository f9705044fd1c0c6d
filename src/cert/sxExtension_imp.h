/// @file
/// Base of the implementations of extensions, and the functions that convert them.
#ifndef KXCERT_SRC_CERT_SXEXTENSION_IMP_H_
#define KXCERT_SRC_CERT_SXEXTENSION_IMP_H_

#include <cstdio>
#include <string>
#include <vector>

#include "asn1/der.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxExtensions.h"
#include "pooled.h"

/// The order of the first five slots is fixed.
class sxExtension_imp : public sxPooled {
 public:
  virtual ~sxExtension_imp() = default;
  virtual const char *ExtName() const = 0;
  virtual void Herror() const = 0;                       // has a body: Sprint's text, if gated in
  virtual void Fprint(FILE *out, int indent) const = 0;  // has a body: Sprint's text
  virtual void Sprint(SxStream *out, int indent) const = 0;

  virtual sxExtension_imp *Clone() const = 0;  ///< a deep copy, for delete
  virtual sxExtension *NewHandle() = 0;        ///< of its kind, for delete; adopts this

 protected:
  sxExtension_imp() = default;
  sxExtension_imp(const sxExtension_imp &) : sxPooled() {}
  sxExtension_imp &operator=(const sxExtension_imp &) = delete;
};

bool sxExtensionIs(const sxExtension &ext, const char *extName);

/// The content of an extnValue that is one plain SEQUENCE; false sends the caller to the codec.
bool sxPlainSequence(const sxASN_Extension &ext, sxDerReader *content);

/// A new extension around @p value, for delete; null when it cannot be encoded.
sxASN_Extension *sxNewExtension(sxAsnType &value, const sxAsnOid &oid, int critical);

/// A number of levels or certificates as far as an int holds it; more than that limit nothing.
/// @return false for a negative one (all of them are 0..MAX), which must not read as "no limit"
bool sxReadCount(const sxAsnInt &number, int *count);
std::string sxCountText(int count);  ///< in decimal; of that limit "2147483647 or more"

/// Whether one identifier stands in a list twice, in n log n steps.
bool sxHasTwice(std::vector<sxOctetView> oids);

/// Dotted decimal, cut with a "?" when it is longer than 251 characters.
std::string sxOidText(const sxAsnOid &oid);
std::string sxOidWords(const sxAsnOid &oid);  ///< "1.3.101.112 (Ed25519)", when it has a name

// One pair for each kind; the tables list them.
sxExtension *sxParseBasicConstraint(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseKeyUsage(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseExtKeyUsage(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseSubjectAltName(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseDistPoints(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseKeyIdentifier(const sxASN_Extension &ext, int &understood);  // subject's, authority's
sxExtension *sxParseFreshestCRL(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseAuthorityInfoAccess(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseDeviceData(const sxASN_Extension &ext, int &understood);
sxExtension *sxParseIssuingDP(const sxASN_Extension &ext, int &understood);

sxASN_Extension *sxComposeBasicConstraint(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeKeyUsage(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeExtKeyUsage(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeSubjectAltName(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeDistPoints(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeFreshestCRL(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeSubjectKeyId(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeAuthorityKeyId(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeAuthorityInfoAccess(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeDeviceData(const sxExtension &ext, int critical);
sxASN_Extension *sxComposeIssuingDP(const sxExtension &ext, int critical);

/// What CRLs keep of their extensions, and use: the issuing distribution point, the issuer's key identifier, where
/// deltas are.
const sxExtParser *sxKeptCRLExtParserTable();

/// Whether a value is of its form (extensionForms.h), and the composers of Get_IssuedExtComposerTable would make it; true
/// for types that are not known. Key usage and basic constraints are issueRules.h's.
/// @param type   content octets
/// @param value  octets of extnValue
bool sxMayBeIssued(sxOctetView type, sxOctetView value);

/// What templates are composed with: Get_ExtComposerTable, and behind it Get_IssuedExtComposerTable.
const sxExtComposer *sxTemplateExtComposerTable();

#endif
