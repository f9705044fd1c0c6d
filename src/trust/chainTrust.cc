// Whether a certificate or a chain is trusted, and the canonical form of a trusted chain.
#include <algorithm>
#include <utility>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr char kIsChainTrusted[] = "sxKeyHolder::IsChainTrusted";

void TraceChain(const sxCerts &chain, const char *title) {
  if (!kxLog_TraceOn()) return;
  tderrorFunc("CERT", 5, 0, "%s:", title);
  for (int i = 0; i < chain.Slots(); ++i) {
    if (chain.Get(i) == nullptr) continue;
    SxStream text;
    chain.Get(i)->Sprint(&text, sxCert_brief, 1);
    tderrorFunc("CERT", 5, 0, "%s", text.GetBuf());
  }
}

}  // namespace

sxCert *sxTrust_SignerOf(const sxRootCA *ca, const sxCert &cert) {
  if (ca == nullptr || ca->DN() == nullptr || cert.Issuer() == nullptr || !ca->DN()->Equal(*cert.Issuer())) {
    return nullptr;
  }
  return ca->CertBySignee(&cert);
}

bool sxTrust_IsTrustedCA(const sxRootCA *ca, const sxCert &cert) {
  if (ca == nullptr || ca->DN() == nullptr || cert.Subject() == nullptr || !ca->DN()->Equal(*cert.Subject())) {
    return false;
  }
  if (ca->Cert()->PubKey() == nullptr || cert.PubKey() == nullptr) return false;
  return sxPubKey_Equal(ca->Cert()->PubKey(), cert.PubKey()) == 1;
}

sxKeyHolder_imp::Trust sxKeyHolder_imp::FindTrust(const sxCert &cert) {
  if (cert.Subject() == nullptr || cert.Issuer() == nullptr) {
    tderrorFunc("CERT", 1, 0, "%s: invalid certificate", "sxKeyHolder_imp::IsCertTrusted");
  }
  if (cert.Issuer() != nullptr) {
    SharedRef<sxRootCA> root = RootRef(*cert.Issuer());
    sxCert *signer = sxTrust_SignerOf(root.get(), cert);
    if (signer != nullptr) return {std::move(root), TrustType_signedByCA, signer};
  }
  if (cert.Subject() != nullptr) {
    SharedRef<sxRootCA> root = RootRef(*cert.Subject());
    if (sxTrust_IsTrustedCA(root.get(), cert)) {
      tderrorFunc("CERT", 5, 0, "%s: Trust Found!", "sxKeyHolder_imp::IsCertTrustedCA");
      return {std::move(root), TrustType_trustedCA, nullptr};
    }
  }
  return {};
}

int sxTrust_CopyChain(const sxCerts &sorted, sxCerts &out) {
  const int count = sorted.Count();
  if (count <= 0) {
    out.ClearAll();
    tderrorFunc("CERT", 1, 0, "%s: sorted_chain <= 0, returning.", "sxKeyHolder::CopyChain");
    return -1;
  }
  sxCerts copy(count + 1);  // room for the root's certificate
  for (int i = 0, pos = 0; i < sorted.Slots(); ++i) {
    sxCert *cert = sorted.Get(i);
    if (cert == nullptr) continue;
    sxSaveSigned(cert);
    copy.Set(pos++, cert);
  }
  out.Swap(copy);
  return 0;
}

void sxTrust_TruncateChain(sxCerts &chain, int level) {
  const int last = std::max(level, 0);
  for (int i = chain.Top(); i >= last; --i) {
    tderrorFunc("CERT", 5, 0, "%s: cutting out cert no.%d in the chain", "sxKeyHolder::TruncateChain", i);
    chain.Del(i);
  }
}

void sxTrust_EndInRoot(sxCerts &chain, int level, const sxKeyHolder_imp::Trust &trust) {
  chain.Keep(trust.root.get());
  if (trust.type == TrustType_signedByCA) {
    sxTrust_TruncateChain(chain, level + 1);
    AddReference(chain, trust.signer != nullptr ? trust.signer : trust.root->CertBySignee(chain.Get(chain.Top())));
    return;
  }
  // The certificate at this level gives way to the root's own copy, which has the same key. Were the
  // copy left out where that key did not sign the certificate below, nothing would look at that
  // signature any more: a chain's top certificate counts as verified.
  sxTrust_TruncateChain(chain, level);
  sxCert *top = chain.Get(chain.Top());
  sxCert *signer = top != nullptr ? trust.root->CertBySignee(top) : nullptr;
  AddReference(chain, signer != nullptr ? signer : trust.root->Cert());
}

