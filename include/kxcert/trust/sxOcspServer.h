/// @file
/// OCSP responders that a root CA names. Shared and counted; only read once built.
#ifndef KXCERT_TRUST_SXOCSPSERVER_H_
#define KXCERT_TRUST_SXOCSPSERVER_H_

#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"
#include "kxcert/foundation/sxString.h"

class sxCert;
class sxOcspServer_imp;
class sxset;
class SxStream;

class KXCERT_EXPORT sxOcspServer : public sxPKobj {
 public:
  sxOcspServer(const sxString &name, const sxString &url, sxCert *cert);  ///< takes a reference

  const sxString &Name() const;
  const sxString &Url() const;  ///< no text when there is none
  sxCert *Cert() const;         ///< the responder's certificate, lent, or null

  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

  /// Reads (name :url (text) :certificate (Base64 of the DER)). Both members may be absent.
  /// @return for sxFreePKobj; null when @p config is null or its certificate is not one
  static sxOcspServer *CreateObject(const sxset *config);

 private:
  sxOcspServer_imp *Imp() const;
};

#endif
