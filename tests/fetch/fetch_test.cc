#include "kxcert/fetch/fetch.h"

#include <gmock/gmock.h>

#include <chrono>

#include "fetch/address.h"
#include "fetch/failureMemory.h"
#include "fetch/ldapSearch.h"
#include "fetch/settings.h"
#include "fetch/target.h"
#include "support/badServer.h"
#include "support/fetching.h"
#include "support/namesOfTests.h"
#include "support/rows.h"
#include "support/scopedEnv.h"
#include "support/script.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// The largest gap of a timer of a millisecond, as long as this runs on the environment.
class Ticker {
 public:
  explicit Ticker(sxd_env *env) : m_env(env) { Tick(this); }
  std::atomic<double> largestMs = 0;

 private:
  static void Tick(void *opaque) {
    auto *const self = static_cast<Ticker *>(opaque);
    self->largestMs = std::max(self->largestMs.load(), MsSince(self->m_last));
    self->m_last = Clock::now();
    T_event_sched_e(self->m_env, 1, Tick, self);
  }
  sxd_env *const m_env;
  Clock::time_point m_last = Clock::now();
};

// The same on a thread of its own, where nothing is asked.
class IdleLoop {
 public:
  ~IdleLoop() {
    sxd_env_stop(m_env);
    m_thread.join();
    sxd_env_destroy(m_env);
  }
  double LargestMs() const { return m_ticker.largestMs; }

 private:
  sxd_env *const m_env = sxd_env_create();
  Ticker m_ticker{m_env};
  std::thread m_thread{[this] { sxd_env_run(m_env); }};
};

// Whom the URLs of a row lead to, or why they are not asked.
std::string Targets(const std::string &wrong, const std::vector<Target> &targets) {
  std::string all = wrong;
  for (const Target &target : targets) all += (all.empty() ? "" : " ") + target.url + " at " + target.server;
  return all;
}

TEST(FetchParts, ReadWhatComesFromOutside) {
  kxFetchSettings settings;
  settings.ldapServers = {"ldap://10.0.0.1", "ldaps://dir.example:1636"};
  settings.schemes = {"http", "https", "ldap", "ldaps"};
  ExpectRows("fetch/parts.txt", 3, {
    {"address", [](const CaseRow &row) {
       const auto text = [&](bool allow) { const char *why = kxFetch_WhyNot(row[1], allow); return std::string(why == nullptr ? "-" : why); };
       return text(false) == text(true) ? text(false) : text(false) + ", else " + text(true);
     }},
    {"url", [&](const CaseRow &row) {
       std::vector<Target> targets;
       const std::string wrong = kxFetch_ReadUrl(Plain(row[1]), settings, targets);
       return Targets(wrong, targets);
     }},
    {"value", [](const CaseRow &row) {
       return std::string(kxFetch_IsLdapValue(CaseText(row[1])) ? "one" : "none");
     }},
    {"environment", [](const CaseRow &row) {  // http_proxy, no_proxy, URL
       std::istringstream words(row[1]);
       std::string http, without, url;
       words >> http >> without >> url;
       const ScopedEnv a("http_proxy", http.c_str()), b("no_proxy", without.c_str()), c("all_proxy", nullptr);
       kxFetchSettings asked;
       asked.proxyFromEnvironment = true;
       Proxies proxies;
       std::vector<Target> targets;
       const std::string wrong = proxies.Read(asked) + kxFetch_ReadUrl(url, asked, targets);
       return wrong.empty() ? proxies.For(targets[0]) : wrong;
     }},
    {"settings", [](const CaseRow &row) {
       kxFetchSettings asked;
       (row[1].starts_with("ldap") ? asked.ldapServers.emplace_back() : asked.proxy) = row[1];
       std::string reason = "fine";
       kxFetchService::Make(asked, &reason);
       return reason;
     }},
  });
}

