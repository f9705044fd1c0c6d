// kxcert chain verify: the verdict about a chain, and what every certificate of it has to do with it.
#include <CLI/CLI.hpp>
#include <memory>

#include "blackListFile.h"
#include "certFacts.h"
#include "chainBuild.h"
#include "chainFindings.h"
#include "kxcert/platform/clock.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "report.h"
#include "timeText.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kFlags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
constexpr char kRevocation[] = "not checked, which is not the same as good";

struct Options {
  std::vector<std::string> trust;
  std::vector<std::string> untrusted;
  std::vector<std::string> files;
  std::string at;
  std::string blackList;
  int graceStartSec = kGraceDefault;
  int graceEndSec = kGraceDefault;
};

int64_t g_atSec = 0;
int64_t AtTime() { return g_atSec; }

std::string CheckTime(const std::string &text) {
  int64_t seconds = 0;
  return ParseTime(text, &seconds) ? "" : "not a time: " + VisibleLine(text) + "; write \"2030-01-31 12:00 UTC\"";
}

struct Sources {
  std::vector<FoundCert> trust;
  std::vector<FoundCert> untrusted;
  std::vector<FoundCert> presented;
};

std::vector<FoundCert> ReadAll(const std::vector<std::string> &paths, Report &report) {
  std::vector<FoundCert> all;
  for (const std::string &path : paths) {
    std::vector<FoundCert> found = ReadCerts(path, report);
    std::move(found.begin(), found.end(), std::back_inserter(all));
  }
  return all;
}

struct Decision {
  BuiltChain built;
  Verdict verdict;
  long expirationSec = -1;
  MissingIssuer missing;        // when there is no root
};

Decision Decide(const Sources &sources, sxKeyHolder &holder, const ValidateParams &params) {
  Decision decision{BuildChain(sources.presented, sources.untrusted, holder), {}, -1, {}};
  sxCerts &chain = decision.built.chain;
  if (decision.built.root == nullptr) {
    decision.verdict = Explain(chain, sxValidation_notTrusted, chain.Top());
    decision.missing = FindMissingIssuer(*chain.Get(chain.Top()), holder);
    return decision;
  }
  int level = -1;
  const int code = sxCert_ValCerts(decision.built.root, &chain, nullptr, &decision.expirationSec, params, nullptr, 0,
                                   &level, nullptr, nullptr, kFlags);
  decision.verdict = Explain(chain, code, level);
  return decision;
}

std::string WhereFrom(const sxCert &cert, const Sources &sources) {
  for (const auto *list : {&sources.presented, &sources.untrusted, &sources.trust}) {
    for (const FoundCert &found : *list) {
      if (*found.cert == cert) return found.where;
    }
  }
  return "";
}

