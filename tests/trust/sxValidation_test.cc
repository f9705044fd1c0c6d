// What surrounds the judging of a chain; the verdicts are in tests/data/trust/validation.txt.
#include "kxcert/trust/sxValidation.h"

#include <gmock/gmock.h>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/ValidateParams.h"
#include "support/fixedClock.h"
#include "support/testRoots.h"

namespace {

sxRootCA *ConstrainedRoot(const TestCert &cert) {
  const sxDN unit("OU=in,O=Val");
  const sxGeneralName tree(&unit);
  auto *constraints = new sxGeneralNames;
  constraints->Add(&tree);
  return new sxRootCA(nullptr, cert.Get(), 0, sxCaType_other, 0, nullptr, 0, constraints, 77);
}

class ValCerts : public testing::Test {
 protected:
  ~ValCerts() override {
    sxCertValidate_SetRevocationFunc(nullptr);
    sxCertValidate_SetPushCRLsFunc(nullptr);
    sxFreePKobj(constrained);
  }

  sxValidationRC Run(sxCerts *with, int flags) {
    level = 99;
    return sxCert_ValCerts_e(env, constrained, with, nullptr, &expiration, ValidateParams(), text, sizeof text,
                             &level, nullptr, this, flags);
  }

  FixedClock clock{kTestNow};
  const TestCert root{"O=Val/CN=root", nullptr, CaOptions()}, inside{"O=Val/OU=in/CN=leaf", &root};
  const TestCert outside{"O=Val/OU=out/CN=leaf", &root};
  sxRootCA *constrained = ConstrainedRoot(root);
  sxd_env *env = reinterpret_cast<sxd_env *>(&clock);   // only handed on
  char text[512] = "old";
  int level = 0;
  long expiration = 0;
};

TEST_F(ValCerts, CutsTheTextToTheArea) {
  sxCerts chain = SetOf({&outside, &root});
  char area[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(sxValidation_nameConstraints,
            sxCert_ValCerts(constrained, &chain, nullptr, nullptr, ValidateParams(), area, 6, nullptr, nullptr,
                            nullptr, sxValidate_nameConstraints));
  EXPECT_EQ(std::string("Certi\0xx", 8), std::string(area, 8));
  EXPECT_EQ(-1, sxCert_ValErrToStr(&chain, -993, 0, area, 0));
  EXPECT_EQ(-1, sxCert_ValErrToStr(&chain, -993, 0, nullptr, 9));
  EXPECT_EQ(sxValidation_badInput,
            sxCert_ValCerts(nullptr, &chain, nullptr, nullptr, ValidateParams(), nullptr, 0, nullptr, nullptr, nullptr,
                            sxValidate_path));
  const sxCert broken(nullptr, 0);
  EXPECT_EQ(sxValidation_badInput, sxValidateCert(&broken, kTestNow, ValidateParams()));
}

struct Seen { sxd_env *env; sxRootCA *root; void *opaque; int timeoutMs; int numCalls; int crlTo; };
Seen g_seen;

TEST_F(ValCerts, RunsTheInstalledRevocationFunctionLast) {
  sxCerts chain = SetOf({&inside, &root}), bad = SetOf({&outside, &root});
  g_seen = {};
  sxCertValidate_SetRevocationFunc([](sxd_env *e, sxRootCA *r, sxCerts &, const ValidateParams &,
                                      sxValidationCallback, void *opaque, int timeoutMs, int &at) {
    g_seen = {e, r, opaque, timeoutMs, g_seen.numCalls + 1, g_seen.crlTo};
    at = 0;
    return g_seen.numCalls == 1 ? sxValidation_revoked : sxValidation_async;
  });
  sxCertValidate_SetPushCRLsFunc([](sxCRLs &, int crlTo) { g_seen.crlTo = crlTo; });
  EXPECT_EQ(sxValidation_nameConstraints, Run(&bad, sxValidate_all));
  EXPECT_EQ(0, g_seen.numCalls);
  EXPECT_EQ(sxValidation_revoked, Run(&chain, sxValidate_all));
  EXPECT_EQ(0, level);
  EXPECT_STREQ("Certificate revoked.\nlevel: 0\nsubject: CN=leaf,OU=in,O=Val\nserial number: 01", text);
  EXPECT_EQ(env, g_seen.env);
  EXPECT_EQ(constrained, g_seen.root);
  EXPECT_EQ(this, g_seen.opaque);
  EXPECT_EQ(60000, g_seen.timeoutMs);
  auto *crls = reinterpret_cast<sxCRLs *>(&chain);   // only handed on
  EXPECT_EQ(sxValidation_async, sxCert_ValCerts(constrained, &chain, crls, nullptr, ValidateParams(), text,
                                                sizeof text, nullptr, nullptr, nullptr, sxValidate_revocation));
  EXPECT_STREQ("", text);
  EXPECT_EQ(77, g_seen.crlTo);
}

TEST(ValidateParams, ConstructorTakesTheSizeCheckBeforeTheWebFlag) {
  const ValidateParams params(2, 3, 4, 5, 6, 7, 0, 9, 10, 11);
  ValidateParams copy;
  ValidateParams_Set(&copy, &params);
  const int values[] = {copy.OCSP_validation(), copy.Cert_start_grace(), copy.Cert_end_grace(), copy.Crl_start_grace(),
                        copy.Crl_end_grace(), copy.CRL_size_validation(), copy.Write_crl_to_web()};
  EXPECT_THAT(values, testing::ElementsAre(3, 4, 5, 6, 7, 10, 11));
  EXPECT_TRUE(copy.CRL_validation() && !copy.Check_this_upd() && copy.Check_next_upd());
}

}  // namespace
