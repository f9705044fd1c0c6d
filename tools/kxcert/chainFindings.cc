#include "chainFindings.h"

#include <algorithm>
#include <sstream>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/sxValidation.h"
#include "kxcert/trust/sxcert_black_list.h"

namespace {

constexpr int kMaxErrorText = 16384;  // three names of 4096 octets fit

struct Place {
  const sxCerts &chain;
  int level;
  const ValidateParams &params;
  int64_t now;

  const sxCert &Cert() const { return *chain.Get(level); }
  const sxCert *Issuer() const { return level < chain.Top() ? chain.Get(level + 1) : nullptr; }
};

int64_t GraceOr(int graceSec, int otherwise) { return graceSec == kGraceDefault ? otherwise : graceSec; }

bool NotBlackListed(const Place &p) {
  const sxcert_black_list *list = p.params.Get_BlackList();
  return list == nullptr || !list->IsExist(p.Cert());
}
bool ExtensionsKnown(const Place &p) { return p.Cert().UnhandledCritExt() == nullptr; }
bool Begun(const Place &p) {
  return p.now >= p.Cert().notBefore() - GraceOr(p.params.Cert_start_grace(), kDefaultGraceSec);
}
bool NotOver(const Place &p) { return p.now <= p.Cert().notAfter() + GraceOr(p.params.Cert_end_grace(), 0); }

// The next three ask the certificate as an issuer.
bool MaySign(const Place &p) {  // counts only where the extension is critical, as validation has it
  return p.level == 0 || p.Cert().IsCritical(&sxASN_id_ce_keyUsage) == 0 || p.Cert().HasKeyUsage(sxKU_keyCertSign) != 0;
}
bool PathLenKept(const Place &p) {
  const sxBasicConstraint *constraint = p.Cert().GetBasicConstraint();
  return p.level == 0 || constraint == nullptr || !constraint->IsCA() || constraint->PathLen() < 0 ||
         constraint->PathLen() >= p.level - 1;
}
// And these the pair of it and its issuer.
bool IssuerIsCA(const Place &p) {
  const sxBasicConstraint *constraint = p.Issuer()->GetBasicConstraint();
  return constraint == nullptr || constraint->IsCA();
}
bool NamesMeet(const Place &p) { return p.Cert().Issuer()->Equal(*p.Issuer()->Subject()); }
bool SignatureVerifies(const Place &p) { return p.Cert().VerifySig(p.Issuer()->PubKey()) == 0; }

enum class Applies { kAll, kIssuers, kIssued };

struct CheckRow {
  const char *name;
  Applies applies;
  int code;  // of a failure
  bool (*passes)(const Place &place);
};
constexpr CheckRow kChecks[] = {
    {"black list", Applies::kAll, sxValidation_blackListed, NotBlackListed},
    {"critical extensions", Applies::kAll, sxValidation_unhandledCritExt, ExtensionsKnown},
    {"notBefore", Applies::kAll, sxValidation_notYetValid, Begun},
    {"notAfter", Applies::kAll, sxValidation_expired, NotOver},
    {"key usage as issuer", Applies::kIssuers, sxValidation_wrongKeyUsage, MaySign},
    {"path length as issuer", Applies::kIssuers, sxValidation_pathLenExceeded, PathLenKept},
    {"issuer is a CA", Applies::kIssued, sxValidation_issuerIsNoCA, IssuerIsCA},
    {"issuer's name", Applies::kIssued, sxValidation_inconsistentChain, NamesMeet},
    {"signature", Applies::kIssued, sxValidation_badSignature, SignatureVerifies},
};

bool DoesApply(const CheckRow &row, const Place &place) {
  switch (row.applies) {
    case Applies::kIssuers: return place.level > 0;
    case Applies::kIssued: return place.Issuer() != nullptr;
    case Applies::kAll: break;
  }
  // Without a list there is nothing to have passed.
  return row.code != sxValidation_blackListed || place.params.Get_BlackList() != nullptr;
}

LevelFindings FindAt(const Place &place) {
  LevelFindings findings;
  for (const CheckRow &row : kChecks) {
    if (!DoesApply(row, place)) continue;
    if (row.passes(place)) {
      findings.passed.emplace_back(row.name);
    } else {
      findings.failed.push_back(Explain(place.chain, row.code, place.level));
    }
  }
  return findings;
}

struct AdviceRow {
  int code;
  const char *text;
};
constexpr AdviceRow kAdvice[] = {
    {sxValidation_blackListed, "The serial number is on the black list given: issue another certificate."},
    {sxValidation_notYetValid, "Check this machine's clock; else wait, or widen --grace-start."},
    {sxValidation_expired, "Check this machine's clock; else renew this certificate, or widen --grace-end."},
    {sxValidation_unhandledCritExt,
     "Issue the certificate without this critical extension: nothing here understands it."},
    {sxValidation_issuerIsNoCA, "The issuer must say cA TRUE in basicConstraints: use a chain through a real CA."},
    {sxValidation_pathLenExceeded,
     "Fewer CA certificates may stand below this one: raise its pathLenConstraint, or shorten the chain."},
    {sxValidation_inconsistentChain, "The next certificate is not this one's issuer: give the right issuer."},
    {sxValidation_badSignature,
     "The issuer's key did not sign this certificate: it was changed, or the issuer was issued anew with another key."},
    {sxValidation_wrongKeyUsage, "This issuer's keyUsage needs keyCertSign: issue it anew."},
    {sxValidation_nameConstraints, "The root may not issue for this name."},
};

}  // namespace

Verdict Explain(const sxCerts &chain, int code, int level) {
  Verdict verdict{code, level, sxValidationRC_GetString(code), {}};
  std::string text(kMaxErrorText, '\0');
  if (level < 0 || sxCert_ValErrToStr(&chain, code, level, text.data(), kMaxErrorText) != 0) return verdict;
  text.resize(text.find('\0'));
  // Behind the fixed text and what a report shows anyway: level, subject, serial number.
  constexpr int kLinesBefore = 4;
  std::istringstream lines(text);
  std::string line;
  for (int i = 0; std::getline(lines, line); ++i) {
    if (i >= kLinesBefore) verdict.facts.push_back(line);
  }
  return verdict;
}

std::vector<LevelFindings> FindAll(const sxCerts &chain, bool trusted, const ValidateParams &params, int64_t now,
                                   const Verdict &verdict) {
  std::vector<LevelFindings> all;
  for (int level = 0; level <= chain.Top(); ++level) all.push_back(FindAt({chain, level, params, now}));
  if (trusted && !all.empty()) all.back().passed.emplace_back("is a trusted root's");
  if (verdict.level < 0 || verdict.level > chain.Top()) return all;
  std::vector<Verdict> &failed = all[static_cast<size_t>(verdict.level)].failed;
  const bool listed = std::any_of(failed.begin(), failed.end(),
                                  [&verdict](const Verdict &found) { return found.code == verdict.code; });
  if (!listed) failed.push_back(verdict);
  return all;
}

std::string Advice(int code) {
  for (const AdviceRow &row : kAdvice) {
    if (row.code == code) return row.text;
  }
  return "Check the certificates given: one of them cannot be used.";
}
