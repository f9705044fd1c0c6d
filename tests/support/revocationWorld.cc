#include "support/revocationWorld.h"

#include <gtest/gtest.h>
#include <openssl/conf.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <sstream>

#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/sxRootCA.h"

namespace {

using Words = RevocationWorld::Words;

std::vector<std::string> Split(const std::string &text, char at) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, at);) parts.push_back(part);
  return parts;
}

// The value of a word; "" for one that is there without, or not at all.
std::string ValueOf(const Words &words, const std::string &name) {
  for (const std::string &word : words) {
    if (word.starts_with(name + "=")) return word.substr(name.size() + 1);
  }
  return "";
}
bool Has(const Words &words, const std::string &name) {
  return std::ranges::any_of(words, [&](const std::string &word) { return word == name || word.starts_with(name + "="); });
}

int64_t DayOf(const Words &words, const std::string &name, int64_t other) {
  const std::string value = ValueOf(words, name);
  return kTestNow + (value.empty() ? other : static_cast<int64_t>(std::stod(value) * kTestDay));
}

std::string ConfSections(const std::string &value) {
  std::string names, text = "[main]\n";
  int numNames = 0;
  for (std::string line : Split(value, ';')) {
    if (const size_t at = line.find('@'); at != std::string::npos) {
      const std::string section = "name" + std::to_string(numNames++);
      names += "[" + section + "]\n";
      for (const std::string &part : Split(line.substr(at + 1), '/')) names += part + "\n";
      line = line.substr(0, at) + section;
    }
    text += line + "\n";
  }
  return text + names;
}

X509_EXTENSION *MakeExtension(const char *name, const std::string &sections, const std::string &value, X509V3_CTX *context) {
  const std::shared_ptr<CONF> conf(NCONF_new(nullptr), NCONF_free);
  const std::shared_ptr<BIO> in(BIO_new_mem_buf(sections.data(), static_cast<int>(sections.size())), BIO_free);
  long line = 0;
  EXPECT_EQ(1, NCONF_load_bio(conf.get(), in.get(), &line)) << sections;
  X509V3_set_nconf(context, conf.get());
  X509_EXTENSION *const ext = X509V3_EXT_nconf(conf.get(), context, name, value.c_str());
  EXPECT_NE(nullptr, ext) << name << " " << sections;
  return ext;
}

}  // namespace

void UrlFetcher::Begin(const std::shared_ptr<kxFetchTask> &task) {
  std::unique_lock lock(guard);
  asked.push_back(task->Request().url);
  kxFetchAnswer answer;
  std::vector<unsigned char> octets;
  const auto found = served.find(task->Request().url);
  if (found != served.end() && found->second == std::vector<unsigned char>{'-'}) return held.push_back(task);
  if (found == served.end()) answer.reason = "not found";
  if (found != served.end()) {
    answer.result = kxFetch_OK;
    octets = found->second;
    answer.octets = octets.data();
    answer.len = octets.size();
  }
  lock.unlock();
  task->Answer(answer);
}

RevocationWorld::RevocationWorld() {
  kxFetcher_Set(fetcher);
  sxRevocation_Install({});
}

RevocationWorld::~RevocationWorld() {
  sxRevocation_Remove();
  kxFetcher_Set(nullptr);
}

void RevocationWorld::Cert(const std::string &name, const std::string &subject, const Words &words) {
  TestCertOptions options;
  if (Has(words, "ca")) options = CaOptions();
  if (Has(words, "usage")) options.keyUsage = ValueOf(words, "usage");
  if (Has(words, "serial")) options.serial = ValueOf(words, "serial");
  if (Has(words, "ocsp")) options.access = "OCSP;URI:" + ValueOf(words, "ocsp");
  options.notAfter = kTestNow + 2500 * kTestDay;
  for (const char *point : {"dp", "freshest"}) {
    if (!Has(words, point)) continue;
    X509V3_CTX context;
    X509V3_set_ctx(&context, nullptr, nullptr, nullptr, nullptr, 0);
    const bool isFreshest = std::string(point) == "freshest";
    options.more.emplace_back(MakeExtension(isFreshest ? "freshestCRL" : "crlDistributionPoints",
                                            ConfSections(ValueOf(words, point)), "main", &context),
                              X509_EXTENSION_free);
  }
  const std::string by = ValueOf(words, "by");
  m_certs[name] = std::make_unique<TestCert>(subject, by.empty() ? nullptr : m_certs.at(by).get(), options);
}

