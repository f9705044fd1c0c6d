// A verdict as JSON.
#include <array>
#include <cstring>
#include <string>

#include "cert/serialText.h"
#include "cert/sxExtension_imp.h"
#include "foundation/jsonText.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/platform/digest.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/rules.h"

namespace {

constexpr int kSha256Len = 32;
// Of a name on a path that was tried: there may be thousands of them, and the fingerprint tells them apart.
constexpr size_t kMaxBriefName = 256;

// The form without control characters.
void PutName(const char *key, const sxDN *dn, JsonText &out) {
  const char *text = dn != nullptr ? dn->GetStr_ascii() : nullptr;
  if (text == nullptr) return out.Null(key);
  out.Text(key, text);
}

void PutFingerprint(const sxCert &cert, JsonText &out) {
  std::array<unsigned char, kSha256Len> digest{};
  std::array<char, 2 * kSha256Len + 1> text{};
  kx_md_hashbuf(sx_md_sha256, cert.GetBuf(), cert.BufLen(), digest.data(), kSha256Len);
  bytes_to_string(digest.data(), kSha256Len, text.data(), static_cast<int>(text.size()));
  out.Text("sha256", text.data());
}

void PutBrief(const char *key, const sxCert *cert, JsonText &out) {
  if (cert == nullptr) return out.Null(key);
  out.BeginObject(key);
  const char *name = cert->Subject() != nullptr ? cert->Subject()->GetStr_ascii() : nullptr;
  if (name != nullptr && std::strlen(name) > kMaxBriefName) {
    out.Text("subject", std::string(name, kMaxBriefName) + "...");
  } else {
    PutName("subject", cert->Subject(), out);
  }
  PutFingerprint(*cert, out);
  out.EndObject();
}

void PutCert(const char *key, const sxCert *cert, JsonText &out) {
  if (cert == nullptr) return out.Null(key);
  out.BeginObject(key);
  PutName("subject", cert->Subject(), out);
  PutName("issuer", cert->Issuer(), out);
  out.Text("serial", sxSerialText(*cert->SerialNum()));
  out.Number("notBefore", cert->notBefore());
  out.Number("notAfter", cert->notAfter());
  PutFingerprint(*cert, out);
  out.EndObject();
}

void PutCerts(const sxCerts &certs, void (*put)(const char *, const sxCert *, JsonText &), JsonText &out) {
  out.BeginArray("path");
  for (int i = 0; i <= certs.Top(); ++i) put(nullptr, certs.Get(i), out);
  out.EndArray();
}

void PutRoot(const sxRootCA *root, const sxCerts &path, JsonText &out) {
  if (root == nullptr) return out.Null("root");
  out.BeginObject("root");
  PutName("name", root->DN(), out);
  PutFingerprint(*path.Get(path.Top()), out);
  out.EndObject();
}

void PutCode(sxValidationRC code, JsonText &out) {
  out.Number("code", code);
  out.Text("name", sxValidationName(code));
  out.Text("text", sxValidationRC_GetString(code));
}

void PutLevel(int level, JsonText &out) {
  if (level < 0) return out.Null("level");
  out.Number("level", level);
}

void PutText(const char *key, const char *text, JsonText &out) {
  if (text == nullptr) return out.Null(key);
  out.Text(key, text);
}

const char *OutcomeText(sxFindingResult result) {
  switch (result) {
    case sxFindingResult::kPassed: return "passed";
    case sxFindingResult::kFailed: return "failed";
    case sxFindingResult::kNotChecked: return "not checked";
  }
  return nullptr;
}

void PutFinding(const sxFinding &finding, JsonText &out) {
  out.BeginObject();
  out.Text("rule", finding.rule);
  out.Text("source", finding.source);
  out.Text("outcome", OutcomeText(finding.result));
  PutText("reason", finding.reason, out);
  PutCode(finding.code, out);
  PutLevel(finding.level, out);
  out.BeginArray("facts");
  for (const sxFact &fact : finding.facts) {
    out.BeginObject();
    out.Text("label", fact.label);
    out.Text("value", fact.value);
    out.EndObject();
  }
  out.EndArray();
  PutText("advice", finding.result == sxFindingResult::kFailed ? finding.advice : nullptr, out);
  out.Bool("decides", !finding.isNote);
  out.EndObject();
}

const char *OriginName(sxStatusOrigin origin) {
  switch (origin) {
    case sxStatusOrigin::kNone: return nullptr;
    case sxStatusOrigin::kCaller: return "caller";
    case sxStatusOrigin::kMemory: return "memory";
    case sxStatusOrigin::kDisk: return "disk";
    case sxStatusOrigin::kNetwork: return "network";
  }
  return nullptr;
}

void PutTime(const char *key, int64_t seconds, JsonText &out) {
  if (seconds == kNoTime) return out.Null(key);
  out.Number(key, seconds);
}

void PutEvidence(const sxRevocationEvidence &said, JsonText &out) {
  out.BeginObject();
  out.Number("level", said.level);
  PutText("source", said.source == sxStatusSource::kNone ? nullptr : sxStatusSource_GetString(said.source), out);
  PutText("origin", OriginName(said.origin), out);
  out.Text("where", said.where);
  out.Text("outcome", said.outcome);
  out.Bool("says", said.says);
  PutTime("thisUpdate", said.thisUpdateSec, out);
  PutTime("nextUpdate", said.nextUpdateSec, out);
  PutTime("revokedAt", said.revokedSec, out);
  out.Text("number", said.number);
  out.Text("signer", said.signer);
  out.Text("reason", said.reason);
  out.Number("costMs", said.costMs);
  out.EndObject();
}

void PutTried(const sxTriedPath &path, JsonText &out) {
  out.BeginObject();
  PutCerts(path.certs, PutBrief, out);
  PutRoot(path.root, path.certs, out);
  PutCode(path.code, out);
  PutLevel(path.level, out);
  PutText("message", path.text.getstr(), out);
  PutText("ended", path.ended, out);
  PutText("rule", path.rule, out);
  out.EndObject();
}

const char *BoundName(sxSearchBound bound) {
  switch (bound) {
    case sxSearchBound::kNone: return nullptr;
    case sxSearchBound::kVerifications: return "verifications";
    case sxSearchBound::kPaths: return "paths";
  }
  return nullptr;
}

}  // namespace

sxString sxChainVerdict::Json() const {
  JsonText out;
  out.BeginObject();
  PutCode(code, out);
  PutLevel(level, out);
  PutText("message", text.getstr(), out);
  PutCert("endEntity", path.Get(0), out);
  PutRoot(root, path, out);
  PutCerts(path, PutCert, out);
  out.BeginArray("findings");
  for (const sxFinding &finding : findings) PutFinding(finding, out);
  out.EndArray();
  out.BeginArray("revocation");
  for (const sxRevocationEvidence &said : evidence) PutEvidence(said, out);
  out.EndArray();
  out.BeginArray("tried");
  for (const sxTriedPath &one : tried) PutTried(one, out);
  out.EndArray();
  if (judged < 0) {
    out.Null("judged");
  } else {
    out.Number("judged", judged);
  }
  PutText("bound", BoundName(bound), out);
  PutText("rule", rule, out);
  out.BeginArray("policies");
  for (const sxAsnOid &policy : policies) out.Text(nullptr, sxOidText(policy));
  out.EndArray();
  out.EndObject();
  return {out.Get().c_str(), static_cast<int>(out.Get().size())};
}