std::string Join(const std::vector<std::string> &items) {
  std::string text;
  for (const std::string &item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

// What would help, as sentences.
std::string Help(const Decision &decision) {
  const Verdict &verdict = decision.verdict;
  if (verdict.code == sxValidation_OK) return "";
  if (verdict.code == sxValidation_notTrusted) return decision.missing.help;
  const sxCert *cert = decision.built.chain.Get(verdict.level);
  if (verdict.code == sxValidation_expired && cert != nullptr && cert->notAfter() >= kFirstClampedSec) {
    return "Ask about an earlier time: dates after 2037 count as 1 January 2038.";
  }
  return Advice(verdict.code);
}

void PrintVerdict(const Decision &decision, Report &report) {
  const Verdict &verdict = decision.verdict;
  const sxCerts &chain = decision.built.chain;
  const bool valid = verdict.code == sxValidation_OK;
  report.Verdict(valid, (valid ? "VALID (" : "NOT VALID (") + std::to_string(verdict.code) + "): " + verdict.text);
  report.Line("  end entity:  " + NameText(chain.Get(0)->Subject()));
  if (decision.built.root != nullptr) {
    report.Line("  root:        " + NameText(decision.built.root->DN()) + " (trusted)");
  }
  if (verdict.level >= 0) {
    report.Line("  decided at:  level " + std::to_string(verdict.level) + ", " +
                NameText(chain.Get(verdict.level)->Subject()));
  }
  for (const std::string &fact : verdict.facts) report.Line("  fact:        " + fact);
  if (decision.built.root == nullptr) {
    report.Line("  missing:     " + decision.missing.name +
                (decision.missing.keyId.empty() ? "" : ", key id " + decision.missing.keyId));
  }
  if (!valid) report.Line("  what to do:  " + Help(decision));
  report.Line("  time:        " + PrintTime(kxClock_Now()));
  if (valid) report.Line("  valid until: " + PrintCertTime(decision.expirationSec));
  report.Line(std::string("  revocation:  ") + kRevocation);
}

void PrintLevel(int level, const sxCert &cert, const LevelFindings &findings, const std::string &where,
                Report &report) {
  report.Line();
  report.Line("level " + std::to_string(level) + ": " + NameText(cert.Subject()));
  report.Line("  issuer:      " + NameText(cert.Issuer()));
  report.Line("  serial:      " + SerialText(cert) + (where.empty() ? "" : ", from " + where));
  report.Line("  validity:    " + ValidityText(cert));
  report.Line("  key:         " + KeyText(cert) + "; signed: " + SignatureText(cert));
  report.Line("  passed:      " + (findings.passed.empty() ? "nothing" : Join(findings.passed)));
  for (const Verdict &failed : findings.failed) {
    report.Line("  FAILED:      " + std::to_string(failed.code) + " " + failed.text);
    for (const std::string &fact : failed.facts) report.Line("               " + fact);
  }
}

nlohmann::ordered_json VerdictFacts(const Verdict &verdict) {
  nlohmann::ordered_json facts = {{"code", verdict.code}, {"text", verdict.text}};
  if (verdict.level >= 0) facts["level"] = verdict.level;
  facts["facts"] = nlohmann::ordered_json::array();
  for (const std::string &fact : verdict.facts) facts["facts"].push_back(VisibleLine(fact));
  return facts;
}

void FillDocument(const Decision &decision, nlohmann::ordered_json &document) {
  document["valid"] = decision.verdict.code == sxValidation_OK;
  document["verdict"] = VerdictFacts(decision.verdict);
  const std::string help = Help(decision);
  if (!help.empty()) document["help"] = help;
  if (decision.built.root != nullptr) {
    document["root"] = NameText(decision.built.root->DN());
  } else {
    document["missingIssuer"] = {{"name", decision.missing.name}, {"keyId", decision.missing.keyId}};
  }
  document["time"] = {{"seconds", kxClock_Now()}, {"text", PrintTime(kxClock_Now())}};
  if (decision.verdict.code == sxValidation_OK) {
    document["validUntil"] = {{"seconds", decision.expirationSec}, {"text", PrintCertTime(decision.expirationSec)}};
  }
  document["revocation"] = kRevocation;
}

void PrintLevels(const Decision &decision, const Sources &sources, const ValidateParams &params, Report &report) {
  const sxCerts &chain = decision.built.chain;
  const std::vector<LevelFindings> all =
      FindAll(chain, decision.built.root != nullptr, params, kxClock_Now(), decision.verdict);
  report.Document()["levels"] = nlohmann::ordered_json::array();
  for (int level = 0; level <= chain.Top(); ++level) {
    const LevelFindings &findings = all[static_cast<size_t>(level)];
    const sxCert &cert = *chain.Get(level);
    const std::string where = WhereFrom(cert, sources);
    PrintLevel(level, cert, findings, where, report);
    nlohmann::ordered_json facts = CertFacts(cert);
    facts["input"] = VisibleLine(where);
    facts["passed"] = findings.passed;
    facts["failed"] = nlohmann::ordered_json::array();
    for (const Verdict &failed : findings.failed) facts["failed"].push_back(VerdictFacts(failed));
    report.Document()["levels"].push_back(std::move(facts));
  }
}

void Run(const Options &options, Report &report) {
  g_atSec = kxClock_Now();   // one time for the whole run
  if (!options.at.empty()) ParseTime(options.at, &g_atSec);
  kxClock_SetSource(AtTime);
  ValidateParams params;
  params.Set_cert_start_grace(options.graceStartSec);
  params.Set_cert_end_grace(options.graceEndSec);
  BlackListRef blackList;
  if (!options.blackList.empty()) {
    blackList = ReadBlackList(options.blackList, report);
    if (blackList == nullptr) return;   // without the list nothing may be called valid
    params.Set_BlackList(blackList.get());
  }
  const Sources sources{ReadTrust(options.trust, report), ReadAll(options.untrusted, report),
                        ReadAll(options.files, report)};
  if (sources.presented.empty()) return report.Problem(kExitInputError, "", "no certificate to verify");
  const HolderRef holder = MakeHolder(sources.trust);
  const Decision decision = Decide(sources, *holder, params);
  if (decision.verdict.code != sxValidation_OK) report.Worsen(kExitNo);
  FillDocument(decision, report.Document());
  PrintVerdict(decision, report);
  PrintLevels(decision, sources, params, report);
  for (const FoundCert *unused : decision.built.unused) {
    report.Note(unused->where, "not part of the chain: " + NameText(unused->cert->Subject()));
  }
}

}  // namespace

Action AddChainVerify(CLI::App &verb) {
  const auto options = std::make_shared<Options>();
  verb.add_option("FILE", options->files, "the chain's certificates in any order; - is standard input")->required();
  verb.add_option("--trust", options->trust, "file or folder with trusted roots; may be repeated")
      ->required()
      ->allow_extra_args(false);
  verb.add_option("--untrusted", options->untrusted, "file with issuers that may be missing; may be repeated")
      ->allow_extra_args(false);
  verb.add_option("--at", options->at,
                  "decide as of this time: \"YYYY-MM-DD[ HH:MM[:SS]] [UTC]\" or seconds since 1970")
      ->check(CLI::Validator(CheckTime, "", "time"));
  verb.add_option("--grace-start", options->graceStartSec, "seconds before notBefore that are let pass (7200)")
      ->check(CLI::NonNegativeNumber);
  verb.add_option("--grace-end", options->graceEndSec, "seconds after notAfter that are let pass (0)")
      ->check(CLI::NonNegativeNumber);
  verb.add_option("--blacklist", options->blackList, "file with hexadecimal serial numbers, one a line");
  return [options](Report &report) { Run(*options, report); };
}
