// kxcert crl new: makes a CRL, from nothing or from an older one, and signs it.
#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

#include "certFacts.h"
#include "certInput.h"
#include "crlFacts.h"
#include "crlInput.h"
#include "generalNameInput.h"
#include "input.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/digest.h"
#include "logLines.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr char kPemLabel[] = "X509 CRL";
constexpr int kSha1Len = 20;
enum Only : int { kAllCerts, kUserCerts, kCACerts, kAttributeCerts };

struct Options {
  std::string password;
  std::string issuer, key, from;
  std::vector<std::string> revoke, revokeCerts, unrevoke, points;
  std::string thisUpdate, nextUpdate, number, deltaBase;
  int only = kAllCerts;
  int digest = sx_md_sha256;
  int form = kObjectForm_pem;
  OutputOptions output;
};

struct Revocation {
  std::string what;  // a serial number or a file
  int64_t sec = kxClock_Now();
  int reason = sxCrlReason_none;
};

int ReasonOf(const std::string &name) {
  for (int reason = 0; reason <= sxCrlReason_aACompromise; ++reason) {
    if (sxCrlReasonText(reason) != nullptr && name == sxCrlReasonText(reason)) return reason;
  }
  return sxCrlReason_none;
}

Words ReasonWords() {
  Words words;
  for (int reason = 0; reason <= sxCrlReason_aACompromise; ++reason) {
    if (const char *const text = sxCrlReasonText(reason)) words.emplace_back(text);
  }
  return words;
}

// "WHAT[,DATE[,REASON]]". @return "", or what is wrong with it
std::string ParseRevocation(const std::string &text, Revocation *revocation) {
  std::string rest = text, parts[3];
  for (std::string &part : parts) {
    const size_t comma = rest.find(',');
    part = rest.substr(0, comma);
    rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
  }
  revocation->what = parts[0];
  if (parts[0].empty()) return "nothing before the comma";
  if (!parts[1].empty() && !ParseTime(parts[1], &revocation->sec)) return CheckTime(parts[1]);
  revocation->reason = ReasonOf(parts[2]);
  const bool isKnown = parts[2].empty() || revocation->reason != sxCrlReason_none;
  if (!isKnown) return UnknownWord("reason", parts[2], ReasonWords());
  return rest.empty() ? "" : "more than three parts: " + VisibleLine(text);
}

std::string CheckCertRevocation(const std::string &text) {
  Revocation revocation;
  return ParseRevocation(text, &revocation);
}

std::string CheckRevocation(const std::string &text) {
  Revocation revocation;
  const std::string wrong = ParseRevocation(text, &revocation);
  return wrong.empty() ? CheckSerial(revocation.what) : wrong;
}

// Whether it is the issuer's, so that what it says may be signed anew. @return false: a problem, which has been told
bool IsTheirs(const FoundCrl &from, const sxCert &issuer, Report &report) {
  if (!from.crl->Issuer()->Equal(*issuer.Subject())) {
    report.Problem(kExitInputError, from.where, "is of another issuer: " + NameText(from.crl->Issuer()));
    return false;
  }
  if (from.crl->VerifySig(issuer.PubKey()) == 0) return true;
  return report.Problem(kExitInputError, from.where, "is not signed with the certificate's key"), false;
}

// What the certificate says, else what RFC 5280, 4.2.1.2 (1) has it made from: SHA-1 of the key's bits.
kxBinBuf KeyIdOf(const sxCert &issuer) {
  if (issuer.SubjectKeyId() != nullptr) return issuer.SubjectKeyId()->KIdBuf();
  kxBinBuf der;
  sxASN_SubjectPublicKeyInfo info;
  unsigned char digest[kSha1Len] = {};
  if (sxExportKeyInfo(issuer.PubKey(), false, der) != 0 ||
      sxASN_DecodeBuf(info, reinterpret_cast<const char *>(der.Data()), static_cast<int>(der.Len())) != 0 ||
      kx_md_hashbuf(sx_md_sha1, info.subjectPublicKey->Data(), static_cast<size_t>(info.subjectPublicKey->Len()),
                    digest, kSha1Len) != 0) {
    return {};
  }
  return {digest, static_cast<unsigned>(kSha1Len)};
}

