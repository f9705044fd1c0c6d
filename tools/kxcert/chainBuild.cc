#include "chainBuild.h"

#include <algorithm>

#include "certFacts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxRootCA.h"

namespace {

constexpr unsigned int kNoValType = 0;
constexpr int kNoPurpose = 0;
constexpr int kNoCrlTo = 0;

sxCert *NewReference(sxCert *cert) {
  sxCert_Save(cert);
  return cert;
}

bool Contains(const sxCerts &chain, const sxCert &cert) {
  for (int i = 0; i < chain.Slots(); ++i) {
    if (chain.Get(i) != nullptr && *chain.Get(i) == cert) return true;
  }
  return false;
}

// Adds the issuers of the path's top certificate that are not there yet.
bool AddIssuers(const sxCert &top, const std::vector<FoundCert> &untrusted, sxCerts &certs) {
  if (top.Issuer()->Equal(*top.Subject())) return false;
  bool added = false;
  for (const FoundCert &found : untrusted) {
    if (!found.cert->Subject()->Equal(*top.Issuer()) || Contains(certs, *found.cert)) continue;
    certs.Add(NewReference(found.cert.get()));
    added = true;
  }
  return added;
}

// The path through the presented certificates, prolonged with untrusted issuers.
sxCerts SortChain(const std::vector<FoundCert> &presented, const std::vector<FoundCert> &untrusted) {
  sxCerts certs;
  for (const FoundCert &found : presented) {
    if (!Contains(certs, *found.cert)) certs.Add(NewReference(found.cert.get()));
  }
  sxCerts path;
  for (int i = 0; i < kMaxChainLevels; ++i) {
    sxCerts_Sort(certs, path);   // what it leaves out is told as unused
    if (path.Top() < 0 || !AddIssuers(*path.Get(path.Top()), untrusted, certs)) break;
  }
  return path;
}

}  // namespace

HolderRef MakeHolder(const std::vector<FoundCert> &trust) {
  HolderRef holder(sxKeyHolder_New());
  std::vector<sxCert *> certs;
  for (const FoundCert &found : trust) certs.push_back(found.cert.get());
  std::stable_sort(certs.begin(), certs.end(),
                   [](const sxCert *a, const sxCert *b) { return a->notAfter() > b->notAfter(); });
  for (sxCert *cert : certs) {
    if (sxRootCA *known = holder->CAByDN(cert->Subject()); known != nullptr) {
      auto additional = std::make_unique<sxCerts>();
      if (known->AdditionalCerts() != nullptr) *additional = *known->AdditionalCerts();
      additional->Add(NewReference(cert));
      known->SetAdditionalCerts(additional.release());
      continue;
    }
    auto *root = new sxRootCA(nullptr, cert, kNoValType, sxCaType_other, kNoPurpose, nullptr, 0, nullptr, kNoCrlTo);
    holder->AddCA(root);
    sxFreePKobj(root);
  }
  return holder;
}

BuiltChain BuildChain(const std::vector<FoundCert> &presented, const std::vector<FoundCert> &untrusted,
                      sxKeyHolder &holder) {
  BuiltChain built;
  built.chain = SortChain(presented, untrusted);
  sxCerts trusted;
  built.root = holder.IsChainTrusted(built.chain, trusted);
  if (built.root == nullptr) {   // it may still run through a root that stands in its middle
    trusted = built.chain;
    built.root = sxCert_FixChain(&trusted, holder);
  }
  if (built.root != nullptr) built.chain.Swap(trusted);
  for (const FoundCert &found : presented) {
    if (!Contains(built.chain, *found.cert)) built.unused.push_back(&found);
  }
  return built;
}

MissingIssuer FindMissingIssuer(const sxCert &top, sxKeyHolder &holder) {
  MissingIssuer missing{NameText(top.Issuer()), KeyIdText(top.AuthorityKeyId()), ""};
  const sxRootCA *namesake = holder.CAByDN(top.Issuer());
  if (namesake != nullptr) {
    const std::string rootKeyId = KeyIdText(namesake->Cert()->SubjectKeyId());
    missing.help = "A trusted root has the issuer's name, but another key (key id " +
                   (rootKeyId.empty() ? "not given" : rootKeyId) + "): get the root whose key signed this one.";
  } else if (top.Issuer()->Equal(*top.Subject())) {
    missing.help = "The chain ends in a root of its own: give that root with --trust, if it is to be trusted.";
  } else {
    missing.help = "Give the issuer's certificate with --untrusted, or with --trust if it is a root.";
  }
  return missing;
}
