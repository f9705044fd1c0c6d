// kxcert cert renew: a certificate once more, with a new number and new dates.
#include <algorithm>
#include <iterator>
#include <memory>

#include "certFacts.h"
#include "crlInput.h"
#include "issueOptions.h"
#include "keyPassword.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "report.h"
#include "requestInput.h"
#include "templateInput.h"
#include "verb.h"

namespace {

constinit const sxAsnOid kTimestampList({1, 3, 6, 1, 4, 1, 11129, 2, 4, 2});  // RFC 6962, 3.3

struct Options {
  IssueOptions issue;
  std::string file;
  std::string request;
  std::string oldIssuer;
};

bool IsSelfSigned(const Options &options) { return options.issue.issuerCert.empty(); }

// What does not go together. @return null, or why
const char *Contradiction(const Options &options) {
  if (!options.oldIssuer.empty() && IsSelfSigned(options)) return "--old-issuer goes with --issuer-cert";
  const bool hasTwoKeys = !options.request.empty() && !options.issue.key.empty() && !IsSelfSigned(options);
  return hasTwoKeys ? "--request and --key exclude each other" : nullptr;
}

// Each returns false for a problem, which has been told.

// What is in the file becomes a certificate again, so it must be one of the CA: anybody can write its name into a file.
bool IsTheirs(const Options &options, const FoundCert &old, const Signer &signer, Report &report) {
  if (IsSelfSigned(options)) {
    if (old.cert->Issuer()->Equal(*old.cert->Subject()) && old.cert->VerifySig(old.cert->PubKey()) == 0) return true;
    return report.Problem(kExitUsage, old.where, "does not sign itself: give --issuer-cert and --issuer-key"), false;
  }
  FoundCert other;
  if (!options.oldIssuer.empty()) {
    other = ReadOneCert(options.oldIssuer, report);
    if (other.cert == nullptr) return false;
  }
  const FoundCert &issuer = options.oldIssuer.empty() ? signer.issuer : other;
  if (old.cert->Issuer()->Equal(*issuer.cert->Subject()) && old.cert->VerifySig(issuer.cert->PubKey()) == 0) {
    return true;
  }
  report.Problem(kExitNo, old.where,
                 "refused: it was not issued by " + NameText(issuer.cert->Subject()) +
                     " with this key; --old-issuer names who issued it");
  return false;
}

// The key of the old one, or another one that was given.
bool SetKey(const Options &options, const sxCert &old, const Signer &signer, sxCertTemplate &wanted, Report &report) {
  FoundKey given;
  FoundRequest request;
  sxPubKey *key = IsSelfSigned(options) ? signer.key.key.get() : old.PubKey();
  if (!options.request.empty()) {
    request = ReadProvenRequest(options.request, report);
    if (request.request == nullptr) return false;
    if (!request.request->Subject()->Equal(*old.Subject())) {
      report.Note(request.where, "asks for the subject " + NameText(request.request->Subject()) + ", not taken");
    }
    if (request.request->AllExtensions() != nullptr) {
      report.Note(request.where, "asks for extensions, which are not taken: those of the old certificate stay");
    }
    key = request.request->PubKey();
  } else if (!options.issue.key.empty() && !IsSelfSigned(options)) {
    given = ReadKey(options.issue.key, KeyPart::kAny, report, options.issue.password);
    if (given.key == nullptr) return false;
    key = given.key.get();
  }
  const bool isOther = sxPubKey_Equal(old.PubKey(), key) == 0;
  // Its identifier is made anew where it would not be the key's.
  if (isOther || options.issue.keyIdMd != 0) wanted.RemoveExtension(sxASN_id_ce_subjectKeyIdentifier);
  if (!isOther) return true;
  if (wanted.SetPubKey(key) == 0) return true;
  return report.Problem(kExitInputError, "", "the key is not one that certificates have"), false;
}

// What is about the old certificate, and not about its holder.
void DropWhatWasOfTheOldOne(const Options &options, const FoundCert &old, sxCertTemplate &wanted, Report &report) {
  wanted.SetSerialNum(nullptr);
  wanted.SetIssuer(nullptr);
  wanted.SetVersion(0);
  if (FindExtension(wanted, kTimestampList) != nullptr) {
    wanted.RemoveExtension(kTimestampList);
    report.Note(old.where, "its certificate timestamps are about it alone, and left out");
  }
  const ExtensionOptions &given = options.issue.extensions;
  const bool isElsewhere = !options.oldIssuer.empty() && given.crlUris.empty() && given.ocspUris.empty() &&
                           given.issuerUris.empty() &&
                           (FindExtension(wanted, sxASN_id_ce_cRLDistributionPoints) != nullptr ||
                            FindExtension(wanted, sxASN_id_pe_authorityInfoAccess) != nullptr);
  if (isElsewhere) {
    report.Note(old.where, "where CRLs, responders and issuer are is still told as the old issuer told it");
  }
}

void Run(const Options &options, Report &report) {
  if (const char *const why = Contradiction(options)) return report.Problem(kExitUsage, "", why);
  const FoundCert old = ReadOneCert(options.file, report);
  Signer signer;
  if (old.cert == nullptr || !ReadSigner(options.issue, signer, report) || !IsTheirs(options, old, signer, report)) {
    return;
  }
  if (!options.issue.serial.empty() &&
      sxCert_IsSameSerialNumber(ParseSerial(options.issue.serial).get(), old.cert->SerialNum()) == 1) {
    return report.Problem(kExitUsage, "--serial", "is the old certificate's own: each of an issuer has another number");
  }
  const Validity before = ValidityOf(*old.cert);
  if (before.first == -1 || before.last < before.first) {
    return report.Problem(kExitInputError, old.where, "has a time that cannot be read");
  }
  sxCertTemplate wanted;
  wanted.Set(old.cert.get());
  DropWhatWasOfTheOldOne(options, old, wanted, report);
  if (SetKey(options, *old.cert, signer, wanted, report) && SetExtensions(options.issue.extensions, wanted, report) &&
      SetValidity(options.issue, before.last - before.first + 1, signer, wanted, report) &&
      Issue(options.issue, "", signer, wanted, report)) {
    report.Document()["renews"] = SerialText(*old.cert);
  }
}

const char *Missing(const Options &options) {
  if (const char *const missing = MissingOfIssuer(options.issue)) return missing;
  return IsSelfSigned(options) && options.issue.key.empty() ? "--issuer-cert or --key" : nullptr;
}

}  // namespace

Verb CertRenew() {
  const auto options = std::make_shared<Options>();
  Verb verb = {
      {{"FILE", "the certificate", &options->file, true},
       {"--key", "new key that it is for; of what signs itself the private key, new or not", &options->issue.key},
       PasswordRow(options->issue.password),
       {"--request", "PKCS #10 request for a new key; names and extensions stay", &options->request},
       {"--old-issuer", "certificate of the CA that issued it, where another one issues it now", &options->oldIssuer}},
      [options](Report &report) { Run(*options, report); },
      [options] { return Missing(*options); }};
  std::ranges::move(IssueRows(options->issue), std::back_inserter(verb.options));
  return verb;
}
