/// @file
/// Which object identifiers belong to which digests and signatures.
///
/// Constant tables, read from any thread. Digest kinds are those of sx_md_type.
#ifndef KXCERT_KEYS_ALGORITHMS_H_
#define KXCERT_KEYS_ALGORITHMS_H_

#include "kxcert/asn1/oids.h"
#include "kxcert/platform/digest.h"

class sxASN_AlgorithmIdentifier;

/// The digest algorithm, lent; null for a kind without one.
KXCERT_EXPORT const sxAsnOid *HashOID_By_MD(int mdType);

/// The digest kind of a digest algorithm; sx_md_unknown (3) when it is none of HashOID_By_MD's.
KXCERT_EXPORT int MdType_By_MdOID(const sxAsnOid &oid);

/// The signature algorithm, lent; null when there is none. SHA-1 with RSA is always 1.2.840.113549.1.1.5.
/// @param ecdsa  0: RSA, else ECDSA
KXCERT_EXPORT const sxAsnOid *SignOID_By_MD(int mdType, int ecdsa);

/// The digest kind of a signature algorithm; sx_md_unknown (3) when it is none of the table's. Both
/// identifiers of SHA-1 with RSA are known.
KXCERT_EXPORT int MdType_By_SignOID(const sxAsnOid &oid);

/// The kind of key that makes such signatures: sxPK_RSA (0), sxPK_DSA (2) or sxPK_ECDSA (3). Also
/// takes the identifiers of the keys themselves. @return -1 for any other
KXCERT_EXPORT int AlgType_By_SignOID(const sxAsnOid &oid);

/// A new identifier for delete.
/// @param params  copied; null makes the parameters an ASN.1 NULL, not absent
KXCERT_EXPORT sxASN_AlgorithmIdentifier *sx_New_AlgID(const sxAsnOid &oid, sxAsnType *params);

#endif
