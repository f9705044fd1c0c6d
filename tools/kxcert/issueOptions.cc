#include "issueOptions.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "certFacts.h"
#include "crlInput.h"
#include "extensionFacts.h"
#include "keyFacts.h"
#include "keyPassword.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/issueCert.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/clock.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr char kPemLabel[] = "CERTIFICATE";
constexpr int kIndent = 1;
constexpr int64_t kDaySec = 86400;
constexpr int64_t kLastSec = 253402300799;  // 9999-12-31 23:59:59 UTC: RFC 5280, 4.1.2.5.2

std::string TextOf(const Validity &validity) { return PrintTime(validity.first) + " to " + PrintTime(validity.last); }

// What the issuer's own validity leaves of it. @return false: a problem, which has been told
bool KeepWithin(const FoundCert &issuer, const IssueOptions &options, Validity *wanted, Report &report) {
  const Validity own = ValidityOf(*issuer.cert);
  if (own.first == -1 || own.last == -1) {
    return report.Problem(kExitInputError, issuer.where, "has a time that cannot be read"), false;
  }
  const bool beginsOutside = wanted->first < own.first || wanted->first > own.last;
  if (beginsOutside || (wanted->last > own.last && !options.notAfter.empty())) {
    report.Problem(kExitInputError, issuer.where,
                   "is valid from " + TextOf(own) + "; what it issues cannot begin or end outside of that");
    return false;
  }
  if (wanted->last <= own.last) return true;
  wanted->last = own.last;
  report.Note(issuer.where, "ends at " + PrintTime(own.last) + ", and so does what it issues");
  return true;
}

// Whether the number is that of the issuer's own certificate, which is among those that it issued (RFC 5280, 4.1.2.2).
bool IsIssuersOwn(const sxAsnInt &serial, const FoundCert &issuer) {
  return issuer.cert != nullptr && issuer.cert->Issuer()->Equal(*issuer.cert->Subject()) &&
         sxCert_IsSameSerialNumber(&serial, issuer.cert->SerialNum()) == 1;
}

void PutLine(SxStream *out, const char *label, const std::string &text) {
  if (text.empty()) return;
  out->Indent(kIndent);
  out->Printf("%s: %s\n", label, text.c_str());
}

void Tell(const sxCert &cert, const std::string &profile, const OutputOptions &output, Report &report) {
  sxCertTemplate made;
  made.Set(&cert);
  SxStream text;
  PutLine(&text, "Subject", NameText(cert.Subject()));
  PutLine(&text, "Issuer", NameText(cert.Issuer()));
  PutLine(&text, "Serial number", SerialText(cert));
  PutLine(&text, "Valid", TextOf(ValidityOf(cert)));
  PutLine(&text, "Profile", profile);
  PutLine(&text, "Public key", KeyName(*cert.PubKey()));
  PutLine(&text, "Signature", SignatureText(cert));
  Facts facts = CertFacts(cert);
  facts["validity"] = TextOf(ValidityOf(cert));
  if (!profile.empty()) facts["profile"] = profile;
  facts.update(ExtensionFacts(made.Tree().extensions, &text, kIndent));
  facts["sha256"] = Sha256Of(cert.GetBuf(), cert.BufLen());
  PutLine(&text, "SHA-256 of the certificate", facts["sha256"].Text());
  report.Document()["certificate"] = std::move(facts);
  if (output.file.empty()) return;
  report.Line(VisibleLine(output.file) + ":");
  report.Line(TrimEnd(text.Text()));
}

}  // namespace

