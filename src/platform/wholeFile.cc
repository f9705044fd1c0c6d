#include "platform/wholeFile.h"

#include <cerrno>

#include "kxcert/platform/wholeFile.h"
#include "platform/files.h"

namespace {

constexpr int kMaxAttempts = 16;  // at a name that nobody has

// The new name is on the disk, too. That it may not be is no failure any more: the file has it.
void SyncFolderOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int fd = kxFile_OpenRead(folder.c_str());
  if (fd < 0) return;
  static_cast<void>(kxDir_Sync(fd));
  static_cast<void>(kxFile_Close(fd));
}

}  // namespace

kxWholeFile::~kxWholeFile() {
  const int error = errno;  // of what failed
  if (m_fd >= 0) static_cast<void>(kxFile_Close(m_fd));
  if (!m_temp.empty()) static_cast<void>(kxFile_Remove(m_temp.c_str()));
  errno = error;
}

int kxWholeFile::Open() {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    std::string name = m_path + ".XXXXXX";
    if (kxFile_FillTemplate(name.data()) != 0) return -1;
    m_fd = kxFile_CreateNew(name.c_str());
    if (m_fd >= 0) return m_temp = name, 0;
    if (errno != EEXIST) return -1;
  }
  return -1;
}

int kxWholeFile::Write(const void *data, size_t len) { return kxFile_Write(m_fd, data, len); }

int kxWholeFile::Finish(unsigned int mode) {
  if (kxFile_SetMode(m_fd, mode) != 0 || kxFile_Sync(m_fd) != 0) return -1;
  const int fd = m_fd;
  m_fd = -1;
  return kxFile_Close(fd);
}

// Without replacing the file gets a second name, which fails when that is taken, however late somebody took it; the
// first name then goes with this object.
int kxWholeFile::Commit(bool replace) {
  if (!replace) {
    if (kxFile_Link(m_temp.c_str(), m_path.c_str()) != 0) return -1;
  } else if (kxFile_IsSpecial(m_path.c_str())) {
    return errno = EEXIST, -1;
  } else {
    if (kxFile_Rename(m_temp.c_str(), m_path.c_str()) != 0) return -1;
    m_temp.clear();
  }
  SyncFolderOf(m_path);
  return 0;
}

int kxFile_WriteWhole(const char *path, const void *data, size_t len, bool replace) {
  if (path == nullptr || (data == nullptr && len > 0)) return errno = EINVAL, -1;
  kxWholeFile file(path);
  const bool written =
      file.Open() == 0 && file.Write(data, len) == 0 && file.Finish(kModeSecret) == 0 && file.Commit(replace) == 0;
  return written ? 0 : -1;
}
