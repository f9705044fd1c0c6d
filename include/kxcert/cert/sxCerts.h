/// @file
/// Sets of certificates: slots in order, some of which may be empty.
///
/// A set adopts the reference that is handed to it and drops it when the slot is cleared or replaced,
/// or the set goes. No locking.
#ifndef KXCERT_CERT_SXCERTS_H_
#define KXCERT_CERT_SXCERTS_H_

#include <cstdio>
#include <vector>

#include "kxcert/cert/sxCert.h"

/// The slots; kind-blind.
class KXCERT_EXPORT sxSignedObjects_imp {
 public:
  explicit sxSignedObjects_imp(int capacity) : m_slots(capacity > 0 ? static_cast<size_t>(capacity) : 0) {}
  sxSignedObjects_imp(const sxSignedObjects_imp &other);  ///< takes references
  sxSignedObjects_imp &operator=(const sxSignedObjects_imp &) = delete;
  ~sxSignedObjects_imp();

  int Slots() const { return static_cast<int>(m_slots.size()); }
  int Count() const { return m_count; }  ///< slots that are not empty
  int Top() const { return m_top; }      ///< highest slot that is not empty, or -1
  sxSigned *Get(int i) const;            ///< lent; null for an empty or no slot
  void Add(sxSigned *obj);               ///< at Top() + 1; adopts
  int Set(int i, sxSigned *obj);         ///< adopts, 0; or -1 out of range, nothing adopted
  int Del(int i);                        ///< empties the slot; later ones do not move; 0 or -1
  void ClearAll();
  void Keep(sxPKobj *obj);  ///< takes a reference in place of the one it had

 private:
  std::vector<sxSigned *> m_slots;
  sxPKobj *m_kept = nullptr;
  int m_count = 0;
  int m_top = -1;
};

class KXCERT_EXPORT sxCerts {
 public:
  explicit sxCerts(int capacity = 0);
  sxCerts(const sxCerts &other);  ///< the same certificates, one more reference each
  sxCerts &operator=(const sxCerts &other);
  ~sxCerts();

  int Slots() const { return m_imp->Slots(); }
  int Count() const { return m_imp->Count(); }  ///< slots that are not empty
  int Top() const { return m_imp->Top(); }
  sxCert *Get(int i) const { return static_cast<sxCert *>(m_imp->Get(i)); }
  void Add(sxCert *cert) { m_imp->Add(cert); }
  int Set(int i, sxCert *cert) { return m_imp->Set(i, cert); }
  int Del(int i) { return m_imp->Del(i); }
  void ClearAll() { m_imp->ClearAll(); }
  void Swap(sxCerts &other) noexcept;            ///< exchanges the members
  sxCert *GetBySubjectDN(const sxDN &dn) const;  ///< lent; the first one, or null
  /// Keeps @p obj, say the root that a chain ends in, alive with the set and its copies, until it is
  /// cleared or keeps another. Null: nothing.
  void Keep(sxPKobj *obj) { m_imp->Keep(obj); }

  /// Unlike other lists an empty one says that it is: "0 certificates".
  void Sprint(SxStream *out, const char *title, sxCertHerrorDetails details, int indent) const;
  void Fprint(FILE *out, const char *title, sxCertHerrorDetails details, int indent) const;
  void Herror(const char *title, sxCertHerrorDetails details) const;

 private:
  sxSignedObjects_imp *m_imp;  // owned, never null
};

/// DER of the certificate sequence, into the caller's area. @return octets, or -1
KXCERT_EXPORT int sxCerts_2buf(sxCerts *certs, unsigned char *out, int outLen);
/// @return a new set for sxCerts_Free, or null; certificates above 4096 octets are refused
KXCERT_EXPORT sxCerts *sxCerts_buf2Certs(const unsigned char *buf, int len);
KXCERT_EXPORT void sxCerts_Free(sxCerts *certs);
KXCERT_EXPORT void sxCerts_ClearAll(sxCerts *certs);

#endif
