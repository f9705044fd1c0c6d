/// @file
/// FileFake: steps of the file layer that a test watches, or makes fail.
#ifndef KXCERT_TESTS_SUPPORT_FILEFAKE_H_
#define KXCERT_TESTS_SUPPORT_FILEFAKE_H_

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

#endif
