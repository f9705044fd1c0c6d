#include "platform/wholeFile.h"

#include <cerrno>

#include "kxcert/platform/wholeFile.h"

namespace {

constexpr int kMaxAttempts = 16;                    // at a name that nobody has
constexpr char kTempTemplate[] = ".kxcert-XXXXXX";  // short, so that a file may have the longest name there is

size_t StartOfName(const std::string &path) { return path.rfind('/') + 1; }  // 0 without a slash

}  // namespace

kxWholeFile::kxWholeFile(const char *path) : m_path(path), m_name(m_path.substr(StartOfName(m_path))) {}

kxWholeFile::~kxWholeFile() {
  const int error = errno;  // of what failed
  if (m_fd >= 0) static_cast<void>(kxFile_Close(m_fd));
  if (!m_temp.empty()) static_cast<void>(kxFolder_Remove(m_folder, m_temp.c_str()));
  if (m_folder >= 0) static_cast<void>(kxFile_Close(m_folder));
  errno = error;
}

int kxWholeFile::OpenFolder() {
  m_folder = kxFolder_Open(m_path.substr(0, StartOfName(m_path)).c_str());
  return m_folder < 0 ? -1 : 0;
}

int kxWholeFile::OpenOld(kxFileInfo *info) const { return kxFolder_OpenRegular(m_folder, m_name.c_str(), info); }

bool kxWholeFile::IsOldAsItWas(const kxFileInfo &info) const {
  kxFileInfo now;
  return kxFolder_Info(m_folder, m_name.c_str(), &now) == 0 && now.device == info.device && now.inode == info.inode &&
         now.size == info.size && now.modifiedSec == info.modifiedSec && now.modifiedNs == info.modifiedNs &&
         now.changedSec == info.changedSec && now.changedNs == info.changedNs;
}

int kxWholeFile::Open() {
  if (m_folder < 0 && OpenFolder() != 0) return -1;
  m_fd = kxFolder_CreateNameless(m_folder);
  if (m_fd >= 0) return 0;
  return FindTempName(
      [](kxWholeFile &self, const char *name) { return self.m_fd = kxFolder_CreateNew(self.m_folder, name); });
}

// @param take  gives the file a name; EEXIST when somebody has it
int kxWholeFile::FindTempName(int (*take)(kxWholeFile &self, const char *name)) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    std::string name = kTempTemplate;
    if (kxFile_FillTemplate(name.data()) != 0) return -1;
    if (take(*this, name.c_str()) >= 0) return m_temp = name, 0;
    if (errno != EEXIST) return -1;
  }
  return -1;
}

int kxWholeFile::Write(const void *data, size_t len) { return kxFile_Write(m_fd, data, len); }

int kxWholeFile::Finish(unsigned int mode) {
  return kxFile_SetMode(m_fd, mode) != 0 || kxFile_Sync(m_fd) != 0 ? -1 : 0;
}

int kxWholeFile::FinishLike(int other) {
  return kxFile_SetAccessOf(m_fd, other) != 0 || kxFile_Sync(m_fd) != 0 ? -1 : 0;
}

std::string kxWholeFile::PathForReading() const { return kxFile_PathOfOpen(m_fd); }

// The name may be taken, however late somebody took it. Not every file system gives a file two names.
int kxWholeFile::Appear() {
  if (m_temp.empty()) return kxFolder_Link(m_folder, m_fd, m_name.c_str());
  if (kxFolder_RenameNew(m_folder, m_temp.c_str(), m_name.c_str()) != 0) return -1;
  m_temp.clear();
  return 0;
}

// The system replaces names by names, so that for a moment the file has one of its own.
int kxWholeFile::Replace() {
  if (kxFolder_IsSpecial(m_folder, m_name.c_str())) return errno = EEXIST, -1;
  const auto link = [](kxWholeFile &self, const char *name) { return kxFolder_Link(self.m_folder, self.m_fd, name); };
  if (m_temp.empty() && FindTempName(link) != 0) return -1;
  if (kxFolder_Rename(m_folder, m_temp.c_str(), m_name.c_str()) != 0) return -1;
  m_temp.clear();
  return 0;
}

// That the new name may not be on the disk yet is no failure any more: the file has it.
int kxWholeFile::Commit(bool replace) {
  if ((replace ? Replace() : Appear()) != 0) return -1;
  static_cast<void>(kxDir_Sync(m_folder));
  return 0;
}

int kxFile_WriteWhole(const char *path, const void *data, size_t len, bool replace) {
  if (path == nullptr || (data == nullptr && len > 0)) return errno = EINVAL, -1;
  kxWholeFile file(path);
  const bool written =
      file.Open() == 0 && file.Write(data, len) == 0 && file.Finish(kModeSecret) == 0 && file.Commit(replace) == 0;
  return written ? 0 : -1;
}
