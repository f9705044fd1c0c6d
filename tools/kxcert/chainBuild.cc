#include "chainBuild.h"

#include <set>

#include "certFacts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/sortCerts.h"
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

sxCerts SetOf(std::initializer_list<const std::vector<FoundCert> *> lists) {
  size_t count = 0;
  for (const auto *list : lists) count += list->size();
  sxCerts certs(static_cast<int>(count));
  int pos = 0;
  for (const auto *list : lists) {
    for (const FoundCert &found : *list) certs.Set(pos++, NewReference(found.cert.get()));
  }
  return certs;
}

bool IsRoots(const sxRootCA *root, const sxCert &cert) { return root != nullptr && *root->Cert() == cert; }

}  // namespace

HolderRef MakeHolder(const std::vector<FoundCert> &trust) {
  HolderRef holder(sxKeyHolder_New());
  for (const FoundCert &found : trust) {
    auto *root =
        new sxRootCA(nullptr, found.cert.get(), kNoValType, sxCaType_other, kNoPurpose, nullptr, 0, nullptr, kNoCrlTo);
    holder->AddCA(root);
    sxFreePKobj(root);
  }
  return holder;
}

IssuerIndex::IssuerIndex(std::vector<FoundCert> certs) : m_certs(std::move(certs)) {
  for (size_t i = 0; i < m_certs.size(); ++i) {
    const sxDN *const subject = m_certs[i].cert->Subject();
    if (subject != nullptr) m_bySubject.emplace(subject->Hash(), i);
  }
}

std::vector<FoundCert> IssuerIndex::Above(const sxCert &cert) const {
  std::vector<FoundCert> found;
  std::set<uint64_t> names;
  std::vector<const sxCert *> waiting = {&cert};
  while (!waiting.empty()) {
    const sxDN *const issuer = waiting.back()->Issuer();
    waiting.pop_back();
    if (issuer == nullptr || !names.insert(issuer->Hash()).second) continue;
    const auto [begin, end] = m_bySubject.equal_range(issuer->Hash());
    for (auto known = begin; known != end; ++known) {
      const FoundCert &above = m_certs[known->second];
      found.push_back({CertRef(NewReference(above.cert.get())), above.where});
      waiting.push_back(above.cert.get());
    }
  }
  return found;
}

void JudgeGiven(const GivenCerts &given, sxKeyHolder &holder, const ValidateParams &params, int flags,
                JudgedChain &judged) {
  const sxCerts all = SetOf({&given.endEntity, &given.chain, &given.untrusted});
  sxChainQuestion question{.holder = &holder, .params = params, .flags = flags, .wantsFindings = true};
  question.intermediates = given.intermediates;
  question.ocspResponses = given.responses;
  question.mayFetch = given.mayFetch;
  question.strict = given.strict;
  if (!given.endEntity.empty()) {
    question.endEntity = given.endEntity.front().cert.get();
    question.pool = &all;
    sxJudgeChain(question, judged.verdict);
    return;
  }
  const sxCerts chain = SetOf({&given.chain});
  sxCerts path;
  sxCerts_Sort(chain, path);  // what it leaves out is found below
  question.endEntity = path.Get(0);
  question.pool = &chain;
  // Other issuers only when the chain's own do not do: otherwise these would be left over.
  if (sxJudgeChain(question, judged.verdict) != sxValidation_OK && !given.untrusted.empty()) {
    question.pool = &all;
    sxJudgeChain(question, judged.verdict);
  }
  for (const FoundCert &found : given.chain) {
    if (Contains(judged.verdict.path, *found.cert) || IsRoots(judged.verdict.root, *found.cert)) continue;
    judged.leftOver.push_back(&found);
  }
}

MissingIssuer FindMissingIssuer(const sxCert &top, sxKeyHolder &holder) {
  MissingIssuer missing{NameText(top.Issuer()), KeyIdText(top.AuthorityKeyId()), ""};
  const sxRootCA *namesake = holder.CAByDN(top.Issuer());
  if (holder.IsCertTrustedCA(holder.CAByDN(top.Subject()), top) == 1) {
    missing.help = "It has a trusted root's name and key, but is not that root's certificate: find out who made it.";
  } else if (namesake != nullptr) {
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