void RevocationWorld::Crl(const std::string &name, const std::string &ca, const Words &words) {
  const std::shared_ptr<X509_CRL> crl(X509_CRL_new(), X509_CRL_free);
  const TestCert &issuer = *m_certs.at(ca);
  const TestCert &signer = Has(words, "key") ? *m_certs.at(ValueOf(words, "key")) : issuer;
  X509_CRL_set_version(crl.get(), 1);
  X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(issuer.Native()));
  const std::shared_ptr<ASN1_TIME> from(ASN1_TIME_set(nullptr, DayOf(words, "this", -kTestDay)), ASN1_STRING_free);
  X509_CRL_set1_lastUpdate(crl.get(), from.get());
  if (ValueOf(words, "next") != "-") {
    const std::shared_ptr<ASN1_TIME> to(ASN1_TIME_set(nullptr, DayOf(words, "next", 7 * kTestDay)), ASN1_STRING_free);
    X509_CRL_set1_nextUpdate(crl.get(), to.get());
  }
  X509V3_CTX context;
  X509V3_set_ctx(&context, signer.Native(), nullptr, nullptr, crl.get(), 0);
  const auto add = [&](const char *ext, const std::string &sections, const std::string &value) {
    const std::shared_ptr<X509_EXTENSION> made(MakeExtension(ext, sections, value, &context), X509_EXTENSION_free);
    X509_CRL_add_ext(crl.get(), made.get(), -1);
  };
  const auto addNumber = [&](int kind, const std::string &digits, int critical) {
    const std::shared_ptr<ASN1_INTEGER> number(s2i_ASN1_INTEGER(nullptr, digits.c_str()), ASN1_INTEGER_free);
    X509_CRL_add1_ext_i2d(crl.get(), kind, number.get(), critical, 0);
  };
  if (Has(words, "number")) addNumber(NID_crl_number, ValueOf(words, "number"), 0);
  if (Has(words, "base")) addNumber(NID_delta_crl, ValueOf(words, "base"), 1);
  if (Has(words, "idp")) add("issuingDistributionPoint", ConfSections(ValueOf(words, "idp")), "critical,@main");
  if (Has(words, "freshest")) add("freshestCRL", ConfSections(ValueOf(words, "freshest")), "main");
  if (Has(words, "unknown")) add("1.2.3.4.5", "[main]\n", "critical,DER:0500");
  for (const std::string &word : words) {
    if (!word.starts_with("revoke=")) continue;
    const std::vector<std::string> parts = Split(word.substr(7), ',');
    X509_REVOKED *const entry = X509_REVOKED_new();
    const std::shared_ptr<ASN1_INTEGER> serial(s2i_ASN1_INTEGER(nullptr, ("0x" + parts[0]).c_str()), ASN1_INTEGER_free);
    X509_REVOKED_set_serialNumber(entry, serial.get());
    X509_REVOKED_set_revocationDate(entry, from.get());
    if (parts.size() > 1 && !parts[1].empty()) {
      const std::shared_ptr<ASN1_ENUMERATED> reason(ASN1_ENUMERATED_new(), ASN1_ENUMERATED_free);
      ASN1_ENUMERATED_set(reason.get(), std::stoi(parts[1]));
      X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, reason.get(), 0, 0);
    }
    if (parts.size() > 2) {
      GENERAL_NAMES *const names = GENERAL_NAMES_new();
      GENERAL_NAME *const issuerName = GENERAL_NAME_new();
      issuerName->type = GEN_DIRNAME;
      issuerName->d.directoryName = X509_NAME_dup(X509_get_subject_name(m_certs.at(parts[2])->Native()));
      sk_GENERAL_NAME_push(names, issuerName);
      X509_REVOKED_add1_ext_i2d(entry, NID_certificate_issuer, names, 1, 0);
      GENERAL_NAMES_free(names);
    }
    X509_CRL_add0_revoked(crl.get(), entry);
  }
  EXPECT_LT(0, X509_CRL_sign(crl.get(), signer.Key(), EVP_sha256()));
  unsigned char *der = nullptr;
  const int len = i2d_X509_CRL(crl.get(), &der);
  m_crls[name].assign(der, der + len);
  OPENSSL_free(der);
  if (Has(words, "damage")) m_crls[name].back() ^= 1;
}

