// Validations that answer later: once, on the loop's thread, and only while there is a loop.
#include <gtest/gtest.h>

#include <thread>

#include "kxcert/platform/defaultEnv.h"
#include "kxcert/platform/eventEnv.h"
#include "kxcert/trust/ValidateParams.h"
#include "kxcert/trust/sxValidation.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "support/fixedClock.h"
#include "support/testRoots.h"

namespace {

enum How { kNow, kCallsBack, kCallsBackTwice, kFromThread, kNever };
How g_how;
struct Later {
  sxValidationCallback callback;
  void *opaque;
} g_later;

sxValidationRC Revocation(sxd_env *, sxRootCA *, sxCerts &, const ValidateParams &, sxValidationCallback callback,
                          void *opaque, int, int &level) {
  level = 0;
  g_later = {callback, opaque};
  if (g_how == kNow) return sxValidation_revoked;
  if (g_how == kCallsBack || g_how == kCallsBackTwice) callback(sxValidation_revoked, "", 0, 0, opaque);
  if (g_how == kCallsBackTwice) callback(sxValidation_OK, "", -1, 0, opaque);
  if (g_how == kFromThread) std::thread([=] { callback(sxValidation_revoked, "", 0, 0, opaque); }).join();
  return sxValidation_async;
}

// With the reference that looking takes.
int RefCount(sxCert &cert) {
  cert.IncRef();
  return cert.DecRef() + 1;
}

class ValCertsA : public testing::Test {
 protected:
  ValCertsA() { sxCertValidate_SetRevocationFunc(Revocation); }
  ~ValCertsA() override {
    sxCertValidate_SetRevocationFunc(nullptr);
    sxd_env_destroy(env);
    sxFreePKobj(root);
  }
  static void Take(sxValidationRC rc, const char *text, int level, long expiration, void *opaque) {
    auto &test = *static_cast<ValCertsA *>(opaque);
    const std::string line = text;
    test.answers += "(" + std::to_string(rc) + " " + line.substr(0, line.find('\n')) + " " + std::to_string(level) +
                    " " + std::to_string(expiration - kTestNow) + ")";
    EXPECT_EQ(std::this_thread::get_id(), test.thread);
    sxd_env_stop(test.env);
  }
  sxValidationRC Start(sxCerts *chain, int flags, const ValidateParams &params = {}) {
    return sxCert_ValCertsA_e(env, root, chain, nullptr, params, Take, this, flags);
  }
  std::string Answers() {
    EXPECT_EQ(0, sxd_env_run_for(env, 20000));
    EXPECT_EQ(0, sxd_env_run_for(env, 5));
    return std::exchange(answers, "");
  }

  FixedClock clock{kTestNow};
  const TestCert ca{"O=Later/CN=root", nullptr, CaOptions()};
  const TestCert leaf{"O=Later/CN=leaf", &ca, {.notAfter = kTestNow + 60}};
  sxRootCA *root = new sxRootCA(nullptr, ca.Get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  sxd_env *env = sxd_env_create();
  const std::thread::id thread = std::this_thread::get_id();
  std::string answers;
};

// What was handed over may go or change at once.
TEST_F(ValCertsA, AnswersAfterTheCallWithWhatItHolds) {
  auto *list = new sxcert_black_list;
  list->AddFromString("01");   // the serial of both
  for (const bool isListed : {false, true}) {
    sxCerts chain = SetOf({&leaf, &ca});
    ValidateParams params;
    if (isListed) params.Set_BlackList(list);
    ASSERT_EQ(sxValidation_async, Start(&chain, sxValidate_path | sxValidate_signatures, params));
    if (isListed) { EXPECT_EQ(2, sxcert_black_list::free(list)) << "one count is the validation's"; }
    chain.ClearAll();
    EXPECT_EQ("", answers);
    EXPECT_EQ(isListed ? "(-1002 Certificate found in Certificate Black List. 1 -1893456001)"
                       : "(0 validate certificate OK. -1 60)",
              Answers());
  }
  EXPECT_EQ(sxValidation_badInput, sxCert_ValCertsA(root, nullptr, nullptr, ValidateParams(), Take, this, 1));
  sxd_env_set_default(env);
  EXPECT_EQ(sxValidation_async, sxCert_ValCertsA(root, nullptr, nullptr, ValidateParams(), Take, this, 1));
  EXPECT_EQ("(-1000 validate bad input. -1 -1893456001)", Answers());
}

TEST_F(ValCertsA, TakesOneAnswerOfTheRevocationFunction) {
  sxCerts chain = SetOf({&leaf, &ca});
  for (const How how : {kNow, kCallsBack, kCallsBackTwice, kFromThread}) {
    SCOPED_TRACE(g_how = how);
    ASSERT_EQ(sxValidation_async, Start(&chain, sxValidate_path | sxValidate_revocation));
    EXPECT_EQ("(-991 Certificate revoked. 0 60)", Answers());
  }
  g_how = kNever;
  ASSERT_EQ(sxValidation_async, Start(&chain, sxValidate_path | sxValidate_revocation));
  EXPECT_EQ(0, sxd_env_run_for(env, 100));
  EXPECT_EQ("", answers);
  g_later.callback(sxValidation_OK, "", -1, 0, g_later.opaque);
  EXPECT_EQ("(0 validate certificate OK. -1 60)", Answers());
  g_later.callback(sxValidation_revoked, "", 0, 0, g_later.opaque);   // too late, and for nobody
  EXPECT_EQ(0, sxd_env_run_for(env, 5));
  EXPECT_EQ("", answers);
}

// Before the checks, and while revocation is asked: no answer, and nothing is held.
TEST_F(ValCertsA, EndsWithTheEnvironment) {
  g_how = kNever;
  for (const bool hasRun : {false, true}) {
    const auto weak = std::make_unique<TestCert>("O=Later/CN=weak", &ca);
    if (env == nullptr) env = sxd_env_create();
    sxCerts chain = SetOf({weak.get(), &ca});
    ASSERT_EQ(sxValidation_async, Start(&chain, sxValidate_revocation));
    chain.ClearAll();
    if (hasRun) { EXPECT_EQ(0, sxd_env_run_for(env, 100)); }
    EXPECT_LT(2, RefCount(*weak->Get()));
    sxd_env_destroy(std::exchange(env, nullptr));
    EXPECT_EQ(2, RefCount(*weak->Get()));
    if (hasRun) g_later.callback(sxValidation_OK, "", -1, 0, g_later.opaque);
  }
  EXPECT_EQ("", answers);
}

}  // namespace
