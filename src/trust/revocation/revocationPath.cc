#include "trust/revocation/revocationPath.h"

#include <algorithm>

#include "kxcert/platform/digest.h"
#include "trust/sharedRef.h"

namespace {

constexpr int kIdLen = 32;
constexpr size_t kMaxRemembered = 32;  // names that the pool was searched for
constexpr size_t kMaxNamed = 8;        // certificates of one name that a signature is tried with
constexpr int kMaxPool = 1023;         // of the pool, that are looked at
constexpr int kMaxTried = 32;          // of those, whose signatures are verified: a peer fills the pool

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

// The root's own certificates are not looked at.
int TopOf(const sxRootCA &root, const sxCerts &chain) {
  int top = chain.Top();
  while (top >= 0 && IsRoots(root, *chain.Get(top))) --top;
  return top;
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
  if (cert.Issuer() == nullptr || !IsInDate(cert) || cert.UnhandledCritExt() != nullptr || IsUpTo(cert, level))
    return {};
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

std::vector<const sxCert *> RevocationPath::Named(const sxDN &name, int level) const {
  std::vector<const sxCert *> found;
  const auto take = [&](const sxCert &cert) {
    const bool fits = cert.Subject() != nullptr && cert.Subject()->Equal(name) && found.size() < kMaxNamed;
    if (fits && std::ranges::none_of(found, [&](const sxCert *known) { return *known == cert; })) {
      found.push_back(&cert);
    }
  };
  if (const sxCert *issuer = IssuerOf(level)) take(*issuer);
  for (int i = level + 1; i <= m_chain.Top(); ++i) take(*m_chain.Get(i));
  ForEachOf(m_root, [&](const sxCert &own) {
    if (&own == m_root.Cert() || IsInDate(own)) take(own);
  });
  return found;
}

std::vector<RevocationPath::Signer> RevocationPath::OfPool(const sxDN &name, int level) const {
  const sxLock lock(m_mutex);
  for (const OfName &known : m_ofPool) {
    if (known.level == level && known.name.Equal(name)) return known.signers;
  }
  std::vector<Signer> found;
  const int top = m_pool != nullptr ? std::min(m_pool->Top(), kMaxPool) : -1;
  for (int i = 0, tried = 0; i <= top && tried < kMaxTried && found.size() < kMaxNamed; ++i) {
    const sxCert *const cert = m_pool->Get(i);
    const bool isNamed = cert != nullptr && cert->OK() != 0 && cert->Subject()->Equal(name);
    if (!isNamed) continue;
    ++tried;
    if (const std::optional<int> above = LevelAbove(*cert, level)) found.push_back({cert, *above});
  }
  if (m_ofPool.size() < kMaxRemembered) m_ofPool.push_back({name, level, found});
  return found;
}

std::string RevocationPath::AboveId(int level) const {
  std::string octets;
  const auto add = [&octets](const sxCert &cert) { octets.append(cert.GetBuf(), cert.GetBuf() + cert.BufLen()); };
  for (int i = level + 1; i <= m_chain.Top(); ++i) add(*m_chain.Get(i));
  ForEachOf(m_root, add);
  unsigned char digest[kIdLen] = {};
  const bool isMade = kx_md_hashbuf(sx_md_sha256, octets.data(), octets.size(), digest, kIdLen) == 0;
  return isMade ? std::string(digest, digest + kIdLen) : octets;
}
