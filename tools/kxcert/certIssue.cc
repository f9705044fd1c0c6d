// kxcert cert issue: a certificate for a request or a key, as its profile and the options say.
#include <algorithm>
#include <iterator>
#include <memory>

#include "issueOptions.h"
#include "issueProfiles.h"
#include "keyPassword.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "oidInput.h"
#include "report.h"
#include "requestTaken.h"
#include "templateInput.h"
#include "verb.h"

namespace {

constexpr int64_t kDaySec = 86400;

struct Options {
  IssueOptions issue;
  std::string profile;
  std::string request, publicKey;
  std::string subject;
  std::vector<std::string> copies;
};

// What does not go together. @return null, or why
const char *Contradiction(const Options &options, const IssueProfile &profile) {
  const bool isSelfSigned = options.issue.issuerCert.empty();
  if (profile.isSelfSigned && !isSelfSigned) return "a root signs itself: --issuer-cert is not for this profile";
  if (!options.request.empty() && !options.publicKey.empty()) return "--request and --public-key exclude each other";
  if (!options.issue.key.empty() && !isSelfSigned)
    return "--key is for what signs itself; --public-key takes a key, too";
  if (!options.publicKey.empty() && isSelfSigned) return "what signs itself has the key --key";
  if (!options.copies.empty() && options.request.empty()) return "--copy is of a --request";
  return nullptr;
}

// Each returns false for a problem, which has been told.

// Whose certificate it is: subject and key.
bool SetHolder(const Options &options, const Signer &signer, RequestTaken &request, sxCertTemplate &wanted,
               Report &report) {
  if (!options.request.empty()) {
    if (!request.Read(options.request, wanted, report)) return false;
  } else if (options.publicKey.empty()) {
    wanted.SetPubKey(signer.key.key.get());
  } else {
    const FoundKey key = ReadKey(options.publicKey, KeyPart::kAny, report, options.issue.password);
    if (key.key == nullptr) return false;
    if (wanted.SetPubKey(key.key.get()) != 0) {
      return report.Problem(kExitInputError, key.where, "is not a key that certificates have"), false;
    }
  }
  return SetSubject(options.subject, wanted, report);
}

bool SetAllExtensions(const Options &options, const IssueProfile &profile, const RequestTaken &request,
                      sxCertTemplate &wanted, Report &report) {
  if (!SetProfile(profile, wanted)) return report.Problem(kExitInternal, profile.name, "cannot be composed"), false;
  if (!options.request.empty() &&
      !request.TakeExtensions(profile.altNames != AltNames::kNotTaken, options.copies, wanted, report)) {
    return false;
  }
  if (!SetExtensions(options.issue.extensions, wanted, report)) return false;
  if (!options.request.empty()) request.Tell(wanted, report);
  if (profile.altNames == AltNames::kDemanded && FindExtension(wanted, sxASN_id_ce_subjectAltName) == nullptr) {
    report.Problem(kExitUsage, "", std::string("a ") + profile.name + " is known by its alternative names: give --san");
    return false;
  }
  return true;
}

void Run(const Options &options, Report &report) {
  const IssueProfile &profile = *FindProfile(options.profile);
  if (const char *const why = Contradiction(options, profile)) return report.Problem(kExitUsage, "", why);
  Signer signer;
  RequestTaken request;
  sxCertTemplate wanted;
  if (ReadSigner(options.issue, signer, report) && SetHolder(options, signer, request, wanted, report) &&
      SetAllExtensions(options, profile, request, wanted, report) &&
      SetValidity(options.issue, profile.usualDays * kDaySec, signer, wanted, report)) {
    Issue(options.issue, profile.name, signer, wanted, report);
  }
}

const char *Missing(const Options &options) {
  if (const char *const missing = MissingOfIssuer(options.issue)) return missing;
  if (options.issue.issuerCert.empty()) return options.issue.key.empty() ? "--issuer-cert or --key" : nullptr;
  const bool hasNone = options.request.empty() && options.publicKey.empty() && options.issue.key.empty();
  return hasNone ? "--request or --public-key" : nullptr;
}

}  // namespace

Verb CertIssue() {
  const auto options = std::make_shared<Options>();
  Verb verb = {
      {WithWords(
           {"--profile", "what it is for; ocsp: a signer of OCSP responses", &options->profile, true, CheckProfile},
           ProfileWords),
       {"--request", "PKCS #10 request that it answers", &options->request},
       {"--public-key", "key that it is for, without a request; of a private key the public part", &options->publicKey},
       {"--key", "private key that it is for and signed with, without --issuer-cert", &options->issue.key},
       PasswordRow(options->issue.password),
       {"--subject", "name, as text or DER in hexadecimal; instead of the request's", &options->subject},
       WithWords({"--copy", "NAME|OID of an extension that is taken over from the request; may be repeated",
                  &options->copies, false, CheckExtensionType},
                 ExtensionWords)},
      [options](Report &report) { Run(*options, report); },
      [options] { return Missing(*options); }};
  std::ranges::move(IssueRows(options->issue), std::back_inserter(verb.options));
  return verb;
}
