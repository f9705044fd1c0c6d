// What is said to, and believed of, the component that checks revocation (sxCertValidate_SetRevocationFunc).
#ifndef KXCERT_SRC_TRUST_REVOCATIONHOOK_H_
#define KXCERT_SRC_TRUST_REVOCATIONHOOK_H_

#include "kxcert/trust/sxValidation.h"

/// CRLs that a caller brought along, to the function of sxCertValidate_SetPushCRLsFunc, if there is one.
void sxTrust_PushCRLs(sxCRLs &crls, const sxRootCA &root);

/// An answer as far as it can be true: another code than those of revocation is unknownStatus, and a level that is
/// none of the chain's is the end entity's.
sxValidationRC sxTrust_RevocationAnswer(sxValidationRC rc, const sxCerts &chain, int &level);

#endif
