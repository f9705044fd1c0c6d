// kxcert ocsp ask: what responders say of certificates; or what a response says that is there already.
#include <memory>
#include <optional>

#include "certInput.h"
#include "fetching.h"
#include "input.h"
#include "keyOutput.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/clock.h"
#include "kxcert/trust/ocsp.h"
#include "ocspFacts.h"
#include "progressLine.h"
#include "report.h"
#include "revocationOptions.h"
#include "timeText.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct Options {
  std::vector<std::string> files;
  std::string issuer;
  std::string responder;
  std::vector<std::string> urls;
  int nonce = static_cast<int>(sxOcspNonce::kOff);
  bool sha256 = false;
  std::string at;
  std::string response;
  std::string requestOut;
  std::string out;
  bool force = false;
  bool allowPrivate = false;
};

struct Given {
  std::vector<FoundCert> certs;
  std::vector<FoundCert> issuers;
  std::vector<FoundCert> responders;
  sxOcspPolicy policy;
  int64_t timeSec = 0;

  sxCert *IssuerOf(const sxCert &cert) const {
    for (const FoundCert &each : issuers) {
      if (cert.Issuer()->Equal(*each.cert->Subject()) && cert.VerifySig(each.cert->PubKey()) == 0)
        return each.cert.get();
    }
    return nullptr;
  }
};

void Tell(const FoundCert &asked, const sxOcspOutcome &outcome, Report &report) {
  const sxOcspAnswer &answer = outcome.answer;
  std::string text = sxOcspResult_GetString(answer.result);
  if (*answer.why != '\0') text += std::string(": ") + answer.why;
  if (answer.result >= sxOcsp_good && answer.signerMustBeChecked) {
    text += ", if the responder's certificate is not revoked; that was not checked";
  }
  Facts facts = {{"certificate", asked.where},
                 {"result", static_cast<int>(answer.result)},
                 {"text", sxOcspResult_GetString(answer.result)},
                 {"why", answer.why}};
  report.Verdict(answer.result == sxOcsp_good, asked.where + ": " + text);
  TellAnswer(answer, report, facts);
  TellAsked(outcome.asked, report, facts);
  if (answer.result != sxOcsp_good) report.Worsen(kExitNo);
  report.Document()["answers"].push_back(std::move(facts));
}

bool WriteTo(const std::string &file, std::span<const unsigned char> octets, bool force, Report &report) {
  return WriteOctets(octets, {file, force}, report);
}

sxOcspOutcome Judge(const FoundCert &asked, sxCert *issuer, const Given &given, const kxBinBuf &octets) {
  sxOcspQuestion question;
  question.cert = asked.cert.get();
  question.issuer = issuer;
  question.responder = given.responders.empty() ? nullptr : given.responders[0].cert.get();
  question.policy = given.policy;
  question.timeSec = given.timeSec;
  sxOcspOutcome outcome;
  outcome.answer = sxOcsp_Judge(octets.Data(), octets.Len(), question);
  return outcome;
}

std::vector<sxOcspResponder> RespondersFor(const sxCert &cert, const Options &options, const Given &given) {
  std::vector<sxOcspResponder> responders;
  for (const std::string &url : options.urls) responders.emplace_back().url = url;
  if (options.urls.empty()) responders = sxOcsp_RespondersOf(cert, nullptr);
  for (sxOcspResponder &each : responders) {
    each.configured = !options.urls.empty();
    if (given.responders.empty()) continue;
    sxCert_Save(given.responders[0].cert.get());
    each.cert.Add(given.responders[0].cert.get());
  }
  return responders;
}

void AskFor(const FoundCert &asked, sxCert *issuer, const Options &options, const Given &given, Report &report) {
  sxOcspAsk ask;
  ask.cert = asked.cert.get();
  ask.issuer = issuer;
  ask.responders = RespondersFor(*asked.cert, options, given);
  ask.policy = given.policy;
  sxOcspOutcome outcome;
  {
    const ProgressLine progress("asking for the status of a certificate");
    outcome = sxOcsp_Wait(ask);
  }
  Tell(asked, outcome, report);
  if (options.out.empty()) return;
  if (outcome.octets == nullptr) return report.Note(options.out, "there is no response to be written");
  WriteTo(options.out, *outcome.octets, options.force, report);
}

