/// @file
/// FileFetcher: a component for fetching that brings files of a folder, in the way that a test wants.
#ifndef KXCERT_TESTS_SUPPORT_FILEFETCHER_H_
#define KXCERT_TESTS_SUPPORT_FILEFETCHER_H_

#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "kxcert/platform/fetcher.h"

/// Whatever stands behind the last slash of a URL is a file of the folder, or nothing is found.
class FileFetcher : public kxFetcher {
 public:
  enum How { kAtOnce, kFromThread, kTwice, kNever };
  explicit FileFetcher(std::string folder, How how = kAtOnce) : m_folder(std::move(folder)), m_how(how) {}

  void Begin(const std::shared_ptr<kxFetchTask> &task) override {
    asked.push_back(task->Request().url);
    if (m_how == kNever) return held.push_back(task);
    if (m_how == kFromThread) return std::thread([this, task] { Answer(*task); }).join();
    for (int i = 0; i < (m_how == kTwice ? 2 : 1); ++i) Answer(*task);
  }
  void Cancel(kxFetchTask &task) override { cancelled.push_back(task.Request().url); }

  void Answer(kxFetchTask &task) const {
    std::ifstream in(m_folder + "/" + task.Request().url.substr(task.Request().url.rfind('/') + 1), std::ios::binary);
    const std::vector<char> all((std::istreambuf_iterator<char>(in)), {});
    kxFetchAnswer answer;
    answer.result = in.is_open() ? kxFetch_OK : kxFetch_failed;
    answer.octets = reinterpret_cast<const unsigned char *>(all.data());
    answer.len = all.size();
    task.Answer(answer);
  }

  std::vector<std::string> asked, cancelled;        ///< URLs
  std::vector<std::shared_ptr<kxFetchTask>> held;   ///< those that are not answered

 private:
  const std::string m_folder;
  const How m_how;
};

#endif