SharedRef<sxRootCA> sxKeyHolder_imp::IsChainTrusted(const sxCerts &chain, sxCerts &out) {
  sxCerts working;
  sxCerts_Sort(chain, working);  // what is not on the path stays behind
  if (kxLog_TraceOn()) {
    tderrorFunc("CERT", 5, 0, "%s: unsorted chain size %d", kIsChainTrusted, chain.Count());
    tderrorFunc("CERT", 5, 0, "%s: sorted chain size %d", kIsChainTrusted, working.Count());
    TraceChain(chain, "unsorted chain");
    TraceChain(working, "sorted chain");
  }
  int i = 0;
  for (; i < working.Count() && i < kMaxChainLevels; ++i) {
    const sxCert *cert = working.Get(i);
    if (cert == nullptr) {
      tderrorFunc("CERT", 1, 0, "%s: invalid certificate at level %d", kIsChainTrusted, i);
      continue;
    }
    Trust trust = FindTrust(*cert);
    if (trust.root) {
      tderrorFunc("CERT", 5, 0, "%s: Trust Found !!\n", kIsChainTrusted);
      sxTrust_EndInRoot(working, i, trust);
      out.Swap(working);
      return std::move(trust.root);
    }
    if (i < working.Top()) continue;
    tderrorFunc("CERT", 5, 0, "%s: reached the chain's top level: %d", kIsChainTrusted, i);
    if (cert->Issuer() == nullptr || cert->Subject() == nullptr || sxTrust_IsSelfIssued(*cert)) {
      tderrorFunc("CERT", 5, 0, "%s: self-signed cert or no Subject/Issuer", kIsChainTrusted);
      i = kMaxChainLevels;  // there is nobody to ask for
      break;
    }
    if (IsSignedByIntermediateCA(*cert, working) != 0) {
      tderrorFunc("CERT", 5, 0, "%s: IntermediateCA Found: chain level: %d", kIsChainTrusted, i);
    }
  }
  if (i < kMaxChainLevels) Get_Issuers_of_chain(working);  // for a later attempt
  tderrorFunc("CERT", 3, 0, "%s: Trust Not Found.\n", kIsChainTrusted);
  return {};
}

int sxKeyHolder::IsCertTrustedCA(sxRootCA *ca, const sxCert &cert) { return sxTrust_IsTrustedCA(ca, cert) ? 1 : 0; }

int sxKeyHolder::IsSignedByTrustedCA(sxRootCA *ca, const sxCert &cert) {
  return sxTrust_SignerOf(ca, cert) != nullptr ? 1 : 0;
}

sxRootCA *sxKeyHolder::IsCertTrusted_Save(const sxCert &cert, TrustType &type) {
  sxKeyHolder_imp::Trust trust = GetP()->FindTrust(cert);
  type = trust.type;
  return trust.root.Release();
}

sxRootCA *sxKeyHolder::IsCertTrusted(const sxCert &cert, TrustType &type) {
  return SharedRef<sxRootCA>::Adopt(IsCertTrusted_Save(cert, type)).get();
}

int sxKeyHolder::IsSignedByIntermediateCA(const sxCert &cert, sxCerts &chain) {
  return GetP()->IsSignedByIntermediateCA(cert, chain);
}

int sxKeyHolder::Get_Issuers_of_chain(const sxCerts &chain) { return GetP()->Get_Issuers_of_chain(chain); }

sxRootCA *sxKeyHolder::IsChainTrusted(const sxCerts &chain, sxCerts &out) {
  return GetP()->IsChainTrusted(chain, out).get();
}
int sxKeyHolder::CopyChain(const sxCerts &sorted, sxCerts &out) { return sxTrust_CopyChain(sorted, out); }
void sxKeyHolder::TruncateChain(sxCerts &chain, int level) { sxTrust_TruncateChain(chain, level); }

void sxKeyHolder::CanonizeChain(sxRootCA *root, const sxCerts &sorted, sxCerts &out, int level, TrustType type) {
  if (level < 0 || root == nullptr || (type != TrustType_trustedCA && type != TrustType_signedByCA)) return;
  if (sxTrust_CopyChain(sorted, out) != 0) return;
  sxTrust_EndInRoot(out, level, {SharedRef<sxRootCA>(root), type, nullptr});
}
