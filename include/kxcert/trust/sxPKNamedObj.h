/// @file
/// Named objects: what root CAs and certified keys have in common.
///
/// Shared and counted (sxPKobj.h). Reading an object that no one changes meanwhile may be done from
/// many threads; the setters of the derived kinds are for one thread alone.
#ifndef KXCERT_TRUST_SXPKNAMEDOBJ_H_
#define KXCERT_TRUST_SXPKNAMEDOBJ_H_

#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"

class sxDN;
class sxPKNamedObj_imp;
class SxStream;

class KXCERT_EXPORT sxPKNamedObj : public sxPKobj {
 public:
  explicit sxPKNamedObj(sxPKNamedObj_imp *imp);  ///< adopts

  /// The display name; when that is null or "", the text of DN(); when there is none either, the
  /// display name as it is. Lent.
  const char *Name() const;
  const sxDN *DN() const;           ///< lent; null when the object has no certificate
  const unsigned char *Id() const;  ///< the creator's opaque identifier, lent, or null
  int IdLen() const;                ///< octets; 0 without an identifier
  int Purpose() const;              ///< as the creator gave it
  /// True when both have that many octets and they are equal. Nothing equals an absent identifier.
  bool HasId(const unsigned char *id, int idLen) const;
  /// Name and identifier, then what is the object's own: a root's certificate and settings, a certified
  /// key's chain, root and key.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< name and identifier to the debug log

 private:
  sxPKNamedObj_imp *NamedImp() const;
};

#endif
