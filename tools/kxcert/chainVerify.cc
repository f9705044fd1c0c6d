// kxcert chain verify: the verdict about a chain, and what every certificate of it has to do with it.
#include <algorithm>
#include <memory>

#include "blackListFile.h"
#include "certFacts.h"
#include "chainReport.h"
#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/trust/sxRootCA.h"
#include "nameForm.h"
#include "progressLine.h"
#include "report.h"
#include "revocationOptions.h"
#include "strictOptions.h"
#include "timeText.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kFlags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;

struct Options {
  std::vector<std::string> trust;
  std::string endEntity;
  std::vector<std::string> untrusted;
  DbOptions intermediates{"", static_cast<int>(sxStoreKind::kCerts)};
  std::vector<std::string> files;
  std::string at;
  std::string blackList;
  int graceStartSec = kGraceDefault;
  int graceEndSec = kGraceDefault;
  RevocationOptions revocation;
  StrictOptions strict;
  bool each = false;
  int expiresWithin = -1;  // days
  bool verbose = false;
};

std::vector<FoundCert> ReadAll(const std::vector<std::string> &paths, Report &report) {
  std::vector<FoundCert> all;
  for (const std::string &path : paths) {
    std::vector<FoundCert> found = ReadCerts(path, report);
    std::move(found.begin(), found.end(), std::back_inserter(all));
  }
  return all;
}

GivenCerts ReadGiven(const Options &options, Report &report) {
  GivenCerts given{
      ReadTrust(options.trust, report), {}, ReadAll(options.files, report), ReadAll(options.untrusted, report)};
  if (!options.endEntity.empty()) given.endEntity = ReadCerts(options.endEntity, report);
  return given;
}

const sxFinding *DecidingFinding(const sxChainVerdict &verdict) {
  for (const sxFinding &finding : verdict.findings) {
    const bool fails = finding.result == sxFindingResult::kFailed;
    const bool isRule = verdict.rule == nullptr || std::string_view(verdict.rule) == finding.rule;
    if (fails && isRule && finding.code == verdict.code && finding.level == verdict.level) return &finding;
  }
  return nullptr;
}

// What would help, as a sentence.
std::string HelpOf(const Decision &decision, const sxFinding *deciding) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  if (verdict.code == sxValidation_OK) return "";
  if (decision.Root() == nullptr) return decision.missing.help;
  const sxCert *cert = verdict.path.Get(verdict.level);
  if (verdict.code == sxValidation_expired && cert != nullptr && cert->notAfter() >= kFirstClampedSec) {
    return "Ask about an earlier time: dates after 2037 count as 1 January 2038.";
  }
  if (sxRevocation_IsUnknown(verdict.code)) {
    return "See below what was looked at; bring a CRL with --crl or an answer with --ocsp-response, or let them be "
           "fetched with --fetch.";
  }
  if (deciding != nullptr && deciding->advice != nullptr) return deciding->advice;
  return "Check the certificates given: one of them cannot be used.";
}

void Decide(const GivenCerts &given, sxKeyHolder &holder, const ValidateParams &params, Decision &decision) {
  const int flags = decision.asksRevocation ? kFlags | sxValidate_revocation : kFlags;
  JudgeGiven(given, holder, params, flags, decision.judged);
  const sxChainVerdict &verdict = decision.judged.verdict;
  if (verdict.root == nullptr) decision.missing = FindMissingIssuer(*verdict.path.Get(verdict.path.Top()), holder);
  if (!decision.IsLeftOver()) {
    const sxFinding *deciding = DecidingFinding(verdict);
    decision.answer = {verdict.code, verdict.level, {}, HelpOf(decision, deciding)};
    if (deciding != nullptr) decision.answer.facts = deciding->facts;
    return;
  }
  decision.answer = {
      sxValidation_inconsistentChain,
      -1,
      {},
      "Name the certificate to judge with --end-entity, or give what may be left over with --untrusted."};
  for (const FoundCert *found : decision.judged.leftOver) {
    decision.answer.facts.push_back(
        {"not part of the chain", NameText(found->cert->Subject()) + ", from " + VisibleLine(found->where)});
  }
}

