/// @file
/// Files that fail as a test says, and what is left open.
#ifndef KXCERT_TESTS_SUPPORT_FILEFAULTS_H_
#define KXCERT_TESTS_SUPPORT_FILEFAULTS_H_

#include <filesystem>
#include <functional>
#include <utility>

#include "kxcert/platform/files.h"

/// Asks @p refuse at every step while it lives (0 goes on, an errno value fails). One at a time; steps of
/// one thread.
class FileFake {
 public:
  explicit FileFake(std::function<int(kxFileStep step, const char *path)> refuse) {
    s_refuse = std::move(refuse);
    kxFile_SetFake([](kxFileStep step, const char *path) { return s_refuse(step, path); });
  }
  ~FileFake() { kxFile_SetFake(nullptr); }
  FileFake(const FileFake &) = delete;
  FileFake &operator=(const FileFake &) = delete;

 private:
  static inline std::function<int(kxFileStep, const char *)> s_refuse;
};

/// Descriptors of this process.
inline long NumOpenFiles() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

#endif
