// Chains of tests/data/chain/scenarios.txt, which says how a line is read.
#include <gmock/gmock.h>

#include <algorithm>

#include "cert/serialText.h"
#include "kxcert/cert/signatureCache.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/scenario.h"
#include "support/testRoots.h"
#include "trust/rules.h"

namespace {

constexpr int kChecks = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
const Words kSettings = {"additional", "blacklist",   "constraint", "end-entity", "fact",  "grace-end",
                         "grace-start", "intermediate", "json", "log", "named", "own-chain",  "reason", "run",
                         "time", "tried"};

struct FreeList {
  void operator()(sxcert_black_list *list) const { sxcert_black_list::free(list); }
};

// "expired at leaf: leaf issuer root", with whole names.
std::string ExpectedOf(const Scenario &scenario) {
  std::string text;
  for (const std::string &word : scenario.Certs(scenario[3])) text += (text.empty() ? "" : " ") + word;
  return text;
}

int SecondsOf(const Scenario &scenario, const std::string &setting) {
  const std::string text = scenario.One(setting);
  return text.empty() ? kGraceDefault : std::stoi(text);
}

struct ChainAnswer {
  std::string verdict = "notTrusted";  // as ExpectedOf() says it
  sxValidationRC rc = sxValidation_notTrusted;
  int level = -1;
  long expirationSec = -1;
  long chainExpirationSec = -1;   // as sxGetChainExpiration says
  std::string text;               // the message, empty on success and without trust; or the JSON
  std::string subject;            // at the level; empty without one
  std::string serial;
  Words tried;                    // "expired at 1: why it ended"; of the call that is told the end entity
};

std::string NamesOf(const sxCerts &certs, CertNames &names) {
  std::string all;
  for (int i = 0; i <= certs.Top(); ++i) all += (i > 0 ? " " : "") + names[StringOf(DerOf(*certs.Get(i)))];
  return all;
}

// What one question needs. A certificate that cannot be read makes all of it unreadable.
class Court {
 public:
  explicit Court(const Scenario &scenario)
      : m_scenario(scenario),
        m_holder(scenario.One("intermediate").empty()
                     ? sxKeyHolder_New()
                     : sxKeyHolder_with_cache(4, 0, sxKeyHolder_cachedIntermediates)) {
    m_chain = Load(scenario.Certs(scenario[1]));
    LoadRoots();
    const sxCerts own = Load(scenario.Certs(scenario.One("own-chain")));
    if (own.Count() > 0) {
      const PkRef<sxCertifiedKey> key(new sxCertifiedKey("own", own, m_firstRoot.get(), nullptr, 0, nullptr, 0));
      m_holder->AddCertKey(key.get());
    }
    const sxCerts kept = Load(scenario.Certs(scenario.One("intermediate")));
    for (int i = 0; i <= kept.Top(); ++i) m_holder->AddIntermediateCA(kept.Get(i));
    m_params.Set_cert_start_grace(SecondsOf(scenario, "grace-start"));
    m_params.Set_cert_end_grace(SecondsOf(scenario, "grace-end"));
    m_now = scenario.Now();
    for (const std::string &serial : scenario.All("blacklist")) m_blackList->AddFromString(sxString(serial.c_str()));
    if (!scenario.All("blacklist").empty()) m_params.Set_BlackList(m_blackList.get());
  }

  bool IsReadable() const { return m_isReadable; }

  static ChainAnswer Unreadable() {
    ChainAnswer answer;
    answer.verdict = "unreadable";
    return answer;
  }

  ChainAnswer Choose() {
    sxCerts path = m_chain;
    const std::string run = m_scenario.One("run");
    if (run == "sort fix") sxCerts_Sort(path);
    sxRootCA *root = run.empty() ? m_holder->IsChainTrusted(m_chain, path) : sxCert_FixChain(&path, *m_holder);
    if (root == nullptr) return {};
    const FixedClock clock(m_now);
    char text[1024];
    ChainAnswer answer;
    const sxValidationRC rc = sxCert_ValCerts(root, &path, nullptr, &answer.expirationSec, m_params, text, sizeof text,
                                              &answer.level, nullptr, nullptr, kChecks);
    answer.text = text;
    answer.chainExpirationSec = sxGetChainExpiration(path);
    Tell(rc, path, answer);
    return answer;
  }