// The library's own JSON, and what only the command knows: the files, and what was left over.
void FillDocument(const Decision &decision, const GivenCerts &given, Facts &document) {
  const Answer &answer = decision.answer;
  document["valid"] = answer.code == sxValidation_OK;
  document.update(Facts::Parsed(decision.judged.verdict.Json().getstr()));
  for (Facts &said : document["revocation"].Elements()) said.erase("costMs");  // another one every time
  int level = 0;
  for (Facts &told : document["path"].Elements()) {
    const sxCert &cert = *decision.Path().Get(level++);
    Facts facts = CertFacts(cert);
    facts.update(told);  // its times are seconds
    facts["input"] = VisibleLine(WhereFrom(cert, given));
    told = std::move(facts);
  }
  if (decision.IsLeftOver()) {  // what the verdict is about is not what was given
    document["code"] = answer.code;
    document["name"] = "inconsistentChain";
    document["text"] = document["message"] = sxValidationRC_GetString(answer.code);
    document["leftOver"] = Facts::array();
    for (const FoundCert *found : decision.judged.leftOver) {
      document["leftOver"].push_back(
          {{"subject", NameText(found->cert->Subject())}, {"input", VisibleLine(found->where)}});
    }
  }
  if (!answer.help.empty()) document["help"] = answer.help;
  if (decision.Root() == nullptr) {
    document["missingIssuer"] = {{"name", decision.missing.name}, {"keyId", decision.missing.keyId}};
  }
  if (answer.code == sxValidation_OK) {
    const long until = sxGetChainExpiration(decision.Path());
    document["validUntil"] = {{"seconds", until}, {"text", PrintCertTime(until)}};
  }
  document["revocationText"] = RevocationText(decision);
  document["letPass"] = decision.isLetPass;
}

// What was asked, and everything that it is asked with.
struct Question {
  const Options &options;
  GivenCerts given;
  HolderRef holder;
  ValidateParams params;
  int64_t now = 0;  // one time for the whole run
  bool asksRevocation = false;
};

// What of a valid path ends too soon, as the certificates have it written.
void TellEndings(const Question &question, const Decision &decision, Facts &document, Report &report) {
  constexpr int64_t kDaySec = 86400;
  if (question.options.expiresWithin < 0 || decision.answer.code != sxValidation_OK) return;
  const int64_t until = question.now + question.options.expiresWithin * kDaySec;
  document["endsWithin"] = Facts::array();
  for (int level = 0; level <= decision.Path().Top(); ++level) {
    const sxCert &cert = *decision.Path().Get(level);
    const int64_t last = ValidityOf(cert).last;
    if (last >= until) continue;
    report.Worsen(kExitNo);
    report.Line("ENDS SOON:   " + NameText(cert.Subject()) + ", " + PrintTime(last));
    document["endsWithin"].push_back({{"level", level}, {"seconds", last}, {"text", PrintTime(last)}});
  }
}

// Judges once and tells it. @return what the document says of it; null without a verdict
Facts JudgeOne(const Question &question, Report &report) {
  const Options &options = question.options;
  Decision decision;
  decision.now = question.now;
  decision.asksRevocation = question.asksRevocation;
  {
    const ProgressLine progress("looking into revocation");
    Decide(question.given, *question.holder, question.params, decision);
  }
  const bool isWhole = TellLookups(options.intermediates.folder, decision.judged.verdict.failedLookups, report);
  if (decision.judged.verdict.code != sxValidation_OK && !isWhole) {
    report.Problem(kExitInputError, "", "no verdict: not all records could be read");
    return nullptr;
  }
  decision.isLetPass = options.revocation.softFail && sxRevocation_IsUnknown(decision.answer.code);
  if (decision.answer.code != sxValidation_OK && !decision.isLetPass) report.Worsen(kExitNo);
  Facts document;
  FillDocument(decision, question.given, document);
  if (!options.at.empty()) document["time"] = {{"seconds", question.now}, {"text", PrintTime(question.now)}};
  PrintChainReport(decision, question.given, options.verbose, report);
  TellEndings(question, decision, document, report);
  if (decision.IsLeftOver()) return document;  // told as facts
  for (const FoundCert *found : decision.judged.leftOver) {
    report.Note(found->where, "not part of the chain: " + NameText(found->cert->Subject()));
  }
  return document;
}

bool IsCA(const sxCert &cert) {
  const sxBasicConstraint *const constraints = cert.GetBasicConstraint();
  return constraints != nullptr && constraints->IsCA();
}

