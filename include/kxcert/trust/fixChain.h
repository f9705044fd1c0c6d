/// @file
/// Chain repair: ties a chain that a peer sent to a root CA of the holder.
///
/// One thread uses one chain; holders may be shared as sxKeyHolder.h says. The callback is process-wide.
#ifndef KXCERT_TRUST_FIXCHAIN_H_
#define KXCERT_TRUST_FIXCHAIN_H_

#include "kxcert/platform/export.h"

class sxCerts;
class sxKeyHolder;
class sxRootCA;

/// The verdict is about chain->Get(0) as it stands afterwards, alone; see sxJudgeChain for one about a
/// certificate that the caller names.
///
/// Repairs a chain in path order, end entity first: cuts it at a trusted root, ends it in that root's
/// certificate, or extends it from the chain of one of the holder's own keys. When that fails, asks
/// the sub-CA callback, sorts and tries once more. No signature below the root's is verified here.
/// A failed repair leaves the chain partly changed: it is not trusted.
/// @return the root that the chain now ends in, lent, or null; the chain keeps it
KXCERT_EXPORT sxRootCA *sxCert_FixChain(sxCerts *chain, sxKeyHolder &holder);
KXCERT_EXPORT sxRootCA *sxCert_FixChainC(sxCerts *chain, sxKeyHolder *holder);  ///< null also for null

/// Adds missing sub-CA certificates to a chain; negative: it could not.
using sxSubCAFunc = int (*)(sxCerts &chain);
KXCERT_EXPORT void sxCert_SetSubCAFunc(sxSubCAFunc func);  ///< null: none

/// Whether a peer's user name is to be taken from its certificate. Sorts and repairs the chain: the
/// names are those of chain->Get(0) afterwards, which need not be what the peer sent first, and no
/// signature below the root's is verified. Judge that certificate before the names are used.
/// @param[out] cn  its common name, cnLen bytes with the NUL, cut when too long
/// @param[out] dn  its subject's text, dnLen bytes with the NUL, cut when too long
/// @retval  1  both are set
/// @retval  0  the chain's root does not say so
/// @retval -1  bad arguments, a chain that cannot be sorted or repaired, no subject, no common name or
///             one that holds a NUL
KXCERT_EXPORT int sxCert_UseCN2FetchUser(sxCerts *chain, sxKeyHolder *holder, char *cn, int cnLen, char *dn, int dnLen);

#endif
