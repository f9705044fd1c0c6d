/// @file
/// Octets that wait for their signature: what CRLs, certificates and requests share when they are made.
///
///   Signed ::= SEQUENCE { toBeSigned SEQUENCE, signatureAlgorithm AlgorithmIdentifier, signature BIT STRING }
#ifndef KXCERT_SRC_CERT_TOSIGN_H_
#define KXCERT_SRC_CERT_TOSIGN_H_

#include <memory>

#include "derForward.h"
#include "kxcert/cert/sxSigned.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/digest.h"
#include "platform/owned.h"

class sxToSign {
 public:
  /// MD5 has a signature algorithm, but none is made with it.
  /// @return null (one line logged): the key makes no such signature
  static std::unique_ptr<sxToSign> New(sxPubKey *key, sx_md_type md);

  sxPubKey *Key() const { return m_key.get(); }
  sx_md_type Md() const { return m_md; }
  sxOctetView Algorithm() const { return m_algorithm; }  ///< whole AlgorithmIdentifier
  /// Makes room for toBeSigned and all around it, and writes the header of toBeSigned. Once.
  /// @return where its content goes; null when all of it would be longer than 2 GiB
  unsigned char *Begin(size_t contentLen);
  sxOctetView Octets() const { return {m_area.get() + kHeaderRoom, m_area == nullptr ? 0 : m_len}; }
  /// Whether the key is this process's, so that any thread may use it. Others are kept elsewhere: what they answer is not
  /// believed unseen.
  bool MayLeaveThread() const;
  /// @param publicKey  what @p made must verify with; null: the key's public part
  /// @param asked      by the caller: this process's own signatures are verified, too
  /// @return false: it does not verify (logged)
  bool Accepts(const sxSigned &made, sxPubKey *publicKey, bool asked) const;

  struct Signed {
    std::unique_ptr<unsigned char[]> area;  ///< null: not signed (one line logged)
    size_t offset = 0, len = 0;             ///< of the outer SEQUENCE in it
  };
  /// Signs in place, once, on any thread.
  Signed Sign();

 private:
  static constexpr size_t kHeaderRoom = 6;  // identifier and five octets of length

  sxToSign(sxPubKey *key, sx_md_type md, sxDerOctets algorithm);
  sxDerOctets SignatureOctets() const;

  const sxOwned<sxPubKey, sxFreePubKey> m_key;  // one reference of its own
  const sx_md_type m_md;
  const sxDerOctets m_algorithm;
  std::unique_ptr<unsigned char[]> m_area;
  size_t m_areaLen = 0, m_len = 0;  // toBeSigned lies behind the room for the outer header
};

#endif
