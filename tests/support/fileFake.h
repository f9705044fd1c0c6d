/// @file
/// FileFake: steps of the file layer that a test watches, or makes fail.
#ifndef KXCERT_TESTS_SUPPORT_FILEFAKE_H_
#define KXCERT_TESTS_SUPPORT_FILEFAKE_H_

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <utility>

#include "platform/files.h"

/// Asks the function before every step while it lives: 0 goes on, an errno value fails. One at a time.
class FileFake {
 public:
  using Refuse = std::function<int(kxFileStep step, const char *path)>;
  explicit FileFake(Refuse refuse) {
    s_refuse = std::move(refuse);
    kxFile_SetFake([](kxFileStep step, const char *path) { return s_refuse(step, path); });
  }
  ~FileFake() { kxFile_SetFake(nullptr); }
  FileFake(const FileFake &) = delete;
  FileFake &operator=(const FileFake &) = delete;

  /// For an object that lives for one operation only.
  template <class Operation>
  auto While(Operation operation) const { return operation(); }

 private:
  static inline Refuse s_refuse;
};

/// Runs the operation with each step failing in turn, until none is left to fail; nothing fails in @p before.
/// @param check  is told what the operation returned, and whether a step failed
/// @return how many steps there were
template <class Before, class Operation, class Check>
int FailEachStep(Before before, Operation operation, Check check) {
  for (int n = 1;; ++n) {
    before();
    int left = n;
    const FileFake::Refuse refuse = [&left](kxFileStep, const char *) { return --left == 0 ? EIO : 0; };
    const auto result = FileFake(refuse).While(operation);
    const testing::ScopedTrace trace(__FILE__, __LINE__, n);
    check(result, left <= 0);
    if (left > 0) return n - 1;
  }
}

#endif
