#include "chainReport.h"

#include <algorithm>
#include <string_view>

#include "certFacts.h"
#include "kxcert/trust/sxRootCA.h"
#include "report.h"
#include "revocationOptions.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

constexpr size_t kMaxName = 256;    // characters, where many stand
constexpr size_t kMaxFindings = 8;  // failures that are told at length
constexpr char kNotAsked[] = "not checked, which is not the same as good";

std::string FactText(const sxFact &fact) { return std::string(fact.label) + ": " + VisibleLine(fact.value); }

// Some of the texts are several lines, for dialogues.
std::string TextOf(int code) {
  std::string text = sxValidationRC_GetString(code);
  std::ranges::replace(text, '\n', ' ');
  return text;
}

std::string CodeText(int code) { return std::to_string(code) + " " + TextOf(code); }

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
  if (decision.judged.verdict.rule != nullptr)
    report.Line(std::string("  rule:        ") + decision.judged.verdict.rule);
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

bool FailsAt(const sxChainVerdict &verdict, int level) {
  return std::ranges::any_of(verdict.findings, [level](const sxFinding &finding) {
    return finding.level == level && finding.result == sxFindingResult::kFailed && !finding.isNote;
  });
}

// From the root down, each certificate below and to the right of its issuer.
void PrintPath(const Decision &decision, const GivenCerts &given, Report &report) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  const sxCerts &path = decision.Path();
  report.Line();
  report.Line("path:");
  for (int level = path.Top(); level >= 0; --level) {
    const sxCert &cert = *path.Get(level);
    std::string text(static_cast<size_t>(2 * (path.Top() - level + 1)), ' ');
    text += NameText(cert.Subject());
    const std::string where = WhereFrom(cert, given);
    const bool isRoot = decision.Root() != nullptr && level == path.Top();
    if (isRoot || !where.empty())
      text += std::string(" (") + (isRoot ? "trusted root" : "") + (isRoot && !where.empty() ? ", " : "") + where + ")";
    if (decision.answer.level == level) {
      text += "  <-- decided here";
    } else if (FailsAt(verdict, level)) {
      text += "  <-- failed, too";
    }
    report.Line(text);
  }
}

std::string RuleText(const sxFinding &finding) { return std::string(finding.rule) + " (" + finding.source + ")"; }

// Whoever does what one rule wants done about a certificate has done what the other wants.
bool WantsTheSame(const sxFinding &a, const sxFinding &b) {
  return a.level == b.level && a.advice != nullptr && b.advice != nullptr && std::string_view(a.advice) == b.advice;
}

void PrintAlso(const sxFinding &other, const sxFinding &told, Report &report) {
  std::string text = RuleText(other);
  for (const sxFact &fact : other.facts) {
    const auto isIt = [&fact](const sxFact &known) { return FactText(known) == FactText(fact); };
    if (std::ranges::none_of(told.facts, isIt)) text += ", " + FactText(fact);
  }
  report.Line("  also:        " + text + (other.isNote && !told.isNote ? ", which would refuse it" : ""));
}

// @param same  of the same certificate, with the same advice
void PrintFinding(const Decision &decision, const GivenCerts &given, const sxFinding &finding,
                  const std::vector<const sxFinding *> &same, Report &report) {
  const sxCert &cert = *decision.Path().Get(finding.level);
  const std::string where = WhereFrom(cert, given);
  report.Line();
  report.Line(std::string(finding.isNote ? "WOULD BE REFUSED" : "FAILED") + ": " + RuleText(finding) + ", level " +
              std::to_string(finding.level) + ": " + NameText(cert.Subject()));
  report.Line("  serial:      " + SerialText(cert) + (where.empty() ? "" : ", from " + where));
  if (!finding.isNote) report.Line("  code:        " + CodeText(finding.code));
  for (const sxFact &fact : finding.facts) report.Line("  fact:        " + FactText(fact));
  for (const sxFinding *other : same) PrintAlso(*other, finding, report);
  if (finding.advice != nullptr) report.Line(std::string("  what to do:  ") + finding.advice);
}

