/// @file
/// RevocationPath: what one question is about.
#ifndef KXCERT_SRC_TRUST_REVOCATION_REVOCATIONPATH_H_
#define KXCERT_SRC_TRUST_REVOCATION_REVOCATIONPATH_H_

#include <memory>
#include <optional>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/revocation.h"
#include "kxcert/trust/sxRootCA.h"
#include "platform/guarded.h"

/// Borrows what the question borrows, and does not change. Any thread.
class RevocationPath {
 public:
  explicit RevocationPath(const sxRevocationQuestion &question);
  RevocationPath(const sxRootCA &root, const sxCerts &chain, const ValidateParams &params);
  /// The same for work that outlives the call that asked: with references and copies of its own.
  static std::shared_ptr<const RevocationPath> Hold(const sxRevocationQuestion &question);

  /// The highest level that is looked at: that of the root's own certificate is not. -1: none.
  int Top() const { return m_top; }
  const sxCert &Cert(int level) const { return *m_chain.Get(level); }
  /// Whose key verified the certificate. Null: nobody's here.
  const sxCert *IssuerOf(int level) const;
  struct Signer {
    const sxCert *cert;
    int level;  ///< of a certificate of the same issuer; kOfPath: its own status is asked for elsewhere, or not at all
  };
  static constexpr int kOfPath = -1;
  /// The certificates above @p level and the root's that have a name, its issuer first.
  std::vector<const sxCert *> Named(const sxDN &name, int level) const;
  /// Those of the pool that have it and that LevelAbove finds a level for. Verifies signatures, the first time.
  std::vector<Signer> OfPool(const sxDN &name, int level) const;
  bool HasPool() const { return m_pool != nullptr && m_pool->Top() >= 0; }
  /// Stands for the certificates above @p level and the root's: equal for questions that trust the same ones there.
  std::string AboveId(int level) const;
  /// Who issued a certificate that is not of the path: the level of one with the same issuer, at @p level or above; none
  /// when nobody there did, it is not in date, or it has a critical extension that nobody here knows. Verifies
  /// signatures.
  std::optional<int> LevelAbove(const sxCert &cert, int level) const;

  const sxRootCA &Root() const { return m_root; }
  const ValidateParams &Params() const { return m_params; }
  int64_t NowSec() const { return m_nowSec; }
  bool MayFetch() const { return m_mayFetch; }
  const sxOcspResponses *Responses() const { return m_responses; }  ///< null: none

 private:
  const sxRootCA &m_root;
  const sxCerts &m_chain;
  const ValidateParams &m_params;
  const int64_t m_nowSec;
  const sxCerts *const m_pool;
  const bool m_mayFetch;
  const sxOcspResponses *const m_responses;
  bool IsUpTo(const sxCert &cert, int level) const;  // it stands at that level of the path, or below
  bool IsInDate(const sxCert &cert) const { return m_nowSec >= cert.notBefore() && m_nowSec <= cert.notAfter(); }

  struct OfName {
    sxDN name;
    int level;
    std::vector<Signer> signers;
  };
  const int m_top;
  mutable sxMutex m_mutex;
  mutable std::vector<OfName> m_ofPool GUARDED_BY(m_mutex);  // what was found
};

#endif
