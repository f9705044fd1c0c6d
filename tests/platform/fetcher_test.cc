#include "kxcert/platform/fetcher.h"

#include "kxcert/platform/eventEnv.h"
#include "support/fileFetcher.h"
#include "support/script.h"

namespace {

// A loop on which is asked, and the component that answers.
class Loop {
 public:
  Loop(const std::string &folder, FileFetcher::How how) : m_fetcher(std::make_shared<FileFetcher>(folder, how)) {
    kxFetcher_Set(m_fetcher);
  }
  ~Loop() {
    kxFetcher_Set(nullptr);
    sxd_env_destroy(m_env);
  }
  int Start(const std::string &url, size_t maxLen, int timeoutMs) {
    const auto done = [this, held = m_held](const kxFetchAnswer &answer) {
      m_text += "(" + std::to_string(answer.result) + " " + std::string(answer.octets, answer.octets + answer.len) + ")";
      sxd_env_stop(m_env);
    };
    const kxFetchLimits limits = {maxLen, timeoutMs};
    return kxFetch_Start(m_env, {.url = url, .limits = limits, .body = {}, .contentType = {}, .known = {}}, done, &m_task);
  }
  // Until an answer came, and on.
  std::string Run(int maxMs) {
    EXPECT_EQ(0, sxd_env_run_for(m_env, maxMs));
    EXPECT_EQ(0, sxd_env_run_for(m_env, 5));
    return std::exchange(m_text, "");
  }
  std::string Text() const { return m_text; }
  void Cancel() { m_task->Cancel(); }
  void End() { sxd_env_destroy(std::exchange(m_env, nullptr)); }
  size_t NumCancelled() const { return m_fetcher->cancelled.size(); }
  void AnswerLate() { m_fetcher->Answer(*m_fetcher->held.at(0)); }
  bool IsHeld() const { return m_held.use_count() > 1; }

 private:
  const std::shared_ptr<FileFetcher> m_fetcher;
  sxd_env *m_env = sxd_env_create();
  const std::shared_ptr<int> m_held = std::make_shared<int>();   // by completions that are still to be called
  std::shared_ptr<kxFetchTask> m_task;
  std::string m_text;
};

TEST(Fetch, DoesWhatTheStepsSay) {
  const TempDir dir;
  Script()
      .In(dir)
      .On("Loop", [](const std::string &folder, int how) {
        return std::make_unique<Loop>(folder, static_cast<FileFetcher::How>(how));
      })
      .On("noFetcher", [] { kxFetcher_Set(nullptr); })
      .On("start", &Loop::Start)
      .On("run", &Loop::Run)
      .On("text", &Loop::Text)
      .On("cancel", &Loop::Cancel)
      .On("end", &Loop::End)
      .On("numCancelled", &Loop::NumCancelled)
      .On("answerLate", &Loop::AnswerLate)
      .On("isHeld", &Loop::IsHeld)
      .Run("platform/fetch.steps");
}

}  // namespace