void RevocationWorld::Serve(const std::string &url, const std::string &crl) {
  const std::lock_guard lock(fetcher->guard);
  if (crl == "nothing") fetcher->served.erase(url);
  else fetcher->served[url] = crl == "never" ? std::vector<unsigned char>{'-'} : m_crls.at(crl);
}

void RevocationWorld::AnswerHeld(const std::string &crl) {
  kxFetchAnswer answer;
  answer.result = kxFetch_OK;
  answer.octets = m_crls.at(crl).data();
  answer.len = m_crls.at(crl).size();
  std::unique_lock lock(fetcher->guard);
  const auto held = std::exchange(fetcher->held, {});
  lock.unlock();
  for (const auto &task : held) task->Answer(answer);
}

void RevocationWorld::Push(const std::string &crl) {
  sxCRLs crls;
  crls.Add(sxCRL_Decode(m_crls.at(crl).data(), static_cast<int>(m_crls.at(crl).size())));
  sxRevocation_Push(crls, 0);
}

std::string RevocationWorld::Check(const Words &words) {
  const auto number = [&](const char *name, int other) { return Has(words, name) ? std::stoi(ValueOf(words, name)) : other; };
  sxCerts chain;
  for (const std::string &name : Split(Has(words, "chain") ? ValueOf(words, "chain") : "leaf,ca", ',')) {
    chain.Add(m_certs.at(name)->Ref());
  }
  sxCerts pool;
  for (const std::string &name : Split(ValueOf(words, "pool"), ',')) pool.Add(m_certs.at(name)->Ref());
  sxRootCA *const root = new sxRootCA("root", m_certs.at(Has(words, "root") ? ValueOf(words, "root") : "root")->Get(), 0,
                                      sxCaType_other, 0, nullptr, 0, nullptr, number("crlTo", 1));
  root->SetRevocationMethod(static_cast<SxCaRevocationMethod>(number("method", 0)));
  if (Has(words, "forced")) {
    const std::string url = ValueOf(words, "forced");
    auto *const points = new sxGeneralNames;
    const sxGeneralName name(sxGN_uri, url.c_str(), static_cast<int>(url.size()));
    points->Add(&name);
    root->SetForcedCrlDp(points);
  }
  sxRevocationQuestion question;
  question.root = root;
  question.chain = &chain;
  question.pool = &pool;
  question.mayFetch = !Has(words, "stay");
  question.wantsEvidence = true;
  question.timeoutMs = number("ms", 20000);
  question.params.Set_time(DayOf(words, "at", 0));
  question.params.Set_crl_validation(number("crl", 1));
  question.params.Set_ocsp_validation(number("ocsp", 0));
  question.params.Set_crl_size_validation(number("size", 0));
  sxRevocationVerdict verdict;
  sxRevocation_Check(question, verdict);
  std::string text = std::to_string(verdict.code) + " " + std::to_string(verdict.level);
  for (const sxRevocationEvidence &said : verdict.evidence) {
    text += "\n" + std::to_string(said.level) + " " + said.where + ": " + said.outcome;
    if (!said.reason.empty()) text += ", " + said.reason;
  }
  sxFreePKobj(root);
  return text;
}

std::string RevocationWorld::Asked() {
  std::string all;
  const std::lock_guard lock(fetcher->guard);
  for (const std::string &url : fetcher->asked) all += (all.empty() ? "" : " ") + url;
  fetcher->asked.clear();
  return all;
}
