/// @file
/// Implementation of signed objects.
#ifndef KXCERT_SRC_CERT_SXSIGNED_IMP_H_
#define KXCERT_SRC_CERT_SXSIGNED_IMP_H_

#include <array>
#include <cstdint>
#include <memory>

#include "asn1/der.h"
#include "foundation/publishOnce.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxSigned.h"
#include "kxcert/foundation/sxPKobj_imp.h"
#include "kxcert/foundation/sxString.h"

class sxSigned_imp : public sxPKobj_imp {
 public:
  sxSigned_imp(const unsigned char *buf, unsigned int len);  ///< copies; "Empty data" for none
  /// Octets that lie behind others in what is adopted; "Empty data" for none.
  sxSigned_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len);

  int OK() const { return m_ok; }
  const sxString &Error() const { return m_error; }
  void SetError(const sxString &text);
  const sxAsnOid *UnhandledCritExt() const { return m_unhandledExt.get(); }
  void SetUnhandledExt(const sxAsnOid *oid);
  const unsigned char *GetBuf() const { return m_der.data(); }
  unsigned int BufLen() const { return static_cast<unsigned int>(m_der.size()); }

  virtual void Sprint(SxStream *out, int indent) const;  ///< each kind its own

  int VerifySig(sxPubKey *key) const;
  int DecodeBuf(sxAsnType &value);

 protected:
  /// Lends octets that outlive the object.
  explicit sxSigned_imp(sxOctetView lent);

  /// PEM to DER: strict, of certificates and CRLs. @return 0, or -1 (one line logged)
  virtual int ConvertBuf();
  void Adopt(std::unique_ptr<unsigned char[]> octets, int len);  ///< in the place of those that are there

  /// Calls @p decode until it accepts the octets: as they are, then converted from PEM.
  /// @return 0, or -1 with the error set
  template <class Decode>
  int DecodeWith(Decode decode) {
    if (!m_ok) return -1;
    if (decode()) return 0;
    if (ConvertBuf() != 0) {
      SetError("Error decoding buffer after trying both DER and Base64 formats");
      return -1;
    }
    if (decode()) return 0;
    SetError("Error Decoding DER buffer after Base64 conversion.");
    return -1;
  }

 private:
  /// What a signature is made of. Octets lie in the object, or in the parts that had to be decoded.
  struct Parts {
    sxOctetView toBeSigned;  // the first element as received
    sxAsnOid algorithm;
    sxOctetView algorithmOctets;  // of the whole identifier, parameters included
    sxOctetView signature;
  };
  using Digest = std::array<unsigned char, 32>;

  void Lend(sxOctetView octets);
  bool ReadParts(Parts *parts) const;
  int VerifyParts(const Parts &parts, sxPubKey *key) const;
  const Digest *SignedDigest(const Parts &parts) const;  // lent; null when it cannot be computed

  int32_t m_ok = 1;
  sxString m_error;
  std::unique_ptr<sxAsnOid> m_unhandledExt;
  std::unique_ptr<unsigned char[]> m_owned;  // null when the octets are lent
  sxOctetView m_der;
  mutable PublishOnce<Digest> m_signedDigest;  // SHA-256 of the signed octets
};

#endif