// The fields that were given, over those of the older CRL. @return false: a problem, which has been told
bool SetFields(const Options &options, const sxCert &issuer, const sxCRL *from, sxCRL_Encoder &crl, Report &report) {
  int64_t thisUpdate = kxClock_Now(), nextUpdate = 0;
  if (!options.thisUpdate.empty()) ParseTime(options.thisUpdate, &thisUpdate);
  ParseTime(options.nextUpdate, &nextUpdate);
  if (from == nullptr && crl.SetIssuer(*issuer.Subject()) != 0) return false;
  if (crl.SetThisUpdate(thisUpdate) != 0 || crl.SetNextUpdate(nextUpdate) != 0) return false;
  if (options.number.empty()) {
    const bool isLater = from != nullptr && from->Number() != nullptr;
    return report.Problem(kExitUsage, options.from,
                          isLater ? "has the number " + NumberText(*from->Number()) + ": give --number, a larger one"
                                  : "give --number: every CRL has one, larger than any before (RFC 5280, 5.2.3)"),
           false;
  }
  const std::unique_ptr<sxAsnInt> number = ParseSerial(options.number), base = ParseSerial(options.deltaBase);
  if (crl.SetNumber(number.get()) != 0 || (base != nullptr && crl.SetDeltaBase(base.get()) != 0)) return false;
  const sxExtKeyID keyId(sxKeyId_authority, KeyIdOf(issuer));
  return crl.SetAuthorityKeyId(&keyId) == 0;
}

// What was given goes over the scope of the older CRL, the rest of which stays. @return false: told, here or in the log
bool SetScope(const Options &options, sxCRL_Encoder &crl, Report &report) {
  if (options.points.empty() && options.only == kAllCerts) return true;
  if (crl.UnknownListExt() != nullptr) {  // its scope may be what is not understood
    report.Problem(kExitInputError, options.from,
                   "has an extension that is not understood (" + OidText(*crl.UnknownListExt()) +
                       "): its scope cannot be changed");
    return false;
  }
  sxIssuingDP scope = crl.IssuingDP() != nullptr ? *crl.IssuingDP() : sxIssuingDP(sxGeneralNames());
  sxGeneralNames names;
  for (const std::string &point : options.points) {
    const sxGeneralName name(sxGN_uri, point.data(), static_cast<int>(point.size()));
    names.Add(&name);
  }
  if (!options.points.empty()) {
    for (const std::string &text : NameTexts(crl.ScopeNames())) {
      report.Note(options.from, "--idp-uri replaces its distribution point " + text);
    }
    scope.SetFullName(names);
  }
  if (options.only != kAllCerts) {
    if (scope.OnlyUserCerts() || scope.OnlyCACerts() || scope.OnlyAttributeCerts()) {
      report.Note(options.from, "--only replaces the kind of certificates that it covers");
    }
    scope.SetOnlyUserCerts(options.only == kUserCerts);
    scope.SetOnlyCACerts(options.only == kCACerts);
    scope.SetOnlyAttributeCerts(options.only == kAttributeCerts);
  }
  return crl.SetIssuingDP(&scope) == 0;
}

// In two's complement.
std::vector<unsigned char> ContentOf(const sxAsnInt &number) {
  const sxOctets &big = number.BigOctets();
  if (number.IsBig()) return {big.Data(), big.Data() + big.Len()};
  std::vector<unsigned char> octets;
  for (int shift = 24; shift >= 0; shift -= 8)
    octets.push_back(static_cast<unsigned char>(number.GetShortVal() >> shift));
  return octets;
}

// Each returns false for a problem, which has been told.

bool Revoke(const sxAsnInt &serial, const Revocation &revocation, sxCRL_Encoder &crl, Report &report) {
  if (revocation.reason == sxCrlReason_removeFromCRL && !crl.IsDelta()) {
    return report.Problem(kExitUsage, revocation.what, "only a delta CRL removes an entry: give --delta-base"), false;
  }
  const std::vector<unsigned char> octets = ContentOf(serial);
  sxRevokedEntry entry;
  entry.serial = octets.data();
  entry.serialLen = static_cast<int>(octets.size());
  entry.revokedSec = revocation.sec;
  entry.reason = revocation.reason;
  const int rc = crl.AddEntry(entry);
  if (rc == 1) return true;
  report.Problem(kExitInputError, revocation.what, rc == 0 ? "is in the list already" : "cannot be put into a list");
  return false;
}

bool RevokeCert(const std::string &text, const sxCert &issuer, sxCRL_Encoder &crl, Report &report) {
  Revocation revocation;
  ParseRevocation(text, &revocation);
  const FoundCert found = ReadOneCert(revocation.what, report);
  if (found.cert == nullptr) return false;
  if (!found.cert->Issuer()->Equal(*issuer.Subject()) || found.cert->VerifySig(issuer.PubKey()) != 0) {
    return report.Problem(kExitInputError, found.where, "is not a certificate of this issuer"), false;
  }
  return Revoke(*found.cert->SerialNum(), revocation, crl, report);
}

