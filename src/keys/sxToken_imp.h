// Tokens: what each kind derives from, which is the one in memory as well.
#ifndef KXCERT_SRC_KEYS_SXTOKEN_IMP_H_
#define KXCERT_SRC_KEYS_SXTOKEN_IMP_H_

#include <map>
#include <string>

#include "asn1/der.h"
#include "keyRef.h"
#include "kxcert/foundation/sxPKobj_imp.h"

class SxStream;

class sxToken_imp : public sxPKobj_imp {
 public:
  explicit sxToken_imp(const char *label) : m_label(label == nullptr ? "" : label) {}

  const char *Label() const { return m_label.c_str(); }
  // What sxToken.h says of them; kinds whose keys are elsewhere override all four.
  virtual int NumKeys() const { return static_cast<int>(m_keys.size()); }
  virtual sxPubKey *FindKey(sxOctetView id) const;
  virtual int AddKey(sxOctetView id, sxPubKey *key);
  virtual int RemoveKey(sxOctetView id);
  virtual void Sprint(SxStream *out, int indent) const;

 private:
  const std::string m_label;
  std::map<std::string, PubKeyRef> m_keys;  // by the octets of the identifier
};

#endif
