/// @file
/// What the value of a known extension has to be: of its type, by the rules of RFC 5280, 4.2, and in DER where only who
/// knows the type sees that. One reader for what is made and for what is judged.
#ifndef KXCERT_SRC_CERT_EXTENSIONFORMS_H_
#define KXCERT_SRC_CERT_EXTENSIONFORMS_H_

#include "asn1/der.h"

struct sxFormFault {
  const char *reason = nullptr;  ///< static; null: there is nothing wrong
  bool isOfDer = false;          ///< it says what it may, in octets that it must not have (X.690, 11.2.2 and 11.5)
};

// Each of one type. The octets are an extnValue's, one element of strict DER (strictDer.h); nothing is allocated that
// does not grow with a list.

sxFormFault sxKeyUsageFault(sxOctetView value);
sxFormFault sxBasicConstraintsFault(sxOctetView value);
sxFormFault sxSubjectKeyIdFault(sxOctetView value);
sxFormFault sxAuthorityKeyIdFault(sxOctetView value);
sxFormFault sxAltNamesFault(sxOctetView value);  ///< of subjects and issuers
sxFormFault sxNameConstraintsFault(sxOctetView value);
sxFormFault sxPoliciesFault(sxOctetView value);
sxFormFault sxPolicyMappingsFault(sxOctetView value);
sxFormFault sxPolicyConstraintsFault(sxOctetView value);
sxFormFault sxInhibitAnyPolicyFault(sxOctetView value);
sxFormFault sxExtKeyUsageFault(sxOctetView value);
sxFormFault sxDistPointsFault(sxOctetView value);  ///< of CRLs and of deltas
sxFormFault sxInfoAccessFault(sxOctetView value);  ///< of authorities and subjects
sxFormFault sxSubjectDirectoryFault(sxOctetView value);
sxFormFault sxTlsFeatureFault(sxOctetView value);
sxFormFault sxOcspNoCheckFault(sxOctetView value);

#endif
