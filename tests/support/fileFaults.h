/// @file
/// Files that fail, processes that are killed between two steps, and what is left open.
#ifndef KXCERT_TESTS_SUPPORT_FILEFAULTS_H_
#define KXCERT_TESTS_SUPPORT_FILEFAULTS_H_

#include <functional>

#include "kxcert/platform/files.h"

/// Asks @p refuse at every step while it lives. One at a time; steps of one thread.
class FileFake {
 public:
  explicit FileFake(std::function<int(kxFileStep step, const char *path)> refuse);
  ~FileFake();
  FileFake(const FileFake &) = delete;
  FileFake &operator=(const FileFake &) = delete;

 private:
  static int Ask(kxFileStep step, const char *path);
};

/// Makes the n-th step (from 1) fail with EIO.
class FailNth {
 public:
  explicit FailNth(int n);
  bool Failed() const { return m_left <= 0; }   ///< there was an n-th step

 private:
  int m_left;
  const FileFake m_fake;
};

/// Runs @p operation in a child process that is killed (SIGKILL) at the n-th step.
/// @return false when the child came to its end instead
bool KilledAtStep(int n, const std::function<void()> &operation);

int NumOpenFiles();   ///< descriptors of this process

#endif
