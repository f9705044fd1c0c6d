// What revocation adds to a validation that repeats when the CRLs of leaf and intermediate are in memory; and what two
// threads that look CRLs up do beside one.
#include "kxcert/trust/sxRootCA.h"
#include "support.h"
#include "support/revocationWorld.h"

namespace {

class World {
 public:
  World() {
    m_pki.Cert("root", "CN=root", {"ca"});
    m_pki.Cert("ca", "CN=ca", {"ca", "by=root", "serial=02", "dp=fullname=URI:http://x/root"});
    m_pki.Cert("leaf", "CN=leaf", {"by=ca", "serial=05", "dp=fullname=URI:http://x/ca"});
    m_pki.Crl("root", "root", {"revoke=09"});
    m_pki.Crl("ca", "ca", {"revoke=09"});
    m_pki.Serve("http://x/root", "root");
    m_pki.Serve("http://x/ca", "ca");
    for (const char *name : {"leaf", "ca"}) m_chain.Add(m_pki.Of(name).Ref());
    m_root = new sxRootCA("root", m_pki.Of("root").Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, sxCrlTo_memory);
    m_params.Set_time(kTestNow);
  }
  bool Validates(int flags) {
    long expiration = 0;
    int level = 0;
    return sxCert_ValCerts(m_root, &m_chain, nullptr, &expiration, m_params, nullptr, 0, &level, nullptr, nullptr,
                           flags) == sxValidation_OK;
  }
  bool IsNotRevoked() {
    sxRevocationQuestion question;
    question.root = m_root;
    question.chain = &m_chain;
    question.params = m_params;
    sxRevocationVerdict verdict;
    return sxRevocation_Check(question, verdict) == sxValidation_OK;
  }

 private:
  RevocationWorld m_pki;
  sxCerts m_chain;
  sxRootCA *m_root = nullptr;  // for the process
  ValidateParams m_params;
};

World &TheWorld() {
  static auto *const world = new World;
  return *world;
}

void Validation(benchmark::State &state, int flags) {
  for (auto _ : state) {
    if (!TheWorld().Validates(flags)) state.SkipWithError("not valid");
  }
}

void LookUp(benchmark::State &state) {
  for (auto _ : state) {
    if (!TheWorld().IsNotRevoked()) state.SkipWithError("not good");
  }
}

const int kRegistered = [] {
  constexpr int kUsual = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  benchmark::RegisterBenchmark("validate-crls/without", Validation, kUsual);
  benchmark::RegisterBenchmark("validate-crls/with", Validation, kUsual | sxValidate_revocation);
  benchmark::RegisterBenchmark("crls-at-hand/one-thread", LookUp)->UseRealTime();
  benchmark::RegisterBenchmark("crls-at-hand/two-threads", LookUp)->Threads(2)->UseRealTime();
  return 0;
}();

}  // namespace
