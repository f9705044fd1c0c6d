// Parts of the strict rules: lines of tests/data/trust/strictRules.txt.
#include <openssl/x509v3.h>

#include <deque>

#include "cert/sxDN_imp.h"
#include "kxcert/cert/sxDN.h"
#include "support/derOctets.h"
#include "support/rows.h"
#include "support/testPki.h"
#include "support/words.h"
#include "trust/strict/hostNames.h"
#include "trust/strict/nameTree.h"
#include "trust/strict/strictPath.h"

namespace {

std::string YesNo(bool holds) { return holds ? "yes" : "no"; }
std::string OrNone(const std::string &text) { return text.empty() ? "none" : text; }

std::string IsHost(const CaseRow &row) {
  const Octets presented = Text(Plain(row[1]));
  return YesNo(MatchesHost(presented, row[2]));
}
std::string IsMailbox(const CaseRow &row) {
  const Octets presented = Text(Plain(row[1]));
  return YesNo(MatchesMailbox(presented, row[2]));
}
std::string AsHost(const CaseRow &row) { return OrNone(HostName(Plain(row[1]))); }

std::string AsAddress(const CaseRow &row) {
  const Octets octets = AddressOctets(Plain(row[1]));
  return octets.empty() ? "none" : AddressText(octets);
}

// Labels of one letter; the name is that long.
std::string HasLength(const CaseRow &row) {
  std::string name;
  while (name.size() < std::stoul(row[1])) name += name.size() % 2 == 0 ? 'a' : '.';
  name.back() = 'a';
  return YesNo(!HostName(name).empty());
}

using Extension = std::shared_ptr<X509_EXTENSION>;
Extension Extended(int nid, const std::string &value) {
  const std::unique_ptr<CONF, decltype(&NCONF_free)> none(NCONF_new(nullptr), NCONF_free);
  X509V3_CTX context{};
  X509V3_set_nconf(&context, none.get());
  Extension made(X509V3_EXT_nconf_nid(none.get(), &context, nid, value.c_str()), X509_EXTENSION_free);
  if (made == nullptr) throw std::runtime_error("no extension: " + value);
  return made;
}

const TestCert &AnyKey() {
  static const TestCert kAny("O=key", nullptr);
  return kAny;
}

std::string JudgeNamesOf(const CaseRow &row) {
  TestCertOptions ca = CaOptions({.keyOf = &AnyKey()}), leaf = {.keyOf = &AnyKey()};
  ca.more.push_back(Extended(NID_name_constraints, "critical," + row[1]));
  const bool isSubject = row[2].starts_with("subject ");
  if (!isSubject && row[2] != "-") leaf.more.push_back(Extended(NID_subject_alt_name, row[2]));
  const TestCert root("O=root", nullptr, CaOptions({.keyOf = &AnyKey()})), issuer("O=issuer", &root, ca);
  const TestCert named(isSubject ? row[2].substr(9) : "O=leaf", &issuer, leaf);
  const sxCerts certs = SetOf({&named, &issuer, &root});
  const sxStrictQuestion question;
  StrictPath path(certs, true, ValidateParams(), question);
  const NameVerdict &verdict = path.Names();
  if (verdict.failures.empty()) return verdict.hasConstraints ? "good" : "unconstrained";
  const NameFailure &failure = verdict.failures.front();
  if (failure.kind == NameFailure::kUnreadable) return failure.level == 1 ? "unreadable" : "at another level";
  const std::string kind = failure.kind == NameFailure::kUnknownKind ? "unknown kind" : failure.facts.at(0).label;
  return failure.level == 0 ? kind + " " + failure.facts.at(0).value : "at another level";
}

std::string IsBelow(const CaseRow &row) {
  sxAnyName base;
  base.kind = sxNameKind::kDn;
  base.dn.emplace(row[1].c_str());
  NameTree tree;
  if (!tree.Add(base)) return "refused";
  const sxDN name(row[2].c_str());
  return tree.Contains({sxNameKind::kDn, "", &name.GetP()->Flat(), "", true}) ? "inside" : "outside";
}

std::string PolicyOid(const std::string &word) { return word == "any" ? "2.5.29.32.0" : "1.2.3." + word; }

// "a,b" with each word changed.
std::string Listed(const std::string &words, const std::function<std::string(const std::string &)> &change) {
  std::string out, word;
  for (std::istringstream in(words); std::getline(in, word, ',');) out += (out.empty() ? "" : ",") + change(word);
  return out;
}

std::string Mapping(const std::string &pair) {
  const size_t colon = pair.find(':');
  return PolicyOid(pair.substr(0, colon)) + ":" + PolicyOid(pair.substr(colon + 1));
}

std::vector<Extension> Policies(Words words) {
  std::vector<Extension> made;
  const std::string said = Take(words, "p="), mapped = Take(words, "m="), needed = Take(words, "e="),
                    unmapped = Take(words, "i="), noAny = Take(words, "a=");
  if (!said.empty()) made.push_back(Extended(NID_certificate_policies, Listed(said, PolicyOid)));
  if (!mapped.empty()) made.push_back(Extended(NID_policy_mappings, Listed(mapped, Mapping)));
  if (!needed.empty()) made.push_back(Extended(NID_policy_constraints, "requireExplicitPolicy:" + needed));
  if (!unmapped.empty()) made.push_back(Extended(NID_policy_constraints, "inhibitPolicyMapping:" + unmapped));
  if (!noAny.empty()) made.push_back(Extended(NID_inhibit_any_policy, noAny));
  if (!words.empty()) throw std::runtime_error("policies: " + words[0]);
  return made;
}

sxStrictQuestion Wanted(const std::string &cell) {
  sxStrictQuestion question;
  for (const std::string &word : Split(cell == "-" ? "" : cell)) {
    if (word == "noMap") question.inhibitPolicyMapping = true;
    else if (word == "noAny") question.inhibitAnyPolicy = true;
    else if (word != "explicit") question.policies.push_back(*OidOf(PolicyOid(word).c_str()));
    if (word != "noMap" && word != "noAny") question.requireExplicitPolicy = true;
  }
  return question;
}

std::string PolicyText(const sxAsnOid &oid) {
  char text[64] = "";
  oid.GetStr(text, sizeof text);
  const std::string all = text;
  return all == PolicyOid("any") ? "any" : all.substr(PolicyOid("").size());
}

std::string JudgePoliciesOf(const CaseRow &row) {
  std::deque<TestCert> made;
  made.emplace_back("O=root", nullptr, CaOptions({.keyOf = &AnyKey()}));
  std::string subject = "O=root", cert;
  for (std::istringstream in(row[1]); std::getline(in, cert, '/');) {
    Words words = Split(cert);
    if (TakeAll(words, "self").empty()) subject = "O=" + std::to_string(made.size());
    TestCertOptions options = CaOptions({.keyOf = &AnyKey()});
    options.more = Policies(words);
    made.emplace_back(subject, &made.back(), options);
  }
  if (row[1].ends_with('/')) made.emplace_back("O=leaf", &made.back(), TestCertOptions({.keyOf = &AnyKey()}));
  sxCerts certs;
  for (auto one = made.rbegin(); one != made.rend(); ++one) certs.Add(one->Ref());
  const sxStrictQuestion question = Wanted(row[2]);
  StrictPath path(certs, true, ValidateParams(), question);
  const PolicyVerdict &verdict = path.Policies();
  const std::string level = " at " + std::to_string(verdict.level);
  if (!verdict.isValid) return (verdict.isMalformed ? "malformed" : "none") + level;
  std::string text;
  for (const sxAsnOid &policy : verdict.policies) text += (text.empty() ? "" : " ") + PolicyText(policy);
  if (text.empty()) return "nothing";
  return text;
}

TEST(StrictRows, SayWhatTheRfcsDo) {
  ExpectRows("trust/strictRules.txt", 4, {{"host", IsHost}, {"hostname", AsHost}, {"length", HasLength},
                                          {"mail", IsMailbox}, {"address", AsAddress}, {"names", JudgeNamesOf},
                                          {"dn", IsBelow}, {"policies", JudgePoliciesOf}});
}

}  // namespace
