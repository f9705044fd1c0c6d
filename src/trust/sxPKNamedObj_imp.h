/// @file
/// Base of the implementations of named objects.
#ifndef KXCERT_SRC_TRUST_SXPKNAMEDOBJ_IMP_H_
#define KXCERT_SRC_TRUST_SXPKNAMEDOBJ_IMP_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/foundation/sxPKobj_imp.h"

class sxDN;
class SxStream;

class sxPKNamedObj_imp : public sxPKobj_imp {
 public:
  sxPKNamedObj_imp(const char *name, int purpose, const unsigned char *id, int idLen);
  ~sxPKNamedObj_imp() override;

  virtual const sxDN *DN() const = 0;
  const char *Name() const;
  const unsigned char *Id() const { return m_id.empty() ? nullptr : m_id.data(); }
  int IdLen() const { return static_cast<int>(m_id.size()); }
  int Purpose() const { return m_purpose; }
  bool HasId(const unsigned char *id, int idLen) const;
  void Herror() const;
  /// Overridden by each kind, which calls this one first.
  virtual void Sprint(SxStream *out, int indent) const;

 private:
  const char *ShownName() const;  // never null
  std::string HexId() const;

  std::unique_ptr<char[]> m_name;  // null, or ends in NUL
  const std::vector<unsigned char> m_id;
  const int m_purpose;
};

#endif
