#include "kxcert/fetch/fetch.h"

#include <utility>

#include "fetch/engine.h"
#include "fetch/settings.h"

kxFetchService::kxFetchService(std::shared_ptr<kxFetchEngine> engine) : m_engine(std::move(engine)) {}

kxFetchService::~kxFetchService() { m_engine->Stop(); }

std::unique_ptr<kxFetchService> kxFetchService::Make(const kxFetchSettings &settings, std::string *reason) {
  Proxies proxies;
  std::string wrong = kxFetch_CheckSettings(settings);
  if (wrong.empty()) wrong = proxies.Read(settings);
  if (!wrong.empty()) {
    if (reason != nullptr) *reason = wrong;
    return nullptr;
  }
  const auto engine = std::make_shared<kxFetchEngine>(settings, proxies);
  return std::unique_ptr<kxFetchService>(new kxFetchService(engine));
}

std::shared_ptr<kxFetcher> kxFetchService::Fetcher() const { return m_engine; }

kxFetchCounters kxFetchService::Counters() const { return m_engine->Counters(); }
