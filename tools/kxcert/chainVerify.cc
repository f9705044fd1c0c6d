// kxcert chain verify: the verdict about a chain, and what every certificate of it has to do with it.
#include <algorithm>
#include <memory>

#include "blackListFile.h"
#include "certFacts.h"
#include "chainBuild.h"
#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/trust/sxRootCA.h"
#include "progressLine.h"
#include "report.h"
#include "revocationOptions.h"
#include "timeText.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxName = 256;  // characters, where many stand

constexpr int kFlags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
constexpr char kNotAsked[] = "not checked, which is not the same as good";

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

// The answer in one line, and what decided.
struct Answer {
  int code;
  int level;  // of the certificate that decided, or -1
  std::vector<sxFact> facts;
  std::string help;
};

struct Decision {
  JudgedChain judged;
  Answer answer;
  MissingIssuer missing;  // when there is no root
  int64_t now;
  bool asksRevocation = false;
  bool isLetPass = false;  // with a status that is not known

  const sxCerts &Path() const { return judged.verdict.path; }
  const sxRootCA *Root() const { return judged.verdict.root; }
  // The path is valid, but what was given is not this path.
  bool IsLeftOver() const { return judged.verdict.code == sxValidation_OK && !judged.leftOver.empty(); }
};

const sxFinding *DecidingFinding(const sxChainVerdict &verdict) {
  for (const sxFinding &finding : verdict.findings) {
    const bool fails = finding.result == sxFindingResult::kFailed;
    if (fails && finding.code == verdict.code && finding.level == verdict.level) return &finding;
  }
  return nullptr;
}

// What would help, as a sentence.
std::string HelpOf(const Decision &decision, const sxFinding *deciding) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  if (verdict.code == sxValidation_OK) return "";
  if (verdict.code == sxValidation_notTrusted) return decision.missing.help;
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

std::string WhereFrom(const sxCert &cert, const GivenCerts &given) {
  for (const auto *list : {&given.endEntity, &given.chain, &given.untrusted, &given.trust}) {
    for (const FoundCert &found : *list) {
      if (*found.cert == cert) return found.where;
    }
  }
  return given.intermediates != nullptr ? "the database" : "";
}

std::string FactText(const sxFact &fact) { return std::string(fact.label) + ": " + VisibleLine(fact.value); }

// Some of the texts are several lines, for dialogues.
std::string TextOf(int code) {
  std::string text = sxValidationRC_GetString(code);
  std::ranges::replace(text, '\n', ' ');
  return text;
}

std::string CodeText(int code) { return std::to_string(code) + " " + TextOf(code); }

std::string RevocationText(const Decision &decision) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  if (!decision.asksRevocation) return kNotAsked;
  if (verdict.code == sxValidation_OK) return "looked into; nothing was revoked";
  if (verdict.code == sxValidation_revoked) return "revoked";
  return sxRevocation_IsUnknown(verdict.code) ? "NOT KNOWN" : "not looked into: something else decided before";
}

void PrintVerdict(const Decision &decision, Report &report) {
  const Answer &answer = decision.answer;
  const sxCerts &chain = decision.Path();
  const bool valid = answer.code == sxValidation_OK;
  const char *const word = valid ? "VALID (" : decision.isLetPass ? "LET PASS, STATUS NOT KNOWN (" : "NOT VALID (";
  report.Verdict(valid, word + std::to_string(answer.code) + "): " + TextOf(answer.code));
  report.Line("  end entity:  " + NameText(chain.Get(0)->Subject()));
  if (decision.Root() != nullptr) report.Line("  root:        " + NameText(decision.Root()->DN()) + " (trusted)");
  if (answer.level >= 0) {
    report.Line("  decided at:  level " + std::to_string(answer.level) + ", " +
                NameText(chain.Get(answer.level)->Subject()));
  }
  for (const sxFact &fact : answer.facts) report.Line("  fact:        " + FactText(fact));
  if (decision.Root() == nullptr) {
    report.Line("  missing:     " + decision.missing.name +
                (decision.missing.keyId.empty() ? "" : ", key id " + decision.missing.keyId));
  }
  if (!valid) report.Line("  what to do:  " + answer.help);
  report.Line("  time:        " + PrintTime(decision.now));
  if (valid) report.Line("  valid until: " + PrintCertTime(sxGetChainExpiration(chain)));
  report.Line("  revocation:  " + RevocationText(decision));
}

// The rules of one result at a level, with their reasons, in one line.
std::string RulesText(const std::vector<sxFinding> &findings, int level, sxFindingResult result) {
  std::string text;
  for (const sxFinding &finding : findings) {
    if (finding.level != level || finding.result != result) continue;
    text += (text.empty() ? "" : ", ") + std::string(finding.rule);
    if (finding.reason != nullptr) text += std::string(" (") + finding.reason + ")";
  }
  return text.empty() ? "nothing" : text;
}

void PrintLevel(int level, const sxCert &cert, const std::vector<sxFinding> &findings,
                const std::vector<sxRevocationEvidence> &evidence, const std::string &where, Report &report) {
  report.Line();
  report.Line("level " + std::to_string(level) + ": " + NameText(cert.Subject()));
  report.Line("  issuer:      " + NameText(cert.Issuer()));
  report.Line("  serial:      " + SerialText(cert) + (where.empty() ? "" : ", from " + where));
  report.Line("  validity:    " + ValidityText(cert));
  report.Line("  key:         " + KeyText(cert) + "; signed: " + SignatureText(cert));
  report.Line("  passed:      " + RulesText(findings, level, sxFindingResult::kPassed));
  report.Line("  not checked: " + RulesText(findings, level, sxFindingResult::kNotChecked));
  for (const sxFinding &finding : findings) {
    if (finding.level != level || finding.result != sxFindingResult::kFailed) continue;
    report.Line("  FAILED:      " + CodeText(finding.code));
    for (const sxFact &fact : finding.facts) report.Line("               " + FactText(fact));
  }
  for (const sxRevocationEvidence &said : evidence) {
    if (said.level == level) report.Line("  looked at:   " + EvidenceText(said));
  }
}

