/// @file
/// Fetching: a service that is registered, and an environment that asks it.
#ifndef KXCERT_TESTS_SUPPORT_FETCHING_H_
#define KXCERT_TESTS_SUPPORT_FETCHING_H_

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "kxcert/fetch/fetch.h"
#include "kxcert/platform/eventEnv.h"

class Fetching {
 public:
  /// The servers of tests are on loopback. No server is believed; the system's roots would take long to read.
  static kxFetchSettings Local() {
    kxFetchSettings settings;
    settings.allowPrivate = true;
    settings.caFile = KXCERT_TEST_DATA "/../../examples/chain/root.pem";
    return settings;
  }
  explicit Fetching(const kxFetchSettings &settings = Local()) : service(kxFetchService::Make(settings)) {
    kxFetcher_Set(service->Fetcher());
  }
  ~Fetching() {
    kxFetcher_Set(nullptr);
    service.reset();
    sxd_env_destroy(env);
  }
  Fetching(const Fetching &) = delete;
  Fetching &operator=(const Fetching &) = delete;

  static kxFetchRequest Of(const std::string &url, kxFetchLimits limits = {100000, 5000}) {
    kxFetchRequest request;
    request.url = url;
    request.limits = limits;
    return request;
  }
  /// @return where "RESULT OCTETS" or "RESULT REASON" will stand, as often as it is answered
  std::string &Ask(const kxFetchRequest &request, std::shared_ptr<kxFetchTask> *task = nullptr) {
    std::string &outcome = m_outcomes.emplace_back();
    const auto done = [this, &outcome](const kxFetchAnswer &answer) {
      outcome += std::to_string(answer.result) + " " + answer.reason + std::string(answer.octets, answer.octets + answer.len);
      version = answer.version;
      ++numAnswers;
      sxd_env_stop(env);
    };
    EXPECT_EQ(kxFetch_OK, kxFetch_Start(env, request, done, task)) << request.url;
    ++numAsked;
    return outcome;
  }
  /// Twenty seconds at most.
  template <class Condition>
  void RunUntil(const Condition &condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) sxd_env_run_for(env, 10);
    EXPECT_TRUE(condition());
  }
  void Wait() {
    RunUntil([this] { return numAnswers == numAsked; });
  }
  std::string Get(const kxFetchRequest &request) {
    const std::string &outcome = Ask(request);
    RunUntil([&] { return !outcome.empty(); });
    return outcome;
  }
  std::string Get(const std::string &url) { return Get(Of(url)); }

  std::unique_ptr<kxFetchService> service;
  sxd_env *env = sxd_env_create();
  kxFetchVersion version;  ///< of the last answer
  int numAsked = 0, numAnswers = 0;

 private:
  std::deque<std::string> m_outcomes;
};

#endif