// Those that decide first. Of notes there may be dozens.
void PrintFailures(const Decision &decision, const GivenCerts &given, bool verbose, Report &report) {
  std::vector<std::vector<const sxFinding *>> failures;  // each with those that want the same done
  for (const bool isNote : {false, true}) {
    for (const sxFinding &finding : decision.judged.verdict.findings) {
      if (finding.isNote != isNote || finding.result != sxFindingResult::kFailed) continue;
      const auto told =
          std::ranges::find_if(failures, [&](const auto &failure) { return WantsTheSame(*failure[0], finding); });
      if (told != failures.end()) {
        told->push_back(&finding);
      } else {
        failures.push_back({&finding});
      }
    }
  }
  const size_t number = verbose ? failures.size() : std::min(failures.size(), kMaxFindings);
  for (size_t i = 0; i < number; ++i) {
    const std::vector<const sxFinding *> same(failures[i].begin() + 1, failures[i].end());
    PrintFinding(decision, given, *failures[i][0], same, report);
  }
  if (number == failures.size()) return;
  report.Line();
  report.Line("and " + std::to_string(failures.size() - number) +
              " more that failed or would be refused; --verbose tells all");
}

void PrintEvidence(const sxChainVerdict &verdict, Report &report) {
  if (verdict.evidence.empty()) return;
  report.Line();
  for (const sxRevocationEvidence &said : verdict.evidence) {
    report.Line("looked at:   " + EvidenceText(said) + " (level " + std::to_string(said.level) + ")");
  }
}

// Each rule that no certificate was asked about, once, with its reason.
void PrintNotChecked(const sxChainVerdict &verdict, Report &report) {
  std::vector<std::string> asked, all;
  for (const sxFinding &finding : verdict.findings) {
    if (finding.result != sxFindingResult::kNotChecked) asked.emplace_back(finding.rule);
  }
  for (const sxFinding &finding : verdict.findings) {
    if (finding.isNote || finding.result != sxFindingResult::kNotChecked) continue;
    if (std::ranges::find(asked, finding.rule) != asked.end()) continue;
    std::string text = std::string(finding.rule) + " (" + finding.reason + ")";
    if (std::ranges::find(all, text) == all.end()) all.push_back(std::move(text));
  }
  if (all.empty()) return;
  std::string text;
  for (const std::string &one : all) text += (text.empty() ? "" : ", ") + one;
  report.Line();
  report.Line("not checked: " + text);
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
    report.Line("  FAILED:      " + RuleText(finding) + ": " + CodeText(finding.code));
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

void PrintLevels(const Decision &decision, const GivenCerts &given, Report &report) {
  const sxCerts &chain = decision.Path();
  for (int level = 0; level <= chain.Top(); ++level) {
    const sxCert &cert = *chain.Get(level);
    const sxChainVerdict &verdict = decision.judged.verdict;
    PrintLevel(level, cert, verdict.findings, verdict.evidence, WhereFrom(cert, given), report);
  }
}

}  // namespace

std::string WhereFrom(const sxCert &cert, const GivenCerts &given) {
  for (const auto *list : {&given.endEntity, &given.chain, &given.untrusted, &given.trust}) {
    for (const FoundCert &found : *list) {
      if (*found.cert == cert) return found.where;
    }
  }
  return given.intermediates != nullptr ? "the database" : "";
}

std::string RevocationText(const Decision &decision) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  if (!decision.asksRevocation) return kNotAsked;
  if (verdict.code == sxValidation_OK) return "looked into; nothing was revoked";
  if (verdict.code == sxValidation_revoked) return "revoked";
  return sxRevocation_IsUnknown(verdict.code) ? "NOT KNOWN" : "not looked into: something else decided before";
}

void PrintChainReport(const Decision &decision, const GivenCerts &given, bool verbose, Report &report) {
  const sxChainVerdict &verdict = decision.judged.verdict;
  PrintVerdict(decision, report);
  PrintPath(decision, given, report);
  PrintFailures(decision, given, verbose, report);
  PrintEvidence(verdict, report);
  PrintNotChecked(verdict, report);
  if (verbose) PrintLevels(decision, given, report);
  PrintTried(verdict, report);
}
