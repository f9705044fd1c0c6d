/// @file
/// The same as kxcert/platform/wholeFile.h for what is written piece by piece.
#ifndef KXCERT_SRC_PLATFORM_WHOLEFILE_H_
#define KXCERT_SRC_PLATFORM_WHOLEFILE_H_

#include <cstddef>
#include <string>

/// Every step but the last writes beside the file; unless Commit succeeds nothing is left of that. The steps return
/// 0, or -1 with errno set.
class kxWholeFile {
 public:
  explicit kxWholeFile(const char *path) : m_path(path) {}
  ~kxWholeFile();
  kxWholeFile(const kxWholeFile &) = delete;
  kxWholeFile &operator=(const kxWholeFile &) = delete;

  [[nodiscard]] int Open();
  [[nodiscard]] int Write(const void *data, size_t len);
  /// Brings what was written to the disk. @param mode  permissions
  [[nodiscard]] int Finish(unsigned int mode);
  const char *TempName() const { return m_temp.c_str(); }  ///< where it stands until Commit
  /// @param replace  see kxFile_WriteWhole
  [[nodiscard]] int Commit(bool replace);

 private:
  const std::string m_path;
  std::string m_temp;  // empty while there is none
  int m_fd = -1;       // between Open and Finish
};

constexpr unsigned int kModeSecret = 0600;
constexpr unsigned int kModePublic = 0644;

#endif