bool ChangeEntries(const Options &options, const sxCert &issuer, sxCRL_Encoder &crl, Report &report) {
  for (const std::string &text : options.unrevoke) {
    if (crl.RemoveEntry(*ParseSerial(text)) != 0) {
      return report.Problem(kExitInputError, text, "is not in the list"), false;
    }
  }
  for (const std::string &text : options.revoke) {
    Revocation revocation;
    ParseRevocation(text, &revocation);
    if (!Revoke(*ParseSerial(revocation.what), revocation, crl, report)) return false;
  }
  return std::ranges::all_of(options.revokeCerts,
                             [&](const std::string &text) { return RevokeCert(text, issuer, crl, report); });
}

void Run(const Options &options, Report &report) {
  const FoundCert found = ReadOneCert(options.issuer, report);
  if (found.cert == nullptr) return;
  const sxCert &issuer = *found.cert;
  if (!sxCRL_MayBeSignedBy(issuer)) {  // RFC 5280, 5 and 4.2.1.3
    return report.Problem(kExitInputError, found.where, "may not sign CRLs: its key usage lacks cRLSign");
  }
  const FoundKey key = ReadKey(options.key, KeyPart::kPrivate, report, options.password);
  if (key.key == nullptr) return;
  if (sxPubKey_Equal(issuer.PubKey(), key.key.get()) == 0) {
    return report.Problem(kExitInputError, key.where, "is not the key of the certificate");
  }
  FoundCrl from;
  if (!options.from.empty()) {
    from = ReadOneCrl(options.from, report);
    if (from.crl == nullptr || !IsTheirs(from, issuer, report)) return;
  }
  const LogLines log;
  const auto crl = from.crl == nullptr ? std::make_unique<sxCRL_Encoder>() : std::make_unique<sxCRL_Encoder>(*from.crl);
  if (from.crl != nullptr && crl->Issuer() == nullptr) {
    return report.Problem(kExitInputError, from.where, "cannot be copied" + log.Reason());
  }
  const bool isSet =
      SetFields(options, issuer, from.crl.get(), *crl, report) && ChangeEntries(options, issuer, *crl, report);
  const bool isScoped = isSet && SetScope(options, *crl, report);
  if (report.Worst() != kExitYes) return;  // it has been told
  CrlRef made;
  if (isScoped) made.reset(crl->Encode(key.key.get(), static_cast<sx_md_type>(options.digest)));
  if (made == nullptr) return report.Problem(kExitInputError, key.where, "no CRL can be made" + log.Reason());
  report.Document()["crl"] = CrlFacts(*made);
  WriteObject({made->GetBuf(), made->BufLen()}, kPemLabel, options.form, options.output, report);
}

}  // namespace

Verb CrlNew() {
  const auto options = std::make_shared<Options>();
  Verb verb = {
      {{"--issuer-cert", "certificate of the one who issues it", &options->issuer, true},
       {"--key", "the certificate's private key", &options->key, true},
       PasswordRow(options->password),
       {"--next-update", "until when it holds", &options->nextUpdate, true, CheckTime},
       {"--from", "CRL of the same issuer to begin with", &options->from},
       {"--revoke", "SERIAL[,TIME[,REASON]], the number in hexadecimal; may be repeated", &options->revoke, false,
        CheckRevocation},
       {"--revoke-cert", "CERT[,TIME[,REASON]], a file with a certificate that it issued; may be repeated",
        &options->revokeCerts, false, CheckCertRevocation},
       {"--unrevoke", "SERIAL that is not to be in it; may be repeated", &options->unrevoke, false, CheckSerial},
       {"--this-update", "when it was issued; now unless given", &options->thisUpdate, false, CheckTime},
       {"--number", "of this CRL, in hexadecimal; larger than any before", &options->number, false, CheckSerial},
       {"--delta-base", "number of the CRL that this one is the difference to", &options->deltaBase, false,
        CheckSerial},
       {"--idp-uri", "distribution point that it covers; may be repeated", &options->points, false, CheckUri},
       {"--only",
        "the certificates that it covers",
        &options->only,
        false,
        nullptr,
        {{"user", kUserCerts}, {"ca", kCACerts}, {"attribute", kAttributeCerts}},
        "KIND"},
       DigestRow(options->digest),
       ObjectFormRow(options->form)},
      [options](Report &report) { Run(*options, report); }};
  std::ranges::move(OutputRows(options->output), std::back_inserter(verb.options));
  return verb;
}
