/// @file
/// The same as kxcert/platform/wholeFile.h for what is written piece by piece.
#ifndef KXCERT_SRC_PLATFORM_WHOLEFILE_H_
#define KXCERT_SRC_PLATFORM_WHOLEFILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

/// Every step but the last writes to a file without a name, or where the file system has none of those, to one beside
/// the file. Unless Commit succeeds nothing is left of that; a process that is killed leaves a ".kxcert-..." at worst.
/// The steps return 0, or -1 with errno set.
class kxWholeFile {
 public:
  explicit kxWholeFile(const char *path);
  ~kxWholeFile();
  kxWholeFile(const kxWholeFile &) = delete;
  kxWholeFile &operator=(const kxWholeFile &) = delete;

  [[nodiscard]] int Open();
  [[nodiscard]] int Write(const void *data, size_t len);
  [[nodiscard]] int SetOwner(uint32_t owner, uint32_t group);
  /// Brings what was written to the disk. @param mode  permissions
  [[nodiscard]] int Finish(unsigned int mode);
  std::string PathForReading() const;  ///< by which this process can open it until Commit
  /// @param replace  see kxFile_WriteWhole
  [[nodiscard]] int Commit(bool replace);

 private:
  int OpenNamed();
  int FindTempName(int (*take)(kxWholeFile &self, const char *name));
  int Link(const char *name) const;
  int Replace();

  const std::string m_path;
  const std::string m_folder;  // with its slash; empty for the one that we are in
  std::string m_temp;          // empty while there is none
  int m_fd = -1;
};

constexpr unsigned int kModeSecret = 0600;
constexpr unsigned int kModePublic = 0644;

#endif
