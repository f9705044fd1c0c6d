// CRLs that a caller brought along, on their way to whoever checks revocation.
#ifndef KXCERT_SRC_TRUST_PUSHCRLS_H_
#define KXCERT_SRC_TRUST_PUSHCRLS_H_

class sxCRLs;
class sxRootCA;

/// To the function of sxCertValidate_SetPushCRLsFunc, if there is one.
void sxTrust_PushCRLs(sxCRLs &crls, const sxRootCA &root);

#endif