TEST(FetchParts, RememberFailuresForLonger) {
  Script()
      .On("Memory", [](int first, int longest, size_t most) { return std::make_unique<FailureMemory>(first, longest, most); })
      .On("Add", [](FailureMemory &memory, const std::string &key, int64_t now) { memory.Add(key, {kxFetch_failed, key, 0}, now); })
      .On("Forget", &FailureMemory::Forget)
      .On("Until", [](FailureMemory &memory, const std::string &key, int64_t now) {
        const FailureMemory::Failure *const failure = memory.Find(key, now);
        return failure == nullptr ? std::string("-") : std::to_string(failure->untilMs);
      })
      .Run("fetch/failures.steps");
}

class FetchFrom : public testing::TestWithParam<CaseRow> {};
INSTANTIATE_TEST_SUITE_P(Data, FetchFrom, testing::ValuesIn(CaseRows("fetch/servers.txt", 6)),
                         [](const auto &row) { return CaseName(row); });

// The answer comes once, in time, says what was wrong, and the asker's loop is not held meanwhile. A machine that is
// busy holds any loop, so one that asks nothing stands beside it, and the best of three runs counts.
TEST_P(FetchFrom, BadServers) {
  const CaseRow &row = GetParam();
  double heldMs = 1e9;
  for (int i = 0; i < 3 && heldMs >= 10; ++i) {
    const BadServer server(row[2]);
    Fetching fetching;
    Ticker ticker(fetching.env);
    IdleLoop idle;
    std::istringstream limits(row[3]);
    kxFetchLimits limit;
    limits >> limit.maxLen >> limit.timeoutMs;
    const auto begin = Clock::now();
    const kxFetchRequest request = Fetching::Of(row[1] + "://" + server.Name() + "/a?cACertificate", limit);
    std::string outcome = fetching.Get(request);
    EXPECT_LT(MsSince(begin), std::stod(row[5]) + 4 * idle.LargestMs());
    sxd_env_run_for(fetching.env, 5);
    EXPECT_EQ(1, fetching.numAnswers);
    heldMs = ticker.largestMs - 4 * idle.LargestMs();
    if (outcome == "-5 timed out") outcome = fetching.Get(request);  // the asker's own timer was first; what was it?
    if (row[4] == "-") EXPECT_THAT(outcome, StartsWith("-"));
    else EXPECT_THAT(outcome, testing::AllOf(StartsWith(row[4].substr(0, row[4].find(' '))), HasSubstr(row[4].substr(row[4].find(' ') + 1))));
  }
  EXPECT_LT(heldMs, 10);
}

constexpr char kWhole[] = "read; say \"HTTP/1.0 200 OK\\n\\nwhole\"";
constexpr char kStalls[] = "read; wait";

std::string UrlOf(const BadServer &server, const std::string &path = "/a") { return "http://" + server.Name() + path; }

// Askers of one environment or of many share a transfer; what they ask for with other words is another one.
TEST(FetchMany, ShareOneTransfer) {
  const BadServer server("read; say \"HTTP/1.0 200 OK\\nA: \"; drip \"a\"*60; say \"\\n\\nwhole\"");
  Fetching fetching;
  for (int i = 0; i < 1000; ++i) fetching.Ask(Fetching::Of(UrlOf(server), {5, 20000}));
  const std::string &tooLong = fetching.Ask(Fetching::Of(UrlOf(server), {4, 20000}));
  const std::string &posted = [&]() -> std::string & {
    kxFetchRequest request = Fetching::Of(UrlOf(server), {5, 20000});
    request.body = "question";
    request.contentType = "application/a-question";
    return fetching.Ask(request);
  }();
  fetching.Wait();
  EXPECT_EQ("0 whole", posted);
  EXPECT_EQ("-4 longer than 4 octets", tooLong);
  EXPECT_EQ(2, server.NumConnections());
  EXPECT_THAT(server.Received(), HasSubstr("POST /a HTTP/1.1\r\n"));
  EXPECT_THAT(server.Received(), HasSubstr("Content-Type: application/a-question\r\nContent-Length: 8\r\n\r\nquestion"));
  const kxFetchCounters counters = fetching.service->Counters();
  EXPECT_EQ(2U, counters.begun);
  EXPECT_EQ(1000U, counters.joined);
  EXPECT_EQ(2U, counters.answered);
}