// Every certificate of the files that is no CA's; the others are as if untrusted.
void JudgeEach(Question &question, Report &report) {
  std::vector<FoundCert> all = std::move(question.given.chain);
  question.given.chain.clear();
  Facts &verdicts = report.Document()["verdicts"] = Facts::array();
  std::vector<FoundCert> ends;
  for (FoundCert &found : all) (IsCA(*found.cert) ? question.given.untrusted : ends).push_back(std::move(found));
  if (ends.empty())
    return report.Problem(kExitInputError, "", "no end entity in it: all certificates are those of CAs");
  const IssuerIndex issuers(std::move(question.given.untrusted));
  for (FoundCert &end : ends) {
    question.given.endEntity.clear();
    report.Line("== " + VisibleLine(end.where));
    question.given.untrusted = issuers.Above(*end.cert);
    question.given.endEntity.push_back(std::move(end));
    Facts verdict = JudgeOne(question, report);
    if (report.IsJson()) verdicts.push_back(std::move(verdict));
    report.Line();
  }
}

void Run(const Options &options, Report &report) {
  Question question{options, {}, nullptr, {}};
  question.now = kxClock_Now();
  if (!options.at.empty()) ParseTime(options.at, &question.now);
  question.params.Set_time(question.now);
  question.params.Set_cert_start_grace(options.graceStartSec);
  question.params.Set_cert_end_grace(options.graceEndSec);
  BlackListRef blackList;
  if (!options.blackList.empty()) {
    blackList = ReadBlackList(options.blackList, report);
    if (blackList == nullptr) return;  // without the list nothing may be called valid
    question.params.Set_BlackList(blackList.get());
  }
  GivenCerts &given = question.given = ReadGiven(options, report);
  Cert_Cache_DB intermediates;
  if (!options.intermediates.folder.empty()) {
    const std::optional<Db> db = FindDb(options.intermediates, false, report);
    if (db.has_value()) intermediates.InitPath(db->parent.c_str());
    given.intermediates = &intermediates;
  }
  Revocation revocation;
  revocation.SetUp(options.revocation, question.params, report);
  question.asksRevocation = revocation.IsOn();
  given.responses = &revocation.Responses();
  given.mayFetch = revocation.Fetches();
  given.strict = StrictQuestionOf(options.strict);
  if (report.Worst() != kExitYes) return report.Problem(kExitInputError, "", "no verdict: not all input could be read");
  question.holder = MakeHolder(given.trust);
  if (options.each && !given.endEntity.empty()) {
    return report.Problem(kExitUsage, "", "--each and --end-entity exclude each other");
  }
  if (options.each) return JudgeEach(question, report);
  const Facts document = JudgeOne(question, report);
  if (!document.empty()) report.Document().update(document);
}

}  // namespace

Verb ChainVerify() {
  const auto options = std::make_shared<Options>();
  Verb verb = {
      {{"FILE", "the chain's certificates in any order; - is standard input", &options->files},
       {"--trust", "file or folder with trusted roots; may be repeated", &options->trust, true},
       {"--end-entity", "file whose first certificate is judged; FILE may hold anything", &options->endEntity},
       {"--untrusted", "file with issuers that need not be used; may be repeated", &options->untrusted},
       {"--intermediates", "certificate database whose issuers need not be used", &options->intermediates.folder},
       {"--at", "decide as of this time: \"YYYY-MM-DD[ HH:MM[:SS]] [UTC]\" or seconds since 1970", &options->at, false,
        CheckTime},
       {"--grace-start", "seconds before notBefore that are let pass (7200)", &options->graceStartSec},
       {"--grace-end", "seconds after notAfter that are let pass (0)", &options->graceEndSec},
       {"--blacklist", "file with hexadecimal serial numbers, one a line", &options->blackList},
       {"--each", "judge every certificate of FILE that is no CA's; the others are as with --untrusted",
        &options->each},
       {"--expires-within", "days in which nothing of the path may end (for monitoring)", &options->expiresWithin},
       {"--verbose", "tell every rule of every certificate", &options->verbose}},
      [options](Report &report) { Run(*options, report); },
      [options] {
        if (options->each && options->files.empty()) return "FILE";
        const bool hasNone = options->files.empty() && options->endEntity.empty();
        return hasNone ? "FILE or --end-entity" : MissingForRevocation(options->revocation);
      }};
  for (const OptionRow &row : RevocationRows(options->revocation)) verb.options.push_back(row);
  for (const OptionRow &row : StrictRows(options->strict)) verb.options.push_back(row);
  verb.options.push_back(NameFormRow());
  return verb;
}
