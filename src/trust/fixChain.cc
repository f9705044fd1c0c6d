#include "kxcert/trust/fixChain.h"

#include <atomic>
#include <string>
#include <utility>

#include "cert/dnValue.h"
#include "cert/peerText.h"
#include "cert/sxDN_imp.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/sharedRef.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr char kFixChain[] = "sxCert_FixChain_do";
constexpr char kUseCN[] = "sxCert_UseCN2FetchUser";

std::atomic<sxSubCAFunc> g_subCAFunc{nullptr};

using RootRef = SharedRef<sxRootCA>;

const char *NameOf(const sxRootCA &root) { return root.Name() != nullptr ? root.Name() : "no name"; }

bool IsOwnCert(const sxRootCA &root, const sxCert &cert) { return root.Cert() != nullptr && *root.Cert() == cert; }

bool IsAdditionalCert(const sxRootCA &root, const sxCert &cert) {
  const sxCerts *certs = root.AdditionalCerts();
  if (certs == nullptr) return false;
  herror_func(0, 0, "%s: (MCC) continue looking for root CA cert in additional CA certs (%d)", kFixChain,
              certs->Count());
  for (int i = 0; i < certs->Slots(); ++i) {
    if (certs->Get(i) != nullptr && *certs->Get(i) == cert) return true;
  }
  return false;
}

// The root whose own certificate stands at position i, or null.
RootRef RootAt(const sxCerts &chain, int i, sxKeyHolder_imp &holder) {
  const sxCert *cert = chain.Get(i);
  if (cert == nullptr || cert->Subject() == nullptr) return {};
  RootRef root = holder.ListedRootRef(cert->Subject());
  return root && IsOwnCert(*root, *cert) ? std::move(root) : RootRef();
}

void CutAbove(sxCerts &chain, int last) {
  for (int i = chain.Top(); i > last; --i) {
    herror_func(0, 0, "%s: certificate number %d will be removed", kFixChain, i);
    chain.Del(i);
  }
}

// The chain goes on past a root of the holder.
RootRef FixLongChain(sxCerts &chain, int top, sxKeyHolder_imp &holder) {
  for (int i = top - 1; i >= 1; --i) {
    RootRef root = RootAt(chain, i, holder);
    if (!root) continue;
    CutAbove(chain, i);
    herror_func(0, 0, "%s: Got a long chain. Found the root CA down the chain", kFixChain);
    return root;
  }
  return {};
}

// The chain ends below a sub-CA that stands in the chain of one of the holder's own keys.
RootRef FixShortChain(sxCerts &chain, int top, sxKeyHolder_imp &holder) {
  const sxDN *issuer = chain.Get(top)->Issuer();
  if (issuer == nullptr) {
    herror_func(0, 0, "%s: top cert doesn't have DN", kFixChain);
    return {};
  }
  const SharedRef<sxCertifiedKey> key = holder.KeyRefBySubCA(*issuer);
  if (!key || key->Root() == nullptr || key->Root()->Cert() == nullptr) {
    herror_func(0, 0, "%s: Can't find the chains' root CA in my token", kFixChain);
    return {};
  }
  const sxCerts &own = key->Chain();
  const int ownTop = own.Top();
  const auto isIssuer = [&own, issuer](int j) {
    return own.Get(j) != nullptr && own.Get(j)->Subject() != nullptr && own.Get(j)->Subject()->Equal(*issuer);
  };
  int j = 1;  // position 0 is the holder's own certificate
  while (j <= ownTop && !isIssuer(j)) ++j;
  if (j > ownTop) {
    herror_func(0, 0, "%s: Failed to fix chain", kFixChain);
    return {};
  }
  for (; j <= ownTop; ++j) {
    if (own.Get(j) != nullptr) AddReference(chain, own.Get(j));
  }
  if (!IsOwnCert(*key->Root(), *chain.Get(chain.Top()))) AddReference(chain, key->Root()->Cert());
  herror_func(0, 0, "%s: Got short chain. Extended it to my root CA", kFixChain);
  return RootRef(key->Root());
}

// The first lower root that the chain runs through is the one it is to end in.
RootRef CutAtLowerRoot(sxCerts &chain, int top, RootRef root, sxKeyHolder_imp &holder) {
  for (int p = 1; p < top; ++p) {
    const sxCert *cert = chain.Get(p);
    if (cert == nullptr || cert->Subject() == nullptr) continue;
    RootRef lower = holder.ListedRootRef(cert->Subject());
    if (!lower) continue;
    herror_func(0, 0,
                "%s: Found additional root CA down the chain with the same DN, need to check if certificate "
                "is indeed the same",
                kFixChain);
    if (!IsOwnCert(*lower, *cert)) continue;
    CutAbove(chain, p);  // the root's certificate that was just appended, too
    herror_func(0, 0, "%s: finished removing non-needed certs from the chain returning chopped chain", kFixChain);
    return lower;
  }
  return root;
}

