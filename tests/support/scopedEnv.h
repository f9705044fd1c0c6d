/// @file
/// ScopedEnv: an environment variable that is set, or absent, while the object lives.
#ifndef KXCERT_TESTS_SUPPORT_SCOPEDENV_H_
#define KXCERT_TESTS_SUPPORT_SCOPEDENV_H_

#include <stdlib.h>

#include <optional>
#include <string>

class ScopedEnv {
 public:
  /// @param value  null removes the variable
  ScopedEnv(const char *name, const char *value) : m_name(name) {
    if (const char *old = getenv(name)) m_old = old;
    Put(value);
  }
  ~ScopedEnv() { Put(m_old ? m_old->c_str() : nullptr); }
  ScopedEnv(const ScopedEnv &) = delete;
  ScopedEnv &operator=(const ScopedEnv &) = delete;

 private:
  void Put(const char *value) {
    if (value == nullptr) {
      unsetenv(m_name.c_str());
    } else {
      setenv(m_name.c_str(), value, 1);
    }
  }

  const std::string m_name;
  std::optional<std::string> m_old;
};

#endif