// A server that is not there is tried once in a pause, by whatever URL; one that is back is asked again.
TEST(FetchMany, LeaveADeadServerAlone) {
  kxFetchSettings settings = Fetching::Local();
  settings.firstPauseMs = 1000;
  Fetching fetching(settings);
  std::string url;
  {
    const BadServer gone("reset");
    url = UrlOf(gone, "/");
  }
  EXPECT_THAT(fetching.Get(url + "0"), HasSubstr("refused"));
  for (int i = 0; i < 100; ++i) fetching.Ask(Fetching::Of(url + std::to_string(i)));
  fetching.Wait();
  EXPECT_THAT(fetching.Get(url + "0"), HasSubstr("not asked again before 1 s: 127.0.0.1:"));
  const kxFetchCounters counters = fetching.service->Counters();
  EXPECT_EQ(1U, counters.begun);
  EXPECT_EQ(101U, counters.remembered);
  sxd_env_run_for(fetching.env, 1010);
  EXPECT_THAT(fetching.Get(url + "0"), Not(HasSubstr("again")));

  const BadServer back("read; say \"HTTP/1.0 500 Broken\\n\\n\" then " + std::string(kWhole));
  EXPECT_EQ("-3 " + back.Name() + ": status 500", fetching.Get(UrlOf(back)));
  EXPECT_THAT(fetching.Get(UrlOf(back)), HasSubstr("again"));
  EXPECT_EQ("0 whole", fetching.Get(UrlOf(back, "/b")));
  sxd_env_run_for(fetching.env, 1010);
  EXPECT_EQ("0 whole", fetching.Get(UrlOf(back)));
}

// Those beyond the limits wait in order, within their own time, or are turned away.
TEST(FetchMany, TakeTheirTurns) {
  kxFetchSettings settings = Fetching::Local();
  settings.maxTransfers = 3;
  settings.maxTransfersPerHost = 2;
  settings.maxWaiting = 3;
  Fetching fetching(settings);
  const BadServer server(kStalls);
  std::vector<const std::string *> outcomes;
  std::vector<std::shared_ptr<kxFetchTask>> tasks(6);
  for (size_t i = 0; i < tasks.size(); ++i) {
    const kxFetchLimits limits{5, i == 3 ? 300 : 60000};
    outcomes.push_back(&fetching.Ask(Fetching::Of(UrlOf(server, "/" + std::to_string(i)), limits), &tasks[i]));
  }
  fetching.RunUntil([&] { return !outcomes[5]->empty() && !outcomes[3]->empty() && server.NumConnections() == 2; });
  EXPECT_EQ("-3 too many transfers wait for their turn", *outcomes[5]);
  EXPECT_THAT(*outcomes[3], StartsWith("-5 "));
  for (const size_t i : {2, 0}) tasks[i]->Cancel();  // one that waits, one that runs
  fetching.RunUntil([&] { return server.Received().find("GET /4 ") != std::string::npos; });
  EXPECT_EQ(3, server.NumConnections());
}

// Messages that answer nothing, as fast as they can be read: nobody else waits for them, nor does the service's end.
TEST(FetchMany, AreNotHeldByAFlood) {
  const BadServer hostile("read; octets 300c02010161070a010004000400; read; flood 30{02014d79{62*200}}*1000"), honest(kWhole);
  kxFetchSettings settings = Fetching::Local();
  settings.maxOctets = kMaxFetchOctets;
  settings.maxTransfersPerHost = 16;
  Fetching fetching(settings);
  for (int i = 0; i < 6; ++i) {
    fetching.Ask(Fetching::Of("ldap://" + hostile.Name() + "/cn=" + std::to_string(i) + "?cACertificate", {kMaxFetchOctets, 60000}));
  }
  fetching.RunUntil([&] { return hostile.NumConnections() == 6; });
  for (int i = 0; i < 10; ++i) EXPECT_EQ("0 whole", fetching.Get(Fetching::Of(UrlOf(honest), {5, 2000})));
  const auto begin = Clock::now();
  fetching.service.reset();
  EXPECT_LT(MsSince(begin), 2000);
  fetching.Wait();
}

