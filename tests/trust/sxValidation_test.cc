#include "kxcert/trust/sxValidation.h"

#include <gmock/gmock.h>

#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "support/caseFile.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/testRoots.h"
#include "trust/rules.h"

namespace {

ValidateParams Grace(int startSec, int endSec) {
  ValidateParams params;
  params.Set_cert_start_grace(startSec);
  params.Set_cert_end_grace(endSec);
  return params;
}

TEST(ValidateCert, ComparesDatesWithTheirGrace) {
  const TestCert cert("O=Val/CN=dates", nullptr);
  const int64_t start = cert.Get()->notBefore(), end = cert.Get()->notAfter();
  for (const CaseRow &row : CaseRows("trust/dates.txt", 6)) {
    SCOPED_TRACE(row.where);
    const int64_t now = (row[1] == "start" ? start : end) + std::stoi(row[2]);
    EXPECT_EQ(row[5], sxValidationName(sxValidateCert(cert.Get(), static_cast<long>(now),
                                                      Grace(std::stoi(row[3]), std::stoi(row[4])))));
  }
  sxCertValidate_SetGracePeriod(10);
  EXPECT_EQ(sxValidation_OK, sxValidateCert(cert.Get(), static_cast<long>(start - 10), ValidateParams()));
  EXPECT_EQ(sxValidation_notYetValid, sxValidateCert(cert.Get(), static_cast<long>(start - 11), ValidateParams()));
  EXPECT_EQ(7200U, sxCertValidate_GetDefaultGracePeriod());
  sxCertValidate_SetGracePeriod(kDefaultGraceSec);
}

TEST(ValidateCert, LooksAtTheBlackListFirst) {
  const TestCert cert("O=Val/CN=listed", nullptr, {.notAfter = kTestNow - 1, .criticalUnknown = true});
  ValidateParams params;
  EXPECT_EQ(sxValidation_unhandledCritExt, sxValidateCert(cert.Get(), kTestNow, params));
  sxcert_black_list *list = new sxcert_black_list(0);
  params.Set_BlackList(list);
  EXPECT_EQ(sxValidation_unhandledCritExt, sxValidateCert(cert.Get(), kTestNow, params));
  list->Add(*cert.Get()->SerialNum());
  EXPECT_EQ(sxValidation_blackListed, sxValidateCert(cert.Get(), kTestNow, params));
  EXPECT_EQ(sxValidation_badInput, sxValidateCert(nullptr, kTestNow, params));
  const sxCert broken(nullptr, 0);
  EXPECT_EQ(sxValidation_badInput, sxValidateCert(&broken, kTestNow, params));
  sxcert_black_list::free(list);
}

TestCertOptions Expired(int64_t at) { return CaOptions({.notAfter = at}); }

TEST(ValidatePath, ReportsTheEarliestEndAndNeedsEveryCertificate) {
  FixedClock clock(kTestNow);
  const TestCert root("O=Val/CN=root", nullptr, Expired(kTestNow + 30));
  const TestCert upper("O=Val/CN=upper", &root, Expired(kTestNow + 10)), leaf("O=Val/CN=leaf", &upper);
  sxCerts chain = SetOf({&leaf, &upper, &root});
  int level = 0;
  long expiration = 0;
  EXPECT_EQ(sxValidation_OK, sxValidatePath(chain, level, expiration));
  EXPECT_EQ(kTestNow + 10, expiration);
  EXPECT_EQ(kTestNow + 10, sxGetChainExpiration(chain));
  chain.Del(1);
  EXPECT_EQ(sxValidation_badInput, sxValidatePath(chain, level, expiration));
  EXPECT_EQ(1, level);
  EXPECT_EQ(sxValidation_badInput, sxValidateSignatures(chain, level));
  EXPECT_EQ(kTestNow + 30, sxGetChainExpiration(chain));
  EXPECT_EQ(sxValidation_badInput, sxValidatePath(sxCerts(), level, expiration));
  EXPECT_EQ(sxValidation_badInput, sxValidateSignatures(sxCerts(), level));
  EXPECT_EQ(-1, sxGetChainExpiration(sxCerts()));
  const TestCert unreadable("O=Val/CN=unreadable", &root, Expired(-1));   // the same value
  EXPECT_EQ(-1, sxGetChainExpiration(SetOf({&leaf, &unreadable})));
  EXPECT_EQ(-1, sxGetChainExpiration(SetOf({&unreadable, &leaf})));
  EXPECT_EQ(sxValidation_OK, sxValidatePath(SetOf({&leaf}), level, expiration));   // only its own dates count
}

sxRootCA *ConstrainedRoot(const TestCert &cert) {
  auto *constraints = new sxGeneralNames;
  const sxGeneralName mail(sxGN_email, "a@b", 3);
  const sxDN unit("OU=in,O=Val"), other("O=Else");
  const sxGeneralName otherTree(&other), unitTree(&unit);
  for (const sxGeneralName *name : {&mail, &otherTree, &unitTree}) constraints->Add(name);
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

TEST_F(ValCerts, ChecksNameConstraintsOfTheEndEntity) {
  EXPECT_EQ(sxValidation_OK, sxValidateNameConstraints(constrained, inside.Get()));
  EXPECT_EQ(sxValidation_badInput, sxValidateNameConstraints(nullptr, inside.Get()));
  EXPECT_EQ(sxValidation_badInput, sxValidateNameConstraints(constrained, nullptr));
  sxCerts chain = SetOf({&outside, &root});
  LogCapture log;
  EXPECT_EQ(sxValidation_nameConstraints, Run(&chain, sxValidate_nameConstraints));
  EXPECT_EQ(0, level);
  EXPECT_STREQ("Certificate name constraints failed.\nlevel: 0\nsubject: CN=leaf,OU=out,O=Val\n"
               "serial number: 01\nname outside the constraints: CN=leaf,OU=out,O=Val", text);
  EXPECT_TRUE(log.Has("sxValidateNameConstraints: CN=leaf,OU=out,O=Val doesn't conform to name constraints"));
  EXPECT_EQ(sxValidation_OK, Run(&chain, 0));
}

TEST_F(ValCerts, FindsASignatureThatIsNotTheIssuers) {
  const TestCert attacker("O=Evil/CN=x", nullptr);
  const TestCert forged("O=Val/OU=in/CN=leaf", &attacker, {.issuerName = "O=Val/CN=root"});
  sxCerts chain = SetOf({&forged, &root});
  EXPECT_EQ(sxValidation_OK, Run(&chain, sxValidate_path));
  EXPECT_EQ(-1, level);
  EXPECT_STREQ("", text);
  EXPECT_EQ(sxValidation_badSignature, Run(&chain, sxValidate_path | sxValidate_signatures));
  EXPECT_EQ(0, level);
  EXPECT_THAT(text, testing::EndsWith("\nnot verified by the key of: CN=root,O=Val"));
}

TEST_F(ValCerts, CutsTheTextToTheArea) {
  sxCerts chain = SetOf({&outside, &root});
  char area[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(sxValidation_nameConstraints,
            sxCert_ValCerts(constrained, &chain, nullptr, nullptr, ValidateParams(), area, 6, nullptr, nullptr,
                            nullptr, sxValidate_nameConstraints));
  EXPECT_EQ(std::string("Certi\0xx", 8), std::string(area, 8));
  EXPECT_EQ(-1, sxCert_ValErrToStr(&chain, -993, 0, area, 0));
  EXPECT_EQ(-1, sxCert_ValErrToStr(&chain, -993, 0, nullptr, 9));
  EXPECT_EQ(0, sxCert_ValErrToStr(nullptr, -966, 0, text, sizeof text));
  EXPECT_STREQ("validation general error", text);
}

TEST(ValidationText, NamesForgeNoLines) {
  const TestCert cert("O=Val/CN=a\nserial number: 02", nullptr);
  const sxCerts chain = SetOf({&cert});
  char text[1024];
  ASSERT_EQ(0, sxCert_ValErrToStr(&chain, sxValidation_blackListed, 0, text, sizeof text));
  EXPECT_THAT(text, testing::HasSubstr("\nsubject: CN=#610a73657269616c206e756d6265723a203032,O=Val\nserial number: "));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("serial number: 02")));
}

TEST_F(ValCerts, NeedsARootAndAChainAndSaysWhatItDidNotCheck) {
  sxCerts chain = SetOf({&inside, &root}), empty;
  EXPECT_EQ(sxValidation_badInput, Run(nullptr, sxValidate_path));
  EXPECT_STREQ("validate bad input.", text);
  EXPECT_EQ(sxValidation_badInput, Run(&empty, 0));
  EXPECT_EQ(sxValidation_badInput,
            sxCert_ValCerts(nullptr, &chain, nullptr, nullptr, ValidateParams(), nullptr, 0, nullptr, nullptr,
                            nullptr, sxValidate_path));
  EXPECT_EQ(sxValidation_unknownStatus, Run(&chain, sxValidate_all));   // revocation
  EXPECT_EQ(-1, level);
  EXPECT_STREQ("validation status unknown.", text);
  EXPECT_EQ(sxValidation_OK, Run(&chain, sxValidate_all & ~sxValidate_revocation));
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
