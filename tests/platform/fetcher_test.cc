#include "kxcert/platform/fetcher.h"

#include <gtest/gtest.h>

#include "kxcert/platform/eventEnv.h"
#include "support/fileFetcher.h"
#include "support/tempDir.h"

namespace {

constexpr char kUrl[] = "http://ca.example/found";

class Fetch : public testing::Test {
 protected:
  ~Fetch() override {
    kxFetcher_Set(nullptr);
    sxd_env_destroy(env);
  }
  std::shared_ptr<FileFetcher> Register(FileFetcher::How how) {
    auto fetcher = std::make_shared<FileFetcher>(m_dir.Path(), how);
    kxFetcher_Set(fetcher);
    return fetcher;
  }
  kxFetchResult Start(const std::string &url, const kxFetchLimits &limits = {8, 20000}) {
    const auto done = [this, held = m_held](const kxFetchAnswer &answer) {
      m_text += "(" + std::to_string(answer.result) + " " + std::string(answer.octets, answer.octets + answer.len) + ")";
      sxd_env_stop(env);
    };
    return kxFetch_Start(env, {.url = url, .limits = limits, .body = {}, .contentType = {}, .known = {}}, done, &m_task);
  }

  const TempDir m_dir;
  const std::string m_file = m_dir.Write("found", "octets"), m_long = m_dir.Write("long", "octets..9");
  sxd_env *env = sxd_env_create();
  std::shared_ptr<int> m_held = std::make_shared<int>();   // by completions that are still to be called
  std::shared_ptr<kxFetchTask> m_task;
  std::string m_text;
};

// At once, from another thread, twice, and with an answer that is too long or missing: one completion.
TEST_F(Fetch, AnswersOnceAndNeverWithinTheCall) {
  EXPECT_EQ(kxFetch_noFetcher, Start(kUrl));
  const std::pair<const char *, const char *> files[] = {{"found", "(0 octets)"}, {"long", "(-4 )"}, {"none", "(-3 )"}};
  for (const auto how : {FileFetcher::kAtOnce, FileFetcher::kFromThread, FileFetcher::kTwice}) {
    const auto fetcher = Register(how);
    for (const auto &[file, answer] : files) {
      m_text.clear();
      ASSERT_EQ(kxFetch_OK, Start(std::string("http://ca.example/") + file));
      EXPECT_EQ("", m_text);
      EXPECT_EQ(0, sxd_env_run_for(env, 20000));
      EXPECT_EQ(0, sxd_env_run_for(env, 5));
      EXPECT_EQ(answer, m_text);
    }
    EXPECT_TRUE(fetcher->cancelled.empty());
  }
  EXPECT_EQ(1, m_held.use_count());
  for (const std::string &url : {std::string(), std::string("http://a b"), std::string("u\0v", 3),
                                 std::string(kMaxFetchUrlLen + 1, 'u')}) {
    EXPECT_EQ(kxFetch_badRequest, Start(url)) << url;
  }
}

// It times out, is cancelled, or its environment goes: the component is told, what the completion holds goes at
// once, and an answer that comes still later does no harm.
TEST_F(Fetch, LetsGoOfWhatIsNotAnswered) {
  enum Way { kTimesOut, kCancelled, kEnvironmentGoes };
  for (const Way way : {kTimesOut, kCancelled, kEnvironmentGoes}) {
    SCOPED_TRACE(way);
    const auto fetcher = Register(FileFetcher::kNever);
    m_text.clear();
    ASSERT_EQ(kxFetch_OK, Start(kUrl, {8, way == kTimesOut ? 1 : 20000}));
    EXPECT_EQ(0, sxd_env_run_for(env, way == kTimesOut ? 20000 : 100));
    if (way == kCancelled) m_task->Cancel();
    EXPECT_EQ(0, sxd_env_run_for(env, 100));
    if (way == kEnvironmentGoes) sxd_env_destroy(std::exchange(env, nullptr));
    EXPECT_EQ(std::vector<std::string>{kUrl}, fetcher->cancelled);
    EXPECT_EQ(1, m_held.use_count());
    ASSERT_EQ(1U, fetcher->held.size());
    fetcher->Answer(*fetcher->held[0]);
    EXPECT_EQ(env == nullptr ? -1 : 0, sxd_env_run_for(env, 5));
    EXPECT_EQ(way == kTimesOut ? "(-5 )" : "", m_text);
  }
}

}  // namespace