// Who has little time is answered in time, and is no reason to leave a server alone.
TEST(FetchMany, HaveTheirOwnPatience) {
  kxFetchSettings settings = Fetching::Local();
  settings.connectTimeoutMs = 400;
  Fetching fetching(settings);
  const BadServer silent(kStalls), slow("read; wait then " + std::string(kWhole)), noTls("wait");
  const std::string tlsUrl = "https://" + noTls.Name() + "/a";
  for (const std::string &url : {UrlOf(silent), UrlOf(slow), tlsUrl}) {
    EXPECT_THAT(fetching.Get(Fetching::Of(url, {5, 50})), StartsWith("-5 "));
  }
  EXPECT_EQ("0 whole", fetching.Get(UrlOf(slow)));
  const std::string &last = fetching.Ask(Fetching::Of(UrlOf(silent)));
  // Who joins has his own time: the connection is waited for as long as the settings say.
  const std::string &first = fetching.Ask(Fetching::Of(tlsUrl, {5, 100}));
  const auto begin = Clock::now();
  const std::string &joined = fetching.Ask(Fetching::Of(tlsUrl));
  fetching.RunUntil([&] { return !joined.empty(); });
  EXPECT_GE(MsSince(begin), 390);
  EXPECT_THAT(first, StartsWith("-5 "));
  EXPECT_EQ("-5 " + noTls.Name() + ": no connection in time", joined);
  EXPECT_THAT(fetching.Get(tlsUrl), HasSubstr("not asked again"));
  fetching.Wait();
  EXPECT_EQ("-5 " + silent.Name() + ": no answer in time", last);
  EXPECT_THAT(fetching.Get(UrlOf(silent)), HasSubstr("not asked again"));
}

// A transfer brings as much as the one who waits for it and wants most.
TEST(FetchMany, ShareTheLargestLimit) {
  const BadServer server("read; octets 300c02010161070a010004000400; read; "
    "drip 3029020102642404003020301e0414634143657274696669636174653b62696e6172793106040430026161; octets 300c02010265070a010004000400; wait");
  Fetching fetching;
  const std::string url = "ldap://" + server.Name() + "/?cACertificate";
  const std::string &small = fetching.Ask(Fetching::Of(url, {3, 5000}));
  std::shared_ptr<kxFetchTask> largest;
  fetching.RunUntil([&] { return server.Received().find("objectClass") != std::string::npos; });
  EXPECT_EQ("0 0\x02""aa", fetching.Get(Fetching::Of(url, {4, 5000})));
  fetching.Wait();
  EXPECT_EQ("-4 longer than 3 octets", small);
  // He who wanted it goes, and with him his limit.
  fetching.Ask(Fetching::Of(url, {4, 5000}), &largest);
  const std::string &left = fetching.Ask(Fetching::Of(url, {3, 5000}));
  fetching.RunUntil([&] { return server.NumConnections() == 2; });
  largest->Cancel();
  fetching.RunUntil([&] { return !left.empty(); });
  EXPECT_THAT(left, HasSubstr(": more than 3 octets"));
  EXPECT_THAT(fetching.Get(Fetching::Of(url, {3, 5000})), HasSubstr("not asked again"));
}

