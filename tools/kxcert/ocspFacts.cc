#include "ocspFacts.h"

#include <memory>

#include "certFacts.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/ocsp.h"
#include "nameFacts.h"
#include "oidInput.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr const char *kStatuses[] = {"successful", "malformedRequest", "internalError", "tryLater",
                                     "not used",   "sigRequired",      "unauthorized"};
constexpr const char *kCertStatuses[] = {"good", "revoked", "unknown"};

std::string Hex(sxOcspOctets octets) { return HexOf(octets.data(), octets.size()); }

void AddExtensions(std::span<const sxOcspExtension> extensions, FactLines &lines) {
  auto list = Facts::array();
  for (const sxOcspExtension &ext : extensions) {
    const std::string oid = OidText(ext.oid), value = Hex(ext.value);
    std::string text = NamedOid(ext.oid);
    text.append(ext.critical ? ", critical: " : ": ").append(value);
    lines.AddAs("Extension", nullptr, text, nullptr);
    list.push_back({{"oid", oid}, {"critical", ext.critical}, {"value", value}});
  }
  lines.All()["extensions"] = list;
}

Facts TellSingle(const sxOcspSingle &single, Report &report) {
  FactLines lines(report, 2);
  lines.Add("Serial Number", "serial", NumberText(single.serial));
  lines.AddAs("Digest", "hashAlgorithm", NamedOid(single.hashAlgorithm), OidText(single.hashAlgorithm));
  lines.Add("Digest of the issuer's name", "issuerNameHash", Hex(single.issuerNameHash));
  lines.Add("Digest of the issuer's key", "issuerKeyHash", Hex(single.issuerKeyHash));
  lines.Add("Status", "status", kCertStatuses[static_cast<size_t>(single.status)]);
  if (single.status == sxOcspStatus::kRevoked) {
    lines.AddTime("Revoked", "revoked", single.revokedSec);
    lines.Add("Reason", "reason", sxOcspReason_GetString(single.reason));
  }
  lines.AddTime("This Update", "thisUpdate", single.thisUpdateSec);
  lines.AddTime("Next Update", "nextUpdate", single.nextUpdateSec);
  AddExtensions(single.extensions, lines);
  return lines.All();
}

Facts TellCert(sxOcspOctets octets, Report &report) {
  FactLines lines(report, 2);
  const std::unique_ptr<sxCert, decltype(&sxCert_Free)> cert(
      sxCert_Decode(octets.data(), static_cast<int>(octets.size())), sxCert_Free);
  if (cert != nullptr) {
    lines.Add("Subject", "subject", NameText(cert->Subject()));
    lines.Add("Issuer", "issuer", NameText(cert->Issuer()));
    lines.Add("Serial Number", "serial", SerialText(*cert));
    lines.All().update(CertFacts(*cert));
  } else {
    lines.Add("Not decoded", "error", "it is none, or of no use");
  }
  lines.Add("SHA-256", "sha256", Sha256Of(octets.data(), octets.size()));
  return lines.All();
}

}  // namespace

void FactLines::AddAs(const char *label, const char *member, const std::string &text, Facts fact) {
  m_report.Line(std::string(m_indent, '\t') + label + ": " + text);
  if (member != nullptr) m_facts[member] = std::move(fact);
}

void FactLines::AddTime(const char *label, const char *member, int64_t seconds) {
  if (seconds == kOcspNoTime) {
    m_facts[member] = nullptr;
  } else {
    AddAs(label, member, PrintCertTime(seconds), seconds);
  }
}

void TellResponse(const sxOcspResponse &response, Report &report, Facts &facts) {
  FactLines lines(report, 1);
  const auto status = static_cast<size_t>(response.status);
  lines.Add("Response Status", "responseStatus", status < std::size(kStatuses) ? kStatuses[status] : "not known");
  if (response.status == 0) { lines.Add("Type", "type", response.basic ? "basic" : OidText(response.type)); }
  if (!response.basic) return facts.update(lines.All());
  if (!response.responderName.empty()) {
    const sxDN name(response.responderName.data(), static_cast<int>(response.responderName.size()));
    lines.Add("Responder", "responderName", NameText(&name));
    lines.All()["responderRdns"] = RdnFacts(&name);
  } else {
    lines.Add("Responder, by the SHA-1 of its key", "responderKeyHash", Hex(response.responderKeyHash));
  }
  lines.AddTime("Produced At", "producedAt", response.producedAtSec);
  AddExtensions(response.extensions, lines);
  facts.update(lines.All());
  facts["responses"] = Facts::array();
  for (const sxOcspSingle &single : response.singles) {
    report.Line("\tCertificate:");
    facts["responses"].push_back(TellSingle(single, report));
  }
  facts["certificates"] = Facts::array();
  for (const sxOcspOctets &cert : response.certs) {
    report.Line("\tBrings the certificate:");
    facts["certificates"].push_back(TellCert(cert, report));
  }
  report.Line("\tSignature: not checked");
  facts["signature"] = "not checked";
}

void TellAnswer(const sxOcspAnswer &answer, Report &report, Facts &facts) {
  FactLines lines(report, 1);
  if (answer.result >= sxOcsp_good) {
    lines.Add("Signed by", "signer", sxOcspSigner_GetString(answer.signer));
    if (const sxCert *const signer = answer.signerCert.Get(0); signer != nullptr) {
      lines.Add("Signer", "signerSubject", NameText(signer->Subject()));
    }
    lines.AddTime("Produced At", "producedAt", answer.producedAtSec);
    lines.AddTime("This Update", "thisUpdate", answer.thisUpdateSec);
    lines.AddTime("Next Update", "nextUpdate", answer.nextUpdateSec);
    lines.AddTime("Holds until", "holdsUntil", answer.holdsUntilSec);
    lines.AddAs("Nonce", "nonce", answer.hadNonce ? "repeated" : "none", answer.hadNonce);
    lines.All()["signerChecked"] = !answer.signerMustBeChecked;
  }
  if (answer.result == sxOcsp_revoked) {
    lines.AddTime("Revoked", "revoked", answer.revokedSec);
    lines.Add("Reason", "reason", sxOcspReason_GetString(answer.reason));
  }
  facts.update(lines.All());
}

void TellAsked(std::span<const sxOcspAsked> asked, Report &report, Facts &facts) {
  auto list = Facts::array();
  for (const sxOcspAsked &each : asked) {
    std::string text = each.url + (each.posted ? " by POST: " : " by GET: ") + sxOcspResult_GetString(each.result);
    if (!each.why.empty()) text += " (" + each.why + ")";
    report.Line("\tAsked: " + text + ", " + std::to_string(each.costMs) + " ms");
    list.push_back({{"url", each.url},
                    {"configured", each.configured},
                    {"method", each.posted ? "POST" : "GET"},
                    {"result", static_cast<int>(each.result)},
                    {"text", sxOcspResult_GetString(each.result)},
                    {"why", each.why},
                    {"fetch", static_cast<int>(each.fetch)}});
  }
  facts["asked"] = list;
}
