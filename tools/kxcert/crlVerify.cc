// kxcert crl verify: whether a CRL is its issuer's, in time, and understood; and what it covers.
#include <memory>

#include "certFacts.h"
#include "certInput.h"
#include "crlFacts.h"
#include "crlInput.h"
#include "input.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/clock.h"
#include "report.h"
#include "timeText.h"
#include "unknownParts.h"
#include "verb.h"

namespace {

struct Options {
  std::string file;
  std::string issuer;
  std::string at;
};

// Statements, each checked by itself.
class Statements {
 public:
  explicit Statements(Report &report) : m_report(report) { report.Document()["checks"] = Facts::array(); }

  void Tell(bool isTrue, const std::string &text) {
    m_report.Line((isTrue ? "ok      " : "FAILED  ") + text);
    m_report.Document()["checks"].push_back({{"ok", isTrue}, {"text", text}});
    m_allTrue &= isTrue;
  }
  bool AllTrue() const { return m_allTrue; }

 private:
  Report &m_report;
  bool m_allTrue = true;
};

void CheckIssuer(const sxCRL &crl, const sxCert &issuer, Statements &statements) {
  const bool isNamed = crl.Issuer() != nullptr && issuer.Subject() != nullptr && crl.Issuer()->Equal(*issuer.Subject());
  statements.Tell(isNamed, "issued by " + NameText(crl.Issuer()) +
                               (isNamed ? "" : ", and the certificate is of " + NameText(issuer.Subject())));
  const bool isSigned = crl.VerifySig(issuer.PubKey()) == 0;
  statements.Tell(isSigned, "signed with the certificate's key, " + SignatureText(crl.SignatureOid()));
  // RFC 5280, 6.3.3 (f): where there is a key usage, it allows this.
  const bool maySign = sxCRL_MayBeSignedBy(issuer);
  if (!maySign || issuer.KeyUsage() != nullptr) statements.Tell(maySign, "key usage cRLSign");
  const sxExtKeyID *const wanted = crl.AuthorityKeyId(), *const own = issuer.SubjectKeyId();
  if (wanted != nullptr && own != nullptr && !wanted->KIdBuf().IsEmpty()) {
    statements.Tell(wanted->KIdBuf() == own->KIdBuf(), "authority key identifier " + KeyIdText(wanted));
  }
}

void CheckCertificate(const sxCert &issuer, int64_t now, Statements &statements) {
  const bool isReadable = issuer.notBefore() != kCrlTimeUnreadable;
  statements.Tell(isReadable && issuer.notBefore() <= now && now <= issuer.notAfter(),
                  "certificate in date, " + ValidityText(issuer));
}

void CheckTimes(const sxCRL &crl, int64_t now, Statements &statements) {
  const bool isReadable = crl.ThisUpdate() != kCrlTimeUnreadable;
  statements.Tell(isReadable && crl.ThisUpdate() <= now, "this update " + CrlTimeText(crl.ThisUpdate()));
  if (!crl.HasNextUpdate()) return statements.Tell(false, "no next update: nothing says until when it holds");
  const bool isNextReadable = crl.NextUpdate() != kCrlTimeUnreadable;
  statements.Tell(isNextReadable && now < crl.NextUpdate(), "next update " + CrlTimeText(crl.NextUpdate()));
}

void CheckUnderstood(const sxCRL &crl, Statements &statements) {
  const sxAsnOid *const ofList = crl.UnknownListExt(), *const ofEntry = crl.UnknownEntryExt();
  statements.Tell(ofList == nullptr, ofList == nullptr ? "its extensions are understood"
                                                       : "extension " + OidText(*ofList) + " is not understood");
  if (ofEntry != nullptr) statements.Tell(false, "an entry's extension " + OidText(*ofEntry) + " is not understood");
}

void Run(const Options &options, Report &report) {
  int64_t now = kxClock_Now();
  if (!options.at.empty()) ParseTime(options.at, &now);
  const FoundCert issuer = ReadOneCert(options.issuer, report);
  if (issuer.cert == nullptr) return;
  const FoundCrl found = ReadOneCrl(options.file, report);
  if (found.crl == nullptr) return;
  Statements statements(report);
  CheckIssuer(*found.crl, *issuer.cert, statements);
  CheckCertificate(*issuer.cert, now, statements);
  CheckTimes(*found.crl, now, statements);
  CheckUnderstood(*found.crl, statements);
  report.Document()["input"] = found.where;
  if (!options.at.empty()) report.Document()["at"] = PrintTime(now);
  TellLimits(*found.crl, "note    it ", report);
  report.Document()["valid"] = statements.AllTrue();
  report.Verdict(statements.AllTrue(), statements.AllTrue() ? "valid CRL" : "not a valid CRL");
  if (!statements.AllTrue()) report.Worsen(kExitNo);
}

}  // namespace

Verb CrlVerify() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "the CRL; - is standard input", &options->file, true},
           {"--issuer", "certificate of the one who signed it", &options->issuer, true},
           {"--at", "the time to judge by, instead of now", &options->at, false, CheckTime}},
          [options](Report &report) { Run(*options, report); }};
}
