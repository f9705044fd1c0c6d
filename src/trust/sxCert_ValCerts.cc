// A whole validation: which checks run, and what the caller is told.
#include <atomic>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "trust/revocationHook.h"
#include "trust/statusCodes.h"

namespace {

constexpr char kTopic[] = "VALIDATE";

std::atomic<sxRevocationFunc> g_revocationFunc{nullptr};
std::atomic<sxPushCRLsFunc> g_pushCRLsFunc{nullptr};

struct Request {
  sxd_env *env;
  sxRootCA *root;
  sxCerts *chain;
  const ValidateParams &params;
  sxValidationCallback callback;
  void *opaque;
};

struct Findings {
  int level = -1;
  long *expiration;  // may be null
};

sxValidationRC CheckPath(const Request &request, Findings &findings) {
  long ignored = 0;
  return sxValidatePath(*request.chain, findings.level, findings.expiration != nullptr ? *findings.expiration : ignored,
                        request.params);
}

sxValidationRC CheckSignatures(const Request &request, Findings &findings) {
  return sxValidateSignatures(*request.chain, findings.level);
}

sxValidationRC CheckNameConstraints(const Request &request, Findings &findings) {
  const sxValidationRC rc = sxValidateNameConstraints(request.root, request.chain->Get(0));
  if (rc != sxValidation_OK) findings.level = 0;
  return rc;
}

bool IsRevocationResult(sxValidationRC rc) {
  return rc == sxValidation_OK || rc == sxValidation_entrustBlocking || sxIsStatusCode(rc);
}

sxValidationRC CheckRevocation(const Request &request, Findings &findings) {
  const sxRevocationFunc check = g_revocationFunc;
  if (check == nullptr) {
    tderrorFunc(kTopic, 3, 0, "sxCert_OurValCerts: no revocation checking is installed");
    return sxValidation_unknownStatus;  // not checked is not the same as good
  }
  const sxValidationRC rc = check(request.env, request.root, *request.chain, request.params, request.callback,
                                  request.opaque, kRevocationTimeoutMs, findings.level);
  return rc == sxValidation_async ? rc : sxTrust_RevocationAnswer(rc, *request.chain, findings.level);
}

struct CheckRow {
  sxValidationFlags flag;
  sxValidationRC (*check)(const Request &request, Findings &findings);
};
constexpr CheckRow kChecks[] = {
    // in the order in which they run
    {sxValidate_path, CheckPath},
    {sxValidate_signatures, CheckSignatures},
    {sxValidate_nameConstraints, CheckNameConstraints},
    {sxValidate_revocation, CheckRevocation},
};

sxValidationRC RunChecks(const Request &request, int flags, Findings &findings) {
  if (request.root == nullptr || request.chain == nullptr || request.chain->Top() < 0) { return sxValidation_badInput; }
  for (const CheckRow &row : kChecks) {
    if ((flags & row.flag) == 0) continue;
    const sxValidationRC rc = row.check(request, findings);
    if (rc != sxValidation_OK) return rc;
  }
  return sxValidation_OK;
}

}  // namespace

void sxCertValidate_SetRevocationFunc(sxRevocationFunc func) { g_revocationFunc = func; }
void sxCertValidate_SetPushCRLsFunc(sxPushCRLsFunc func) { g_pushCRLsFunc = func; }

sxValidationRC sxTrust_RevocationAnswer(sxValidationRC rc, const sxCerts &chain, int &level) {
  if (!IsRevocationResult(rc)) {
    tderrorFunc(kTopic, 3, 0, "sxCert_OurValCerts: %d is no result of revocation checking", static_cast<int>(rc));
    rc = sxValidation_unknownStatus;
  }
  if (rc != sxValidation_OK && (level < 0 || level > chain.Top())) level = 0;
  return rc;
}

void sxTrust_PushCRLs(sxCRLs &crls, const sxRootCA &root) {
  const sxPushCRLsFunc push = g_pushCRLsFunc;
  if (push != nullptr) push(crls, root.CrlTo());
}

sxValidationRC sxCert_ValCerts_e(sxd_env *env, sxRootCA *root, sxCerts *chain, sxCRLs *crls, long *expiration,
                                 const ValidateParams &params, char *errBuf, int errLen, int *level,
                                 sxValidationCallback callback, void *opaque, int flags) {
  const bool wantsText = errBuf != nullptr && errLen > 0;
  if (wantsText) errBuf[0] = '\0';
  if (root != nullptr && chain != nullptr && crls != nullptr) sxTrust_PushCRLs(*crls, *root);
  if (kxLog_TraceOn()) {
    tderrorFunc(kTopic, 5, 0, "sxCert_OurValCerts: validaing chain of len %d", chain != nullptr ? chain->Count() : 0);
  }
  Findings findings{-1, expiration};
  const sxValidationRC rc = RunChecks({env, root, chain, params, callback, opaque}, flags, findings);
  if (level != nullptr) *level = findings.level;
  if (rc == sxValidation_OK) {
    tderrorFunc(kTopic, 5, 0, "sxCert_OurValCerts: validation OK");
  } else if (rc != sxValidation_async && wantsText) {
    sxCert_ValErrToStr(chain, rc, findings.level, errBuf, errLen);
    tderrorFunc(kTopic, 3, 0, "sxCert_ValCerts: %s", errBuf);
  }
  return rc;
}

sxValidationRC sxCert_ValCerts(sxRootCA *root, sxCerts *chain, sxCRLs *crls, long *expiration,
                               const ValidateParams &params, char *errBuf, int errLen, int *level,
                               sxValidationCallback callback, void *opaque, int flags) {
  return sxCert_ValCerts_e(nullptr, root, chain, crls, expiration, params, errBuf, errLen, level, callback, opaque,
                           flags);
}