void WriteRequest(const std::vector<sxOcspSubject> &subjects, const Options &options, const Given &given,
                  Report &report) {
  sxOcspRequest request;
  if (sxOcsp_MakeRequest(subjects, given.policy, &request) != 0) {
    return report.Problem(kExitInputError, "", "no request can be made of these certificates");
  }
  WriteTo(options.requestOut, request.der, options.force, report);
}

bool ReadGiven(const Options &options, Given &given, Report &report) {
  given.issuers = ReadCerts(options.issuer, report);
  if (!options.responder.empty()) given.responders = ReadCerts(options.responder, report);
  for (const std::string &file : options.files) {
    for (FoundCert &found : ReadCerts(file, report)) given.certs.push_back(std::move(found));
  }
  given.policy.nonce = static_cast<sxOcspNonce>(options.nonce);
  given.policy.certIdDigest = options.sha256 ? sx_md_sha256 : sx_md_sha1;
  given.timeSec = kxClock_Now();
  if (!options.at.empty()) ParseTime(options.at, &given.timeSec);
  return !given.issuers.empty() && (options.responder.empty() || !given.responders.empty());
}

void Run(const Options &options, Report &report) {
  report.Document()["answers"] = Facts::array();
  Given given;
  if (!ReadGiven(options, given, report)) return;
  if (given.certs.size() > 1 && !options.out.empty()) {
    return report.Problem(kExitUsage, options.out, "--out takes the response about one certificate");
  }
  const bool judgesOnly = !options.response.empty();
  if (judgesOnly && given.policy.nonce != sxOcspNonce::kOff) {
    return report.Problem(kExitUsage, options.response, "nobody knows which nonce was sent for it");
  }
  kxBinBuf response;
  if (judgesOnly) {
    const std::string error = ReadOctets(options.response, response);
    if (!error.empty()) return report.Problem(kExitInputError, InputName(options.response), error);
  }
  std::optional<Fetching> fetching;
  if (!judgesOnly && options.requestOut.empty())
    fetching.emplace(options.allowPrivate, std::vector<std::string>(), report);
  std::vector<sxOcspSubject> subjects;
  for (const FoundCert &asked : given.certs) {
    sxCert *const issuer = given.IssuerOf(*asked.cert);
    if (issuer == nullptr) {
      report.Problem(kExitInputError, asked.where, "none of the certificates of --issuer signed it");
    } else if (!options.requestOut.empty()) {
      subjects.push_back({asked.cert.get(), issuer});
    } else if (judgesOnly) {
      Tell(asked, Judge(asked, issuer, given, response), report);
    } else {
      AskFor(asked, issuer, options, given, report);
    }
  }
  if (!subjects.empty()) WriteRequest(subjects, options, given, report);
}

std::string CheckUrl(const std::string &text) {
  const bool isHttp = text.starts_with("http://") || text.starts_with("https://");
  return isHttp && kxFetch_IsUrl(text) ? "" : "not a URL with http or https: " + VisibleLine(text);
}

}  // namespace

Verb OcspAsk() {
  const auto options = std::make_shared<Options>();
  return {{{"CERT", "certificates to ask about; - is standard input", &options->files, true},
           {"--issuer", "certificates, one of which issued them", &options->issuer, true},
           {"--responder", "a certificate whose responses are believed as well", &options->responder},
           {"--url", "responder to ask instead of those that a certificate names; may be repeated", &options->urls,
            false, CheckUrl},
           NonceRow("--nonce", options->nonce),
           {"--sha256", "name certificates by SHA-256 instead of SHA-1", &options->sha256},
           {"--request-out", "write the request to this file and ask nobody", &options->requestOut},
           {"--response", "judge the response in this file and ask nobody", &options->response},
           {"--at", "time at which --response is judged; the default is now", &options->at, false, CheckTime},
           {"--out", "write the response to this file", &options->out},
           {"--allow-private", "also responders on this machine and in private networks", &options->allowPrivate},
           {"--force", "replace what is there", &options->force}},
          [options](Report &report) { Run(*options, report); }};
}