  ChainAnswer AskAbout(const std::string &name, bool backwards) {
    sxCerts pool, sorted;
    for (int i = 0; i <= m_chain.Top(); ++i) {
      pool.Add(m_chain.Get(backwards ? m_chain.Top() - i : i));
      sxSaveSigned(m_chain.Get(i));
    }
    sxCerts_Sort(m_chain, sorted);
    const sxCerts named = Load(m_scenario.Certs(name));
    sxChainVerdict verdict;
    sxChainQuestion question;
    question.endEntity = named.Count() > 0 ? named.Get(0) : sorted.Get(0);
    question.pool = &pool;
    question.holder = m_holder.get();
    question.params = m_params;
    question.flags = kChecks;
    question.time = m_now;
    question.wantsFindings = true;
    ChainAnswer answer;
    sxJudgeChain(question, verdict);
    answer.level = verdict.level;
    answer.text = verdict.Json().getstr();
    for (const sxTriedPath &path : verdict.tried) {
      answer.tried.push_back(std::string(sxValidationName(path.code)) + " at " + std::to_string(path.level) + ": " +
                             path.ended);
    }
    Tell(verdict.code, verdict.path, answer);
    if (verdict.code == sxValidation_notTrusted) answer.verdict = "notTrusted";
    if (verdict.path.Get(0) == nullptr || !(*verdict.path.Get(0) == *question.endEntity)) answer.verdict += "!";
    return answer;
  }

 private:
  void Tell(sxValidationRC rc, const sxCerts &path, ChainAnswer &answer) {
    answer.rc = rc;
    answer.verdict = sxValidationName(rc);
    if (const sxCert *blamed = path.Get(answer.level); blamed != nullptr) {
      answer.subject = blamed->Subject()->GetStr();
      answer.serial = sxSerialText(*blamed->SerialNum());
      answer.verdict += " at " + m_names[StringOf(DerOf(*blamed))];
    }
    answer.verdict += ": " + NamesOf(path, m_names);
  }

  sxCerts Load(const Words &names) {
    const sxCerts certs = LoadCerts(names, m_names);
    m_isReadable = m_isReadable && certs.Count() == static_cast<int>(names.size());
    return certs;
  }

  void LoadRoots() {
    const sxCerts certs = Load(m_scenario.Certs(m_scenario[2]));
    auto permitted = std::make_unique<sxGeneralNames>();
    for (const std::string &text : m_scenario.All("constraint")) {
      const sxDN dn(text.c_str());
      const sxGeneralName name(&dn);
      permitted->Add(&name);
    }
    for (int i = 0; i <= certs.Top(); ++i) {
      PkRef<sxRootCA> root(
          new sxRootCA(nullptr, certs.Get(i), 0, sxCaType_other, 0, nullptr, 0, permitted.release(), 0));
      m_holder->AddCA(root.get());
      if (m_firstRoot == nullptr) m_firstRoot = std::move(root);
    }
    const sxCerts additional = Load(m_scenario.Certs(m_scenario.One("additional")));
    if (additional.Count() > 0) m_firstRoot->SetAdditionalCerts(new sxCerts(additional));
  }

