/// @file
/// The same as kxcert/platform/wholeFile.h for what is written piece by piece.
#ifndef KXCERT_SRC_PLATFORM_WHOLEFILE_H_
#define KXCERT_SRC_PLATFORM_WHOLEFILE_H_

#include <cstddef>
#include <string>

#include "platform/files.h"

/// Every step but the last writes to a file without a name, or where the file system has none of those, to one beside
/// the file. Unless Commit succeeds nothing is left of that; a process that is killed leaves a ".kxcert-..." at worst.
/// The steps return 0, or -1 with errno set.
///
/// Its folder is opened once, so that all happens there, whatever takes the folder's name meanwhile.
class kxWholeFile {
 public:
  explicit kxWholeFile(const char *path);
  ~kxWholeFile();
  kxWholeFile(const kxWholeFile &) = delete;
  kxWholeFile &operator=(const kxWholeFile &) = delete;

  /// Opens the folder. What is there already can be read then: a descriptor for kxFile_Close, for no link.
  [[nodiscard]] int OpenFolder();
  [[nodiscard]] int OpenOld(kxFileInfo *info) const;
  /// What is there is what was opened, and nobody wrote to it since.
  bool IsOldAsItWas(const kxFileInfo &info) const;

  [[nodiscard]] int Open();  ///< and the folder, unless that is open
  [[nodiscard]] int Write(const void *data, size_t len);
  /// Brings what was written to the disk. @param mode  permissions
  [[nodiscard]] int Finish(unsigned int mode);
  /// The same, with owner and rights of another open file.
  [[nodiscard]] int FinishLike(int other);
  std::string PathForReading() const;  ///< by which this process can open it until Commit
  /// @param replace  see kxFile_WriteWhole
  [[nodiscard]] int Commit(bool replace);

 private:
  int FindTempName(int (*take)(kxWholeFile &self, const char *name));
  int Appear();
  int Replace();

  const std::string m_path;
  const std::string m_name;
  int m_folder = -1;
  std::string m_temp;  // in the folder; empty while there is none
  int m_fd = -1;
};

constexpr unsigned int kModeSecret = 0600;
constexpr unsigned int kModePublic = 0644;

#endif
