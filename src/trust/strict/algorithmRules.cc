// Algorithms and keys: what was signed with what.
#include "cert/sxExtension_imp.h"
#include "keys/ec/curves.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

StrictOutcome AreEqual(StrictPath &path, int level) {
  const StrictCert::Fields &fields = path.At(level).Get();
  if (sxEqual(fields.innerAlgorithm, fields.outerAlgorithm)) return StrictPasses();
  std::vector<sxFact> facts;
  facts.push_back({"signed algorithm", AlgorithmText(fields.innerAlgorithm)});
  facts.push_back({"outer algorithm", AlgorithmText(fields.outerAlgorithm)});
  return StrictFails(std::move(facts));
}

StrictOutcome DigestIsLong(StrictPath &path, int level) {
  const int len = kx_md_len(path.At(level).Cert().signatureHashAlgorithm());
  if (len >= kx_md_len(path.Question().minDigest) && len > 0) return StrictPasses();
  return StrictFails("signature algorithm", AlgorithmText(path.At(level).Get().outerAlgorithm));
}

StrictOutcome RsaKeyIsLong(StrictPath &path, int level) {
  sxPubKey *const key = path.At(level).Cert().PubKey();
  if (key->algorithm() != sxPK_RSA) return StrictNotChecked("it has no RSA key");
  const int bits = sxPubKey_NumBits(key);
  return bits >= path.Question().minRsaBits ? StrictPasses() : StrictFails("RSA key's bits", std::to_string(bits));
}

StrictOutcome CurveIsAllowed(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (cert.Cert().PubKey()->algorithm() != sxPK_ECDSA) return StrictNotChecked("it has no EC key");
  sxAsnOid curve;
  sxOctetView content;
  if (!sxDerReader(cert.Get().keyAlgorithm.parameters).Take(kDerOid, &content)) {
    return StrictFails("curve", "without a name");
  }
  curve.Set(content.data(), sxLen(content));
  const auto &allowed = path.Question().curves;
  const bool isAllowed =
      allowed.empty() || std::ranges::any_of(allowed, [&curve](const sxAsnOid &oid) { return oid.OidEquiv(curve); });
  if (isAllowed) return StrictPasses();
  const Curve *const known = FindCurve(content);
  return StrictFails("curve", known != nullptr ? known->name : sxOidWords(curve));
}

constexpr StrictRule kRules[] = {
    {"algorithms.equal", "RFC 5280, 4.1.1.2", sxValidation_badSignature, StrictWhere::kBelowRoot, true, AreEqual,
     "Inside and outside must name one algorithm: have the certificate issued anew."},
    {"algorithms.digest", "RFC 8017, 9.2", sxValidation_badSignature, StrictWhere::kBelowRoot, true, DigestIsLong,
     "Have the certificate signed anew with a longer digest, or allow this one with --min-digest."},
    {"algorithms.rsaSize", "RFC 8017, 3.1", sxValidation_badSignature, StrictWhere::kEvery, true, RsaKeyIsLong,
     "Have the certificate issued for a longer key, or allow this one with --min-rsa."},
    {"algorithms.curve", "RFC 5480, 2.1.1.1", sxValidation_badSignature, StrictWhere::kEvery, true, CurveIsAllowed,
     "Have the certificate issued for a key on one of the curves that are allowed."},
};

}  // namespace

std::span<const StrictRule> AlgorithmRules() { return kRules; }
