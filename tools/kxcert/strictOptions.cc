#include "strictOptions.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "oidInput.h"
#include "visibleText.h"

namespace {

constexpr char kUsualSet[] = "rfc5280";
constexpr char kGateway[] = "gateway", kAudit[] = "audit";

sxRuleSet RulesOf(std::string_view name) {
  sxRuleSet rules = 0;
  sxRuleSet_Find(name, &rules);
  return rules;
}

// "a,b,c", one after the other. @return false when it was the last one
bool TakeName(std::string_view *rest, std::string_view *name) {
  const size_t comma = rest->find(',');
  *name = rest->substr(0, comma);
  *rest = comma == std::string_view::npos ? "" : rest->substr(comma + 1);
  return comma != std::string_view::npos;
}

std::string GroupOf(const char *rule) {
  const std::string_view name = rule;
  return std::string(name.substr(0, name.find('.')));
}

Words SetWords() { return {kUsualSet, "server", "client", kGateway, kAudit}; }
Words PurposeWords() { return {"server", "client", "ike", "mail", "code", "timestamping", "ocsp"}; }

// Sets, then each group before its rules.
Words RuleWords() {
  Words words = SetWords();
  sxStrictRuleInfo rule = {};
  for (int i = 0; sxStrictRule_Get(i, &rule); ++i) {
    for (const std::string &word : {GroupOf(rule.name), std::string(rule.name)}) {
      if (std::ranges::find(words, word) == words.end()) words.push_back(word);
    }
  }
  return words;
}

std::string CheckRules(const std::string &text) {
  std::string_view rest = text, name;
  for (bool goesOn = true; goesOn;) {
    goesOn = TakeName(&rest, &name);
    sxRuleSet rules = 0;
    if (!sxRuleSet_Find(name, &rules)) return UnknownWord("rule", name, RuleWords());
  }
  return "";
}

std::string CheckSet(const std::string &text) {
  const Words sets = SetWords();
  return std::ranges::find(sets, text) != sets.end() ? "" : UnknownWord("set of rules", text, sets);
}

bool ReadAnyPurpose(const std::string &text, sxAsnOid *purpose) {
  if (sxPurpose_Find(text, purpose)) return true;
  const std::optional<sxAsnOid> other = ReadPurpose(text);
  if (other.has_value()) *purpose = *other;
  return other.has_value();
}

std::string CheckAnyPurpose(const std::string &text) {
  sxAsnOid purpose;
  if (ReadAnyPurpose(text, &purpose)) return "";
  Words known = PurposeWords();
  std::ranges::copy(ExtKeyUsageWords(), std::back_inserter(known));
  return UnknownWord("purpose", text, known);
}

}  // namespace

std::vector<OptionRow> StrictRows(StrictOptions &options) {
  return {
      WithWords({"--strict{rfc5280}", "refuse what RFC 5280 refuses; or =RULE[,...], these rules, groups and sets",
                 &options.strict, false, CheckRules},
                RuleWords),
      WithWords(
          {"--set", "a set of rules: rfc5280, server, client, gateway (only the usual checks), audit (all, as notes)",
           &options.set, false, CheckSet},
          SetWords),
      WithWords(
          {"--purpose", "what the key must be for: one of these, or an OID", &options.purpose, false, CheckAnyPurpose},
          PurposeWords),
      {"--host", "host name that it must have (A-labels)", &options.host},
      {"--ip", "address that it must have", &options.address},
      {"--mail", "mail address that it must have", &options.mail},
      {"--policy", "OID of a policy that the path must be valid for; may be repeated", &options.policies, false,
       CheckOid},
      {"--inhibit-mapping", "policies of one CA are not those of another, whatever CAs say", &options.inhibitMapping},
      {"--inhibit-any-policy", "any policy of a CA's stands for none", &options.inhibitAnyPolicy},
      {"--min-digest",
       "the shortest digest of a signature (sha256)",
       &options.minDigest,
       false,
       nullptr,
       {{"sha1", sx_md_sha1}, {"sha256", sx_md_sha256}, {"sha384", sx_md_sha384}, {"sha512", sx_md_sha512}},
       "DIGEST"},
      {"--min-rsa", "the fewest bits of an RSA key (2048)", &options.minRsaBits},
      {"--depth", "the most CA certificates between end entity and root", &options.depth},
  };
}

sxStrictQuestion StrictQuestionOf(const StrictOptions &options) {
  sxStrictQuestion question;
  const auto decides = [&question](std::string_view name) { question.deciding |= RulesOf(name); };
  std::string_view rest = options.strict, name;
  for (bool goesOn = !options.strict.empty(); goesOn;) {
    goesOn = TakeName(&rest, &name);
    decides(name);
  }
  if (options.set != kAudit) decides(options.set);
  ReadAnyPurpose(options.set, &question.purpose);  // server and client
  if (!options.purpose.empty()) {
    ReadAnyPurpose(options.purpose, &question.purpose);
    decides("purpose");
  }
  question.host = options.host;
  question.address = options.address;
  question.mail = options.mail;
  for (const auto &[text, rule] : {std::pair(&options.host, "name.host"), std::pair(&options.address, "name.address"),
                                   std::pair(&options.mail, "name.mail")}) {
    if (!text->empty()) decides(rule);
  }
  for (const std::string &policy : options.policies) question.policies.push_back(*ReadOid(policy));
  question.requireExplicitPolicy = !options.policies.empty();
  question.inhibitPolicyMapping = options.inhibitMapping;
  question.inhibitAnyPolicy = options.inhibitAnyPolicy;
  if (!options.policies.empty() || options.inhibitMapping || options.inhibitAnyPolicy) decides("policies");
  if (options.minDigest != 0) {
    question.minDigest = static_cast<sx_md_type>(options.minDigest);
    decides("algorithms.digest");
  }
  if (options.minRsaBits >= 0) {
    question.minRsaBits = options.minRsaBits;
    decides("algorithms.rsaSize");
  }
  if (options.depth >= 0) {
    question.maxDepth = options.depth;
    decides("depth");
  }
  if (options.set != kGateway) question.notes = RulesOf(options.set == kAudit ? kAudit : kUsualSet);
  question.notes &= ~question.deciding;
  return question;
}
