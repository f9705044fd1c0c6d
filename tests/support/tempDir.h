/// @file
/// TempDir: a folder of a test's own, gone with the object.
#ifndef KXCERT_TESTS_SUPPORT_TEMPDIR_H_
#define KXCERT_TESTS_SUPPORT_TEMPDIR_H_

#include <string>

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &Path() const { return m_path; }
  std::string File(const std::string &name) const { return m_path + "/" + name; }

  /// Writes the file anew and returns its path.
  std::string Write(const std::string &name, const std::string &content) const;
  /// The whole content; fails the running test when there is no such file.
  std::string Read(const std::string &name) const;

 private:
  std::string m_path;
};

#endif
