#include "trust/revocation/revocationPath.h"

#include <algorithm>

#include "kxcert/cert/sxDN.h"
#include "trust/sharedRef.h"

namespace {

constexpr size_t kMaxNamed = 8;  // certificates of one name that a signature is tried with
constexpr int kMaxPool = 1023;   // of the pool, that are looked at
constexpr int kMaxTried = 32;    // of those, whose signatures are verified: a peer fills the pool

template <class Take>
void ForEachOf(const sxRootCA &root, const Take &take) {
  if (root.Cert() != nullptr) take(*root.Cert());
  const sxCerts *const more = root.AdditionalCerts();
  for (int i = 0; more != nullptr && i <= more->Top(); ++i) {
    if (more->Get(i) != nullptr) take(*more->Get(i));
  }
}

bool IsRoots(const sxRootCA &root, const sxCert &cert) {
  bool is = false;
  ForEachOf(root, [&](const sxCert &own) { is = is || own == cert; });
  return is;
}

// The root's own certificate is not looked at.
int TopOf(const sxRootCA &root, const sxCerts &chain) {
  const int top = chain.Top();
  return top >= 0 && IsRoots(root, *chain.Get(top)) ? top - 1 : top;
}

// Its members are what the question of its path borrows from.
struct Held {
  explicit Held(const sxRevocationQuestion &from) : root(from.root), chain(*from.chain), question(from), path(Own()) {}

  const sxRevocationQuestion &Own() {
    question.chain = &chain;
    if (question.pool != nullptr) question.pool = &(pool = *question.pool);
    if (question.ocspResponses != nullptr) question.ocspResponses = &(responses = *question.ocspResponses);
    return question;
  }

  const SharedRef<sxRootCA> root;
  const sxCerts chain;
  sxCerts pool;
  sxOcspResponses responses;
  sxRevocationQuestion question;
  const RevocationPath path;
};

}  // namespace

std::shared_ptr<const RevocationPath> RevocationPath::Hold(const sxRevocationQuestion &question) {
  const auto held = std::make_shared<const Held>(question);
  return {held, &held->path};
}

RevocationPath::RevocationPath(const sxRevocationQuestion &question)
    : m_root(*question.root),
      m_chain(*question.chain),
      m_params(question.params),
      m_nowSec(question.params.Time()),
      m_pool(question.pool),
      m_mayFetch(question.mayFetch),
      m_responses(question.ocspResponses),
      m_top(TopOf(m_root, m_chain)) {}

RevocationPath::RevocationPath(const sxRootCA &root, const sxCerts &chain, const ValidateParams &params)
    : m_root(root),
      m_chain(chain),
      m_params(params),
      m_nowSec(params.Time()),
      m_pool(nullptr),
      m_mayFetch(true),
      m_responses(nullptr),
      m_top(TopOf(root, chain)) {}

const sxCert *RevocationPath::IssuerOf(int level) const {
  if (level < m_chain.Top()) return m_chain.Get(level + 1);
  // Signatures were verified before; only which of several keys it was is to be found out.
  const bool isOne = m_root.AdditionalCerts() == nullptr || m_root.AdditionalCerts()->Count() == 0;
  return isOne ? m_root.Cert() : m_root.CertBySignee(m_chain.Get(level));
}

// What stands at the level or below it vouches neither for itself nor for who issued it, and nor does what it issued:
// the path of who signed a CRL has to be valid before the CRL counts (RFC 5280, 6.3.3 (f)).
std::optional<int> RevocationPath::LevelAbove(const sxCert &cert, int level) const {
  const bool isInDate = m_nowSec >= cert.notBefore() && m_nowSec <= cert.notAfter();
  if (cert.Issuer() == nullptr || !isInDate || cert.UnhandledCritExt() != nullptr || IsUpTo(cert, level)) return {};
  const auto isFrom = [&cert](const sxCert &issuer) {
    return issuer.Subject() != nullptr && cert.Issuer()->Equal(*issuer.Subject()) &&
           cert.VerifySig(issuer.PubKey()) == 0;
  };
  for (int i = level + 1; i <= m_chain.Top(); ++i) {
    if (isFrom(*m_chain.Get(i))) return std::min(i - 1, m_top);
  }
  bool isRoots = false;
  ForEachOf(m_root, [&](const sxCert &own) { isRoots = isRoots || isFrom(own); });
  return isRoots ? std::optional<int>(m_top) : std::nullopt;
}

bool RevocationPath::IsUpTo(const sxCert &cert, int level) const {
  for (int i = 0; i <= level; ++i) {
    if (*m_chain.Get(i) == cert) return true;
  }
  return false;
}

std::vector<RevocationPath::Signer> RevocationPath::Named(const sxDN &name, int level) const {
  std::vector<Signer> found;
  const auto takeAs = [&](const sxCert &cert, int signerLevel) {
    const bool fits = cert.Subject() != nullptr && cert.Subject()->Equal(name) && found.size() < kMaxNamed;
    if (fits && std::ranges::none_of(found, [&](const Signer &known) { return *known.cert == cert; })) {
      found.push_back({&cert, signerLevel});
    }
  };
  const auto take = [&](const sxCert &cert) { takeAs(cert, kOfPath); };
  if (const sxCert *issuer = IssuerOf(level)) take(*issuer);
  for (int i = level + 1; i <= m_chain.Top(); ++i) take(*m_chain.Get(i));
  ForEachOf(m_root, take);
  const int top = m_pool != nullptr ? std::min(m_pool->Top(), kMaxPool) : -1;
  for (int i = 0, tried = 0; i <= top && tried < kMaxTried && found.size() < kMaxNamed; ++i) {
    const sxCert *const cert = m_pool->Get(i);
    const bool isNamed = cert != nullptr && cert->OK() != 0 && cert->Subject()->Equal(name);
    if (!isNamed) continue;
    ++tried;
    if (const std::optional<int> above = LevelAbove(*cert, level)) takeAs(*cert, *above);
  }
  return found;
}
