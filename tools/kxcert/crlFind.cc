// kxcert crl find: whether certificates are in a CRL, and what a "no" means.
#include <memory>
#include <optional>

#include "certFacts.h"
#include "certInput.h"
#include "crlFacts.h"
#include "crlInput.h"
#include "kxcert/cert/sxDN.h"
#include "nameInput.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct Options {
  std::string file;
  std::vector<std::string> serials;
  std::vector<std::string> certs;
  std::string issuer;
};

void Tell(const std::string &what, const sxCRL &crl, const sxRevokedEntry *entry, Report &report) {
  Facts facts = {{"asked", what}, {"found", entry != nullptr}};
  if (entry != nullptr) facts["entry"] = EntryFacts(*entry);
  report.Line(what + ": " + (entry != nullptr ? "in the list: " + EntryText(*entry) : "not in the list"));
  if (entry != nullptr && entry->reason == sxCrlReason_removeFromCRL) {
    report.Line(crl.IsDelta() ? "  removed from the list by this delta CRL: not revoked any more"
                              : "  removeFromCRL, which belongs into delta CRLs only");
  }
  report.Document()["answers"].push_back(std::move(facts));
  if (entry == nullptr) report.Worsen(kExitNo);
}

void FindSerials(const Options &options, const sxCRL &crl, const sxDN *issuer, Report &report) {
  for (const std::string &text : options.serials) {
    const std::unique_ptr<sxAsnInt> serial = ParseSerial(text);
    if (serial == nullptr) {
      report.Problem(kExitUsage, text, "not a serial number; write it in hexadecimal");
      continue;
    }
    sxRevokedEntry entry;
    Tell(NumberText(*serial), crl, crl.FindEntry(issuer, *serial, &entry) ? &entry : nullptr, report);
  }
}

// A direct CRL says nothing of other issuers' certificates, whatever their numbers.
void FindCerts(const std::string &file, const sxCRL &crl, Report &report) {
  for (const FoundCert &found : ReadCerts(file, report)) {
    const sxCert &cert = *found.cert;
    if (!crl.IsIndirect() && (cert.Issuer() == nullptr || !crl.Issuer()->Equal(*cert.Issuer()))) {
      report.Problem(kExitInputError, found.where, "is of another issuer: " + NameText(cert.Issuer()));
      continue;
    }
    sxRevokedEntry entry;
    Tell(found.where + ", " + SerialText(cert), crl, crl.FindEntry(cert, &entry) ? &entry : nullptr, report);
  }
}

void Run(const Options &options, Report &report) {
  report.Document()["answers"] = Facts::array();
  std::optional<sxDN> issuer;
  if (!options.issuer.empty()) {
    std::string reason;
    issuer = ReadName(options.issuer, &reason);
    if (!issuer) return report.Problem(kExitUsage, options.issuer, "not a legal name" + reason);
  }
  const FoundCrl found = ReadOneCrl(options.file, report);
  if (found.crl == nullptr) return;
  if (issuer && !found.crl->IsIndirect() && !found.crl->Issuer()->Equal(*issuer)) {
    return report.Problem(kExitInputError, found.where, "is of another issuer: " + NameText(found.crl->Issuer()));
  }
  FindSerials(options, *found.crl, issuer ? &*issuer : nullptr, report);
  for (const std::string &file : options.certs) FindCerts(file, *found.crl, report);
  const bool isLimited = TellLimits(*found.crl, "note: the CRL ", report);
  if (isLimited) report.Line("note: so \"not in the list\" does not mean that a certificate is good");
}

}  // namespace

Verb CrlFind() {
  const auto options = std::make_shared<Options>();
  return {
      {{"FILE", "the CRL; - is standard input", &options->file, true},
       {"SERIAL", "serial numbers in hexadecimal", &options->serials},
       {"--cert", "certificates to look for; may be repeated", &options->certs},
       {"--issuer", "of an indirect CRL: the issuer of the numbers, if not the CRL's", &options->issuer}},
      [options](Report &report) { Run(*options, report); },
      [options] { return options->serials.empty() && options->certs.empty() ? "a serial number or --cert" : nullptr; }};
}