RootRef FixOnce(sxCerts &chain, sxKeyHolder_imp &holder) {
  const int top = chain.Top();
  if (top < 0) return {};
  const sxCert *topCert = chain.Get(top);
  RootRef root = topCert->Subject() != nullptr ? holder.ListedRootRef(topCert->Subject()) : RootRef();
  bool wasRootAlone = false;
  if (root) {
    if (IsOwnCert(*root, *topCert)) {
      wasRootAlone = chain.Count() == 1;
    } else if (!IsAdditionalCert(*root, *topCert)) {
      herror_func(0, 0, "%s: Failed to fix chain, certificate of non-trusted CA with DN of trusted CA", kFixChain);
      return {};
    }
    chain.Del(top);
  } else if (topCert->Issuer() != nullptr) {
    root = holder.ListedRootRef(topCert->Issuer());
  }
  if (!root) {
    herror_func(0, 0, "%s: didn't find root ca in chain top", kFixChain);
    RootRef lower = FixLongChain(chain, top, holder);
    return lower ? std::move(lower) : FixShortChain(chain, top, holder);
  }
  if (kxLog_DebugOn()) herror_func(0, 0, "%s: found root ca:%s", kFixChain, NameOf(*root));
  sxCert *rootCert = wasRootAlone ? root->Cert() : root->CertBySignee(chain.Get(chain.Top()));
  if (rootCert == nullptr) {
    herror_func(0, 0, "%s: didn't find cert in CA that matches chain top", kFixChain);
    return {};
  }
  AddReference(chain, rootCert);
  if (top >= 2) return CutAtLowerRoot(chain, top, std::move(root), holder);
  if (kxLog_DebugOn()) herror_func(0, 0, "%s: Found the root CA %s in my token", kFixChain, NameOf(*root));
  return root;
}

bool IsOneSelfIssued(const sxCerts &chain) {
  return chain.Count() == 1 && sxTrust_IsSelfIssued(*chain.Get(chain.Top()));
}

}  // namespace

bool sxTrust_AddSubCAs(sxCerts &chain) {
  const sxSubCAFunc addSubCAs = g_subCAFunc;
  return addSubCAs != nullptr && addSubCAs(chain) >= 0;
}

sxRootCA *sxCert_FixChain(sxCerts *chain, sxKeyHolder &holder) {
  if (chain == nullptr) return nullptr;
  RootRef root = FixOnce(*chain, *holder.GetP());
  if (!root && !IsOneSelfIssued(*chain) && sxTrust_AddSubCAs(*chain)) {
    sxCerts_Sort(*chain);  // what is not on the path has gone; the second attempt decides
    root = FixOnce(*chain, *holder.GetP());
  }
  chain->Keep(root.get());
  return root.get();
}

sxRootCA *sxCert_FixChainC(sxCerts *chain, sxKeyHolder *holder) {
  return holder != nullptr ? sxCert_FixChain(chain, *holder) : nullptr;
}

void sxCert_SetSubCAFunc(sxSubCAFunc func) { g_subCAFunc = func; }

int sxCert_UseCN2FetchUser(sxCerts *chain, sxKeyHolder *holder, char *cn, int cnLen, char *dn, int dnLen) {
  if (chain == nullptr || holder == nullptr || cn == nullptr || cnLen < 1 || dn == nullptr || dnLen < 1) {
    return herror_func(0, 0, "%s: Bad Input, No Key Holder or Chain or User Name", kUseCN), -1;
  }
  if (sxCerts_Sort(*chain) != 0) return herror_func(0, 0, "%s: Got inconsistent chain from peer", kUseCN), -1;
  const sxRootCA *root = sxCert_FixChain(chain, *holder);
  if (root == nullptr) return herror_func(0, 0, "%s: Failed to get root CA from chain", kUseCN), -1;
  if (!root->UseCN2FetchUser()) return 0;
  const sxCert *peer = chain->Get(0);
  const sxDN *subject = peer != nullptr ? peer->Subject() : nullptr;
  const char *subjectText = subject != nullptr ? subject->GetStr() : nullptr;
  if (subjectText == nullptr) {
    return herror_func(0, 0, "%s: Failed to retrieve the subject dn from chain", kUseCN), -1;
  }
  const sxAva *name = subject->GetP()->FindAva(sxASN_id_at_commonName);
  std::string nameText;
  if (name == nullptr || !sxAppendValue(*name, false, &nameText)) {
    return herror_func(0, 0, "%s: Failed to find common name in the DN", kUseCN), -1;
  }
  // No user is called so.
  if (sxValueHoldsNul(*name)) return herror_func(0, 0, "%s: NUL within the common name", kUseCN), -1;
  return sxHandOutCut(kUseCN, nameText, cn, cnLen) == 0 && sxHandOutCut(kUseCN, subjectText, dn, dnLen) == 0 ? 1 : -1;
}