  const Scenario &m_scenario;
  bool m_isReadable = true;
  CertNames m_names;
  const std::unique_ptr<sxcert_black_list, FreeList> m_blackList{new sxcert_black_list};
  ValidateParams m_params;
  int64_t m_now = 0;
  const PkRef<sxKeyHolder> m_holder;
  PkRef<sxRootCA> m_firstRoot;
  sxCerts m_chain;
};

// Sorts and looks for a trusted root, or repairs, as the setting "run" says; then the path, signature and name checks.
ChainAnswer JudgeChosen(const Scenario &scenario) {
  Court court(scenario);
  return court.IsReadable() ? court.Choose() : court.Unreadable();
}

// The call that is told the end entity; the verdict ends in "!" where it is about another one.
ChainAnswer JudgeNamed(const Scenario &scenario, bool backwards) {
  Court court(scenario);
  return court.IsReadable() ? court.AskAbout(scenario.One("end-entity"), backwards) : court.Unreadable();
}

struct ChainCases : testing::TestWithParam<CaseRow> {};

// The call that is told the end entity agrees, in any order, unless the scenario says what it finds.
void ExpectNamed(const Scenario &scenario, const ChainAnswer &chosen) {
  const ChainAnswer named = JudgeNamed(scenario, false);
  EXPECT_EQ(named.text, JudgeNamed(scenario, true).text);
  const std::string expected = scenario.One("named");
  if (expected.empty()) {
    EXPECT_EQ(chosen.verdict, named.verdict);
  } else {
    EXPECT_EQ(expected, named.verdict.substr(0, named.verdict.find(':')));
  }
  if (!scenario.All("tried").empty()) { EXPECT_EQ(scenario.All("tried"), named.tried); }
  const std::string json = scenario.One("json");
  if (!json.empty()) { EXPECT_EQ(CaseData("chain/" + json), named.text + "\n"); }
}

void ExpectMessage(const Scenario &scenario, const ChainAnswer &answer) {
  const std::string head = std::string(sxValidationRC_GetString(answer.rc)) + "\nlevel: " +
                           std::to_string(answer.level) + "\nsubject: " + answer.subject +
                           "\nserial number: " + answer.serial;
  std::string facts;
  for (const std::string &fact : scenario.All("fact")) facts += "\n" + fact;
  if (facts.empty()) {
    EXPECT_THAT(answer.text, testing::StartsWith(head));
  } else {
    EXPECT_EQ(head + facts, answer.text);
  }
}

TEST_P(ChainCases, GetsItsVerdict) {
  SCOPED_TRACE(GetParam().where);
  const Scenario scenario(GetParam(), kSettings);
  LogCapture log;
  const ChainAnswer answer = JudgeChosen(scenario);
  for (const std::string &line : scenario.All("log")) { EXPECT_TRUE(log.Has(line)) << line; }
  EXPECT_EQ(ExpectedOf(scenario), answer.verdict);
  ExpectNamed(scenario, answer);
  if (answer.verdict.starts_with("OK")) {
    EXPECT_EQ("", answer.text);
    EXPECT_EQ(answer.chainExpirationSec, answer.expirationSec);
  } else if (answer.level >= 0) {
    ExpectMessage(scenario, answer);
  }
}

std::string NameOf(const testing::TestParamInfo<CaseRow> &row) { return CaseName(row); }

INSTANTIATE_TEST_SUITE_P(Data, ChainCases, testing::ValuesIn(CaseRows("chain/scenarios.txt", 6, 5)), NameOf);

TEST(SortCerts, PutsSetsIntoPathOrder) {
  for (const CaseRow &row : CaseRows("chain/sorts.txt", 4, 3)) {
    SCOPED_TRACE(row.where);
    Words files = Split(row[0]);
    const bool inAllOrders = files[0] == "all";
    if (inAllOrders) files.erase(files.begin());
    if (inAllOrders) std::sort(files.begin(), files.end());
    do {
      CertNames names;
      const sxCerts in = LoadCerts(files, names);
      sxCerts out;
      const sxSignatureCacheStats before = sxSignatureCache_Stats();
      EXPECT_EQ(std::stoi(row[1]), sxCerts_Sort(in, out));
      const sxSignatureCacheStats after = sxSignatureCache_Stats();
      if (!row[3].empty()) { EXPECT_EQ(std::stoul(row[3]), after.hits + after.misses - before.hits - before.misses); }
      EXPECT_EQ(row[2], NamesOf(out, names));
      EXPECT_EQ(static_cast<int>(files.size()), in.Count());
    } while (inAllOrders && std::next_permutation(files.begin(), files.end()));
  }
}

TEST(ValidationRC, HasItsNameAndText) {
  for (const CaseRow &row : CaseRows("trust/codes.txt", 3)) {
    SCOPED_TRACE(row.where);
    const int rc = std::stoi(row[0]);
    EXPECT_EQ(row[1], sxValidationName(rc));
    EXPECT_EQ(CaseText(row[2]), sxValidationRC_GetString(rc));
    EXPECT_EQ(rc == -991, isCertificateRevoked(rc));
  }
}

}  // namespace