// What all answers may take together is a limit of this side's: nobody is left alone for it.
TEST(FetchMany, HaveNoMoreThanTheRoom) {
  kxFetchSettings settings = Fetching::Local();
  settings.maxOctets = 1500;
  Fetching fetching(settings);
  const BadServer holds("read; say \"HTTP/1.0 200 OK\\n\\n\"; octets 61*1000; wait"), whole("read; say \"HTTP/1.0 200 OK\\n\\n\"; octets 62*1000");
  std::shared_ptr<kxFetchTask> holding;
  fetching.Ask(Fetching::Of(UrlOf(holds)), &holding);
  std::string outcome;
  fetching.RunUntil([&] { return (outcome = fetching.Get(UrlOf(whole))) != "0 " + std::string(1000, 'b'); });
  EXPECT_EQ("-3 " + whole.Name() + ": all answers that are being received are too long together", outcome);
  holding->Cancel();
  fetching.RunUntil([&] { return fetching.service->Counters().cancelled == 1; });
  EXPECT_EQ("0 " + std::string(1000, 'b'), fetching.Get(UrlOf(whole)));
}

// In every phase of a transfer; with askers that wait, and with an environment that went before.
TEST(FetchService, EndsAtOnce) {
  for (const char *steps : {"wait", "read; wait", "read; say \"HTTP/1.0 200 OK\\n\\nwh\"; wait"}) {
    for (const char *scheme : {"http://", "https://", "ldap://"}) {
      for (const int afterMs : {0, 1, 30}) {
        const BadServer server(steps);
        Fetching fetching;
        const std::string &outcome = fetching.Ask(Fetching::Of(scheme + server.Name() + "/a?cACertificate", {5, 60000}));
        sxd_env_run_for(fetching.env, afterMs);
        if (afterMs == 1) sxd_env_destroy(std::exchange(fetching.env, nullptr));
        const auto begin = Clock::now();
        const std::shared_ptr<kxFetcher> front = fetching.service->Fetcher();
        fetching.service.reset();
        EXPECT_LT(MsSince(begin), 20000);
        if (fetching.env == nullptr) continue;
        fetching.Wait();
        EXPECT_EQ("-3 the fetching component ended", outcome);
        EXPECT_EQ("-3 the fetching component ended", fetching.Get(UrlOf(server)));
      }
    }
  }
}

// Nothing on loopback is asked, whatever name leads there, unless that is allowed.
TEST(FetchService, RefusesAddresses) {
  const BadServer server(kWhole);
  const std::string port = server.Name().substr(server.Name().find(':'));
  Fetching fetching{kxFetchSettings()};
  EXPECT_EQ("-6 127.0.0.1" + port + ": a loopback address", fetching.Get("http://127.0.0.1" + port));
  EXPECT_EQ("-6 loopback.example" + port + ": a loopback address", fetching.Get("http://loopback.example" + port));
  EXPECT_EQ(0, server.NumConnections());
  Fetching allowed;
  EXPECT_EQ("0 whole", allowed.Get("http://loopback.example" + port));
}

// A name that takes long to look up holds neither other transfers nor the end of its own, nor the service's.
TEST(FetchService, DoesNotWaitForNames) {
  const BadServer server(kWhole);
  const auto begin = Clock::now();
  {
    Fetching fetching;
    const std::string &slow = fetching.Ask(Fetching::Of("http://slow.example/", {5, 300}));
    EXPECT_EQ("0 whole", fetching.Get(UrlOf(server)));
    fetching.Wait();
    EXPECT_THAT(slow, StartsWith("-5 "));
    EXPECT_EQ("-5 slow.example:80: its name was not found in time", fetching.Get("http://slow.example/"));
  }
  EXPECT_LT(MsSince(begin), 8000);
  EXPECT_EQ("-3 unknown.example:80: Couldn't resolve host name", Fetching().Get("http://unknown.example/"));
}

// One that many give up is looked up once, for whoever has the time.
TEST(FetchService, LooksANameUpOnce) {
  const BadServer server(kWhole);
  const std::string url = "http://late.example" + server.Name().substr(server.Name().find(':'));
  Fetching fetching;
  for (int i = 0; i < 5; ++i) EXPECT_THAT(fetching.Get(Fetching::Of(url, {5, 20})), StartsWith("-5 "));
  EXPECT_EQ(0, server.NumConnections());
  EXPECT_EQ("0 whole", fetching.Get(url));
  EXPECT_EQ(1, g_numLateLookUps);
  EXPECT_EQ(1, server.NumConnections());
}

}  // namespace
