#include "support/costlyChains.h"

#include <openssl/x509v3.h>

#include <string>

#include "support/notation.h"

namespace {

std::shared_ptr<X509_EXTENSION> Extension(int nid, const Octets &value) {
  const bool isCritical = nid == NID_name_constraints || nid == NID_policy_mappings || nid == NID_policy_constraints;
  const std::unique_ptr<ASN1_OCTET_STRING, decltype(&ASN1_OCTET_STRING_free)> octets(ASN1_OCTET_STRING_new(),
                                                                                     ASN1_OCTET_STRING_free);
  ASN1_OCTET_STRING_set(octets.get(), value.data(), LenOf(value));
  return {X509_EXTENSION_create_by_NID(nullptr, nid, isCritical ? 1 : 0, octets.get()), X509_EXTENSION_free};
}

unsigned char Octet(int number, int shift) { return static_cast<unsigned char>(number >> shift); }

Octets Policy(int number) { return Der(0x06, {0x2A, 3, static_cast<unsigned char>(number)}); }

}  // namespace

CostlyChain::CostlyChain() {
  m_certs.emplace_back("O=root", nullptr, CaOptions());
  AddRoot(m_holder, m_certs.front());
}

void CostlyChain::Add(const char *subject, bool isCA, const std::vector<std::pair<int, Octets>> &extensions) {
  TestCertOptions options = isCA ? CaOptions() : TestCertOptions();
  options.keyOf = &m_certs.front();
  for (const auto &[nid, value] : extensions) options.more.push_back(Extension(nid, value));
  const TestCert &issuer = m_certs.back();
  m_certs.emplace_back(subject, &issuer, options);
}

const char *CostlyChain::Judge(const char *rules, sxChainVerdict *verdict) {
  sxCerts certs;
  for (auto cert = m_certs.rbegin(); cert + 1 != m_certs.rend(); ++cert) certs.Add(cert->Ref());
  sxChainQuestion question;
  question.endEntity = certs.Get(0);
  question.pool = &certs;
  question.holder = &m_holder;
  question.flags = sxValidate_path | sxValidate_signatures;
  question.time = kTestNow;
  if (!sxRuleSet_Find(rules, &question.strict.deciding)) return "no such rules";
  const sxValidationRC code = sxJudgeChain(question, *verdict);
  return code == sxValidation_OK ? "OK" : verdict->rule != nullptr ? verdict->rule : "another";
}

Octets CostlyName(int number) {
  const std::string text = std::to_string(number);
  switch (number % 5) {
    case 0: return Der(0x82, Text("h" + text + ".example"));
    case 1: return Der(0x81, Text("u" + text + "@example.net"));
    case 2: return Der(0x86, Text("https://u" + text + ".example/"));
    case 3: return Der(0x87, {10, Octet(number, 16), Octet(number, 8), Octet(number, 0)});
    default: return Der(0xA4, CaseOctets("30{31{30{06{550403} 0C{\"" + text + "\"}}}}"));
  }
}

Octets CostlyBase(int number) {
  Octets name = CostlyName(number);
  if (number % 5 == 2) name = Der(0x86, Text("u" + std::to_string(number) + ".example"));
  if (number % 5 == 3) name = Der(0x87, {Octets(name.begin() + 2, name.end()), Octets(4, 0xFF)});
  return Der(0x30, name);
}

Octets CostlyMany(int count, int step, Octets (*make)(int)) {
  Octets all;
  for (int i = 0; i < count; ++i) {
    const Octets one = make(step * i);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

std::unique_ptr<CostlyChain> CostlyConstraints(int numBases, int numNames) {
  constexpr int kStep = 7;
  const Octets excluded = Der(0xA1, CostlyMany(numBases, kStep, CostlyBase));
  const Octets names = CostlyMany(numNames, kStep, [](int number) { return CostlyName(number + 1); });
  auto chain = std::make_unique<CostlyChain>();
  chain->Add("O=ca", true, {{NID_name_constraints, Der(0x30, excluded)}});
  chain->Add("O=leaf", false, {{NID_subject_alt_name, Der(0x30, names)}});
  return chain;
}

std::unique_ptr<CostlyChain> CostlyPolicies(int numPolicies, int numLevels) {
  Octets said, mapped;
  for (int from = 0; from < numPolicies; ++from) {
    said = Joined({said, Der(0x30, Policy(from))});
    for (int to = 0; to < numPolicies; ++to) mapped = Joined({mapped, Der(0x30, {Policy(from), Policy(to)})});
  }
  auto chain = std::make_unique<CostlyChain>();
  for (int i = 0; i < numLevels; ++i) {
    chain->Add(("O=ca " + std::to_string(i)).c_str(), true,
               {{NID_certificate_policies, Der(0x30, said)},
                {NID_policy_mappings, Der(0x30, mapped)},
                {NID_policy_constraints, CaseOctets("30{80{00}}")}});
  }
  chain->Add("O=leaf", false, {{NID_certificate_policies, Der(0x30, said)}});
  return chain;
}