std::vector<OptionRow> IssueRows(IssueOptions &options) {
  std::vector<OptionRow> rows = {
      {"--issuer-cert", "certificate of the CA that issues it; without one it signs itself", &options.issuerCert},
      {"--issuer-key", "the CA's private key", &options.issuerKey},
      PasswordRow(options.issuerPassword, "--issuer-password"),
      {"--days", "how long it is valid; what goes beyond the issuer's end is cut", &options.days},
      {"--not-before", "when it becomes valid; now unless given", &options.notBefore, false, CheckTime},
      {"--not-after", "until when it is valid, instead of --days; not beyond the issuer's end", &options.notAfter,
       false, CheckTime},
      {"--serial", "its number in hexadecimal; drawn unless given", &options.serial, false, CheckSerial},
      {"--key-id",
       "how keys are identified: sha1 (RFC 5280) unless given, or sha256 (RFC 7093)",
       &options.keyIdMd,
       false,
       nullptr,
       {{"sha1", sx_md_sha1}, {"sha256", sx_md_sha256}},
       "DIGEST"},
      DigestRow(options.digest),
      ObjectFormRow(options.form)};
  std::ranges::move(ExtensionRows(options.extensions), std::back_inserter(rows));
  std::ranges::move(OutputRows(options.output), std::back_inserter(rows));
  return rows;
}

const char *MissingOfIssuer(const IssueOptions &options) {
  if (!options.issuerCert.empty() && options.issuerKey.empty()) return "--issuer-key";
  if (options.issuerCert.empty() && !options.issuerKey.empty()) return "--issuer-cert";
  return nullptr;
}

bool ReadSigner(const IssueOptions &options, Signer &signer, Report &report) {
  if (options.issuerCert.empty()) {
    signer.key = ReadKey(options.key, KeyPart::kPrivate, report, options.password);
    return signer.key.key != nullptr;
  }
  signer.issuer = ReadOneCert(options.issuerCert, report);
  if (signer.issuer.cert == nullptr) return false;
  signer.key = ReadKey(options.issuerKey, KeyPart::kPrivate, report, options.issuerPassword);
  return signer.key.key != nullptr;
}

bool SetValidity(const IssueOptions &options, int64_t usualSec, const Signer &signer, sxCertTemplate &wanted,
                 Report &report) {
  const auto refuse = [&report](const char *why) { return report.Problem(kExitUsage, "", why), false; };
  if (options.days >= 0 && !options.notAfter.empty()) return refuse("--days and --not-after exclude each other");
  if (options.days == 0) return refuse("--days is at least 1");
  Validity validity;
  validity.first = kxClock_Now();
  if (!options.notBefore.empty()) ParseTime(options.notBefore, &validity.first);
  // The second of notAfter still counts: RFC 5280, 4.1.2.5.
  validity.last = validity.first + (options.days > 0 ? options.days * kDaySec : usualSec) - 1;
  if (!options.notAfter.empty()) ParseTime(options.notAfter, &validity.last);
  if (validity.last > kLastSec) return refuse("no certificate lasts beyond the year 9999");
  if (validity.last < validity.first) return refuse("it would end before it begins");
  if (signer.issuer.cert != nullptr && !KeepWithin(signer.issuer, options, &validity, report)) return false;
  wanted.SetValidity(validity.first, validity.last);
  return true;
}

bool Issue(const IssueOptions &options, const std::string &profile, const Signer &signer, sxCertTemplate &wanted,
           Report &report) {
  const std::unique_ptr<sxAsnInt> serial = options.serial.empty() ? nullptr : ParseSerial(options.serial);
  if (serial != nullptr && IsIssuersOwn(*serial, signer.issuer)) {
    report.Problem(kExitUsage, "--serial", "is the issuer's own: each of an issuer has another number");
    return false;
  }
  if (serial != nullptr) wanted.SetSerialNum(serial.get());
  sxSignOptions how;
  how.md = static_cast<sx_md_type>(options.digest);
  if (options.keyIdMd != 0) how.keyIdMd = static_cast<sx_md_type>(options.keyIdMd);
  sxCert *made = nullptr;
  const sxIssueStatus status = sxIssueCert(wanted, signer.issuer.cert.get(), signer.key.key.get(), how, &made);
  const CertRef cert(made);
  if (status != sxIssue_ok) {
    report.Problem(kExitInputError, "", std::string("no certificate can be made: ") + sxIssueStatusText(status));
    return false;
  }
  if (!WriteObject({cert->GetBuf(), cert->BufLen()}, kPemLabel, options.form, options.output, report)) return false;
  return Tell(*cert, profile, options.output, report), true;
}
