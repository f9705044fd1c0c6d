// What is decided about revocation, by what is at hand and what is to be had: tests/data/revocation.
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/store/CrlDB.h"
#include "support/revocationWorld.h"
#include "support/script.h"

namespace {

using Words = RevocationWorld::Words;

class RevocationCases : public testing::TestWithParam<const char *> {};

TEST_P(RevocationCases, AreDecided) {
  const TempDir folder;
  std::unique_ptr<RevocationWorld> world;
  Script script;
  script.On("world", [&] {
    remove_crl_cache_db();
    sxCRLCache_set_dbpath(folder.Path().c_str());
    IntermediateCA_db_remove();
    IntermediateCA_db_set_path(folder.Path().c_str());
    world.reset();
    world = std::make_unique<RevocationWorld>();
  });
  script.On("cert", [&](const std::string &name, const std::string &subject, const Words &words) {
    world->Cert(name, subject, words);
  });
  script.On("crl", [&](const std::string &name, const std::string &ca, const Words &words) { world->Crl(name, ca, words); });
  script.On("serve", [&](const std::string &url, const std::string &crl) { world->Serve(url, crl); });
  script.On("push", [&](const std::string &crl) { world->Push(crl); });
  script.On("store", [&](const std::string &cert) {
    const sxCert &stored = *world->Of(cert).Get();
    g_IntermediateCA_db.Store(*stored.Subject(), &stored, stored.notAfter());
  });
  script.On("check", [&](const Words &words) { return OnOneLine(world->Check(words)); });
  script.On("asked", [&] { return world->Asked(); });
  script.On("forget", [&] { sxRevocation_Remove(), sxRevocation_Install({}); });
  script.On("later", [&](int days) { world->clock.Set(kTestNow + days * kTestDay); });
  script.Run(GetParam());
  IntermediateCA_db_remove();
}

INSTANTIATE_TEST_SUITE_P(Trust, RevocationCases,
                         testing::Values("revocation/crls.txt", "revocation/policy.txt", "revocation/cache.txt"),
                         [](const auto &param) {
                           const std::string name = param.param;  // "revocation/NAME.txt"
                           return name.substr(11, name.size() - 15);
                         });

}  // namespace