// The other paths that were followed, where there was more than one. Names are cut: sixty paths may have a thousand.
void PrintTried(const sxChainVerdict &verdict, Report &report) {
  if (verdict.tried.size() < 2) return;
  report.Line();
  report.Line("paths tried: " + std::to_string(verdict.tried.size()));
  for (size_t i = 0; i < verdict.tried.size(); ++i) {
    const sxTriedPath &path = verdict.tried[i];
    std::string names;
    for (int level = 0; level <= path.certs.Top(); ++level) {
      const std::string name = NameText(path.certs.Get(level)->Subject());
      names += (level > 0 ? " <- " : "") + (name.size() > kMaxName ? name.substr(0, kMaxName) + "..." : name);
    }
    report.Line("  " + std::to_string(i + 1) + ":           " + names);
    const std::string where = path.level >= 0 ? "level " + std::to_string(path.level) + ", " : "";
    report.Line("               " + CodeText(path.code) + " (" + where + "end: " + path.ended + ")");
  }
  if (verdict.bound != sxSearchBound::kNone) report.Line("  bound:       more paths were not tried");
}

// The library's own JSON, and what only the command knows: the files, and what was left over.
void FillDocument(const Decision &decision, const GivenCerts &given, Facts &document) {
  const Answer &answer = decision.answer;
  document["valid"] = answer.code == sxValidation_OK;
  document.update(Facts::Parsed(decision.judged.verdict.Json().getstr()));
  int level = 0;
  for (Facts &cert : document["path"].Elements()) {
    cert["input"] = VisibleLine(WhereFrom(*decision.Path().Get(level++), given));
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
  document["time"] = {{"seconds", decision.now}, {"text", PrintTime(decision.now)}};
  if (answer.code == sxValidation_OK) {
    const long until = sxGetChainExpiration(decision.Path());
    document["validUntil"] = {{"seconds", until}, {"text", PrintCertTime(until)}};
  }
  document["revocationText"] = RevocationText(decision);
  document["letPass"] = decision.isLetPass;
}

void PrintLevels(const Decision &decision, const GivenCerts &given, Report &report) {
  const sxCerts &chain = decision.Path();
  for (int level = 0; level <= chain.Top(); ++level) {
    const sxCert &cert = *chain.Get(level);
    const sxChainVerdict &verdict = decision.judged.verdict;
    PrintLevel(level, cert, verdict.findings, verdict.evidence, WhereFrom(cert, given), report);
  }
}

void Run(const Options &options, Report &report) {
  Decision decision;
  decision.now = kxClock_Now();  // one time for the whole run
  if (!options.at.empty()) ParseTime(options.at, &decision.now);
  ValidateParams params;
  params.Set_time(decision.now);
  params.Set_cert_start_grace(options.graceStartSec);
  params.Set_cert_end_grace(options.graceEndSec);
  BlackListRef blackList;
  if (!options.blackList.empty()) {
    blackList = ReadBlackList(options.blackList, report);
    if (blackList == nullptr) return;  // without the list nothing may be called valid
    params.Set_BlackList(blackList.get());
  }
  GivenCerts given = ReadGiven(options, report);
  Cert_Cache_DB intermediates;
  if (!options.intermediates.folder.empty()) {
    const std::optional<Db> db = FindDb(options.intermediates, false, report);
    if (db.has_value()) intermediates.InitPath(db->parent.c_str());
    given.intermediates = &intermediates;
  }
  Revocation revocation;
  revocation.SetUp(options.revocation, params, report);
  decision.asksRevocation = revocation.IsOn();
  given.responses = &revocation.Responses();
  given.mayFetch = revocation.Fetches();
  if (report.Worst() != kExitYes) return report.Problem(kExitInputError, "", "no verdict: not all input could be read");
  const HolderRef holder = MakeHolder(given.trust);
  {
    const ProgressLine progress("looking into revocation");
    Decide(given, *holder, params, decision);
  }
  const bool isWhole = TellLookups(options.intermediates.folder, decision.judged.verdict.failedLookups, report);
  if (decision.judged.verdict.code != sxValidation_OK && !isWhole) {
    return report.Problem(kExitInputError, "", "no verdict: not all records could be read");
  }
  decision.isLetPass = options.revocation.softFail && sxRevocation_IsUnknown(decision.answer.code);
  if (decision.answer.code != sxValidation_OK && !decision.isLetPass) report.Worsen(kExitNo);
  FillDocument(decision, given, report.Document());
  PrintVerdict(decision, report);
  PrintLevels(decision, given, report);
  PrintTried(decision.judged.verdict, report);
  if (decision.IsLeftOver()) return;  // told as facts
  for (const FoundCert *found : decision.judged.leftOver) {
    report.Note(found->where, "not part of the chain: " + NameText(found->cert->Subject()));
  }
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
       {"--blacklist", "file with hexadecimal serial numbers, one a line", &options->blackList}},
      [options](Report &report) { Run(*options, report); },
      [options] {
        const bool hasNone = options->files.empty() && options->endEntity.empty();
        return hasNone ? "FILE or --end-entity" : MissingForRevocation(options->revocation);
      }};
  for (const OptionRow &row : RevocationRows(options->revocation)) verb.options.push_back(row);
  return verb;
}
