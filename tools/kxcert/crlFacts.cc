#include "crlFacts.h"

#include "certFacts.h"
#include "crlInput.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/keyCodes.h"
#include "nameFacts.h"
#include "oidInput.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "visibleText.h"
#include "writtenTime.h"

namespace {

constexpr int kNumReasonFlags = 9;

// The bits of ReasonFlags have the names of CRLReason, but no gap (RFC 5280, 5.3.1 and 4.2.1.13).
int ReasonOfFlag(int bit) { return bit <= sxCrlReason_certificateHold ? bit : bit + 2; }

std::string SerialOf(const sxRevokedEntry &entry) {
  return NumberText({entry.serial, static_cast<size_t>(entry.serialLen)});
}

std::string IssuerText(const sxRevokedEntry &entry) {
  if (entry.certIssuer == nullptr) return entry.isIssuerUnreadable ? "(an issuer that cannot be read)" : "";
  const sxDN issuer(entry.certIssuer, entry.certIssuerLen);
  return NameText(&issuer);
}

std::vector<std::string> SomeReasons(const sxIssuingDP &scope) {
  std::vector<std::string> texts;
  for (int bit = 0; bit < kNumReasonFlags; ++bit) {
    if ((scope.SomeReasons() >> bit & 1) != 0) texts.push_back(ReasonText(ReasonOfFlag(bit)));
  }
  return texts;
}

Facts ScopeFacts(const sxCRL &crl) {
  const sxIssuingDP &scope = *crl.IssuingDP();
  return {{"names", NameTexts(crl.ScopeNames())}, {"onlyUserCerts", scope.OnlyUserCerts()},
          {"onlyCACerts", scope.OnlyCACerts()},   {"onlyAttributeCerts", scope.OnlyAttributeCerts()},
          {"indirect", scope.IndirectCRL()},      {"onlySomeReasons", scope.HasOnlySomeReasons()},
          {"reasons", SomeReasons(scope)}};
}

Facts TimeFacts(int64_t seconds) { return {{"seconds", seconds}, {"text", CrlTimeText(seconds)}}; }

std::string Joined(const std::vector<std::string> &texts) {
  std::string all;
  for (const std::string &text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

void AddScopeLimits(const sxCRL &crl, std::vector<std::string> &limits) {
  const sxIssuingDP &scope = *crl.IssuingDP();
  if (scope.OnlyUserCerts()) limits.emplace_back("covers end-entity certificates only");
  if (scope.OnlyCACerts()) limits.emplace_back("covers CA certificates only");
  if (scope.OnlyAttributeCerts()) limits.emplace_back("covers attribute certificates only");
  if (scope.HasOnlySomeReasons()) {
    const std::string reasons = Joined(SomeReasons(scope));
    limits.push_back(reasons.empty() ? "covers no reason at all" : "covers these reasons only: " + reasons);
  }
  if (crl.ScopeNames().Count() > 0) {
    limits.push_back("covers certificates of this distribution point: " + Joined(NameTexts(crl.ScopeNames())));
  }
}

}  // namespace

std::vector<std::string> NameTexts(const sxGeneralNames &names) {
  std::vector<std::string> texts;
  for (int i = 0; i < names.Count(); ++i) {
    if (names.Get(i)->GetType() == sxGN_error) {
      texts.emplace_back("(a name of a kind that is not known, or that cannot be read)");
      continue;
    }
    SxStream name;
    names.Get(i)->Sprint(&name, 0);
    texts.push_back(VisibleLine(TrimEnd(name.Text())));
  }
  return texts;
}

std::string CrlTimeText(int64_t seconds) {
  return seconds == kCrlTimeUnreadable ? "a time that cannot be read" : PrintTime(seconds);
}

std::string ReasonText(int reason) {
  if (reason == sxCrlReason_none) return "";
  const char *const text = sxCrlReasonText(reason);
  return text == nullptr ? "reason " + std::to_string(reason) : text;
}

std::vector<std::string> LimitsOf(const sxCRL &crl) {
  std::vector<std::string> limits;
  if (crl.IsDelta()) {
    limits.push_back("is a delta CRL: it says what changed since CRL " +
                     (crl.DeltaBase() == nullptr ? "(unreadable)" : NumberText(*crl.DeltaBase())));
  }
  if (crl.IsIndirect())
    limits.emplace_back("is an indirect CRL: entries are looked up with their certificates' issuer");
  if (crl.IssuingDP() != nullptr) AddScopeLimits(crl, limits);
  if (crl.UnknownListExt() != nullptr) {
    limits.push_back("has an extension that is not understood (" + NamedOid(*crl.UnknownListExt()) +
                     "): no certificate is good by it");
  }
  if (crl.UnknownEntryExt() != nullptr) {
    limits.push_back("has an entry with an extension that is not understood (" + NamedOid(*crl.UnknownEntryExt()) +
                     "): no certificate is good by it");
  }
  return limits;
}

bool TellLimits(const sxCRL &crl, const std::string &label, Report &report) {
  const std::vector<std::string> limits = LimitsOf(crl);
  for (const std::string &limit : limits) report.Line(label + limit);
  report.Document()["limits"] = limits;
  return !limits.empty();
}

std::string EntryText(const sxRevokedEntry &entry) {
  std::string text = SerialOf(entry) + "  " + CrlTimeText(entry.revokedSec);
  if (const std::string reason = ReasonText(entry.reason); !reason.empty()) text += "  " + reason;
  if (entry.hasInvalidityDate) text += "  invalid since " + CrlTimeText(entry.invaliditySec);
  if (const std::string issuer = IssuerText(entry); !issuer.empty()) text += "  of " + issuer;
  if (entry.unknownCritical != nullptr) {
    text += "  critical extension " + NamedOid({entry.unknownCritical, static_cast<size_t>(entry.unknownCriticalLen)});
  }
  return text;
}

Facts EntryFacts(const sxRevokedEntry &entry) {
  Facts facts = {{"serial", SerialOf(entry)}, {"revoked", TimeFacts(entry.revokedSec)}};
  if (entry.reason != sxCrlReason_none) facts["reason"] = ReasonText(entry.reason);
  if (entry.hasInvalidityDate) facts["invaliditySince"] = TimeFacts(entry.invaliditySec);
  if (const std::string issuer = IssuerText(entry); !issuer.empty()) facts["certificateIssuer"] = issuer;
  if (entry.unknownCritical != nullptr) {
    facts["unknownCritical"] = OidText({entry.unknownCritical, static_cast<size_t>(entry.unknownCriticalLen)});
  }
  return facts;
}

Facts CrlFacts(const sxCRL &crl) {
  const WrittenUpdates written = WrittenUpdatesOf(crl);
  Facts facts = {{"version", crl.Version()},
                 {"issuer", NameText(crl.Issuer())},
                 {"issuerRdns", RdnFacts(crl.Issuer())},
                 {"thisUpdate", TimeFacts(crl.ThisUpdate())},
                 {"thisUpdateWritten", written.thisUpdate},
                 {"revoked", crl.GetSize()},
                 {"signatureOid", OidText(crl.SignatureOid())},
                 {"sha256", Sha256Of(crl.GetBuf(), crl.BufLen())}};
  if (crl.HasNextUpdate()) {
    facts["nextUpdate"] = TimeFacts(crl.NextUpdate());
    facts["nextUpdateWritten"] = written.nextUpdate;
  }
  if (crl.Number() != nullptr) facts["number"] = NumberText(*crl.Number());
  if (crl.DeltaBase() != nullptr) facts["deltaBase"] = NumberText(*crl.DeltaBase());
  if (crl.AuthorityKeyId() != nullptr) facts["authorityKeyId"] = KeyIdText(crl.AuthorityKeyId());
  if (crl.IssuingDP() != nullptr) facts["issuingDistributionPoint"] = ScopeFacts(crl);
  if (crl.FreshestCRL() != nullptr) facts["freshestCRL"] = NameTexts(crl.FreshestCRL()->Names());
  if (crl.UnknownListExt() != nullptr) facts["unknownExtension"] = OidText(*crl.UnknownListExt());
  if (crl.UnknownEntryExt() != nullptr) facts["unknownEntryExtension"] = OidText(*crl.UnknownEntryExt());
  facts["limits"] = LimitsOf(crl);
  return facts;
}
