/// @file
/// Signed objects: what certificates and CRLs share; and sets of them.
///
/// Shared and counted (sxPKobj.h). A built object is only read, from any thread that holds a
/// reference.
#ifndef KXCERT_CERT_SXSIGNED_H_
#define KXCERT_CERT_SXSIGNED_H_

#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"
#include "kxcert/foundation/sxString.h"

class sxAsnOid;
class sxAsnType;
class sxPubKey;
class sxSigned_imp;
class SxStream;

class KXCERT_EXPORT sxSigned : public sxPKobj {
 public:
  explicit sxSigned(sxSigned_imp *imp);  ///< adopts

  int OK() const;  ///< 1, or 0 when Error() says why not
  const sxString &Error() const;
  void SetError(const sxString &text);        ///< clears OK
  const sxAsnOid *UnhandledCritExt() const;   ///< lent; the first one, null when there is none
  void SetUnhandledExt(const sxAsnOid *oid);  ///< a copy; null clears
  const unsigned char *GetBuf() const;        ///< the object's DER, lent
  unsigned int BufLen() const;

  /// Verifies the signature over the object's own octets. @return the key's result code: 0 is valid
  int VerifySig(sxPubKey *key) const;
  /// Decodes the object's octets, DER or PEM, as that type. @return 0; or -1 with Error() set, and the object,
  /// which others may share, is not OK any more: ask only for the type that it is
  int DecodeBuf(sxAsnType &value);

  /// What it is: a certificate or CRL in full, of others the length; "Error: " and why when it is not OK.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

 protected:
  sxSigned_imp *Imp() const;
};

KXCERT_EXPORT void sxSaveSigned(sxSigned *obj);  ///< null is ignored
KXCERT_EXPORT void sxFreeSigned(sxSigned *obj);  ///< null is ignored

#endif
