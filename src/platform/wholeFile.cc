#include "platform/wholeFile.h"

#include <cerrno>

#include "kxcert/platform/wholeFile.h"
#include "platform/files.h"

namespace {

constexpr int kMaxAttempts = 16;                    // at a name that nobody has
constexpr char kTempTemplate[] = ".kxcert-XXXXXX";  // short, so that a file may have the longest name there is

// The new name is on the disk, too. That it may not be is no failure any more: the file has it.
void SyncFolder(const std::string &folder) {
  const int fd = kxFile_OpenRead(folder.empty() ? "." : folder.c_str());
  if (fd < 0) return;
  static_cast<void>(kxDir_Sync(fd));
  static_cast<void>(kxFile_Close(fd));
}

}  // namespace

// Up to the last slash, or nothing.
kxWholeFile::kxWholeFile(const char *path) : m_path(path), m_folder(m_path.substr(0, m_path.rfind('/') + 1)) {}

kxWholeFile::~kxWholeFile() {
  const int error = errno;  // of what failed
  if (m_fd >= 0) static_cast<void>(kxFile_Close(m_fd));
  if (!m_temp.empty()) static_cast<void>(kxFile_Remove(m_temp.c_str()));
  errno = error;
}

int kxWholeFile::Open() {
  m_fd = kxFile_CreateNameless(m_folder.empty() ? "." : m_folder.c_str());
  return m_fd >= 0 ? 0 : OpenNamed();
}

int kxWholeFile::OpenNamed() {
  return FindTempName([](kxWholeFile &self, const char *name) { return self.m_fd = kxFile_CreateNew(name); });
}

// @param take  gives the file a name; EEXIST when somebody has it
int kxWholeFile::FindTempName(int (*take)(kxWholeFile &self, const char *name)) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    std::string name = m_folder + kTempTemplate;
    if (kxFile_FillTemplate(name.data()) != 0) return -1;
    if (take(*this, name.c_str()) >= 0) return m_temp = name, 0;
    if (errno != EEXIST) return -1;
  }
  return -1;
}

int kxWholeFile::Write(const void *data, size_t len) { return kxFile_Write(m_fd, data, len); }

int kxWholeFile::SetOwner(uint32_t owner, uint32_t group) { return kxFile_SetOwner(m_fd, owner, group); }

int kxWholeFile::Finish(unsigned int mode) {
  return kxFile_SetMode(m_fd, mode) != 0 || kxFile_Sync(m_fd) != 0 ? -1 : 0;
}

std::string kxWholeFile::PathForReading() const { return m_temp.empty() ? kxFile_PathOfOpen(m_fd) : m_temp; }

int kxWholeFile::Link(const char *name) const {
  return m_temp.empty() ? kxFile_LinkOpen(m_fd, name) : kxFile_Link(m_temp.c_str(), name);
}

// The system replaces names by names, so that for a moment the file has one of its own.
int kxWholeFile::Replace() {
  if (kxFile_IsSpecial(m_path.c_str())) return errno = EEXIST, -1;
  const auto link = [](kxWholeFile &self, const char *name) { return self.Link(name); };
  if (m_temp.empty() && FindTempName(link) != 0) return -1;
  if (kxFile_Rename(m_temp.c_str(), m_path.c_str()) != 0) return -1;
  m_temp.clear();
  return 0;
}

// A link fails when the name is taken, however late somebody took it.
int kxWholeFile::Commit(bool replace) {
  if ((replace ? Replace() : Link(m_path.c_str())) != 0) return -1;
  SyncFolder(m_folder);
  return 0;
}

int kxFile_WriteWhole(const char *path, const void *data, size_t len, bool replace) {
  if (path == nullptr || (data == nullptr && len > 0)) return errno = EINVAL, -1;
  kxWholeFile file(path);
  const bool written =
      file.Open() == 0 && file.Write(data, len) == 0 && file.Finish(kModeSecret) == 0 && file.Commit(replace) == 0;
  return written ? 0 : -1;
}
