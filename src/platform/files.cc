// On 32 bits the plain calls refuse large files, and any file whose inode or time is a large number.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

struct kxDir {
  DIR *stream;
};

namespace {

std::atomic<int (*)(kxFileStep, const char *)> g_refuse{nullptr};

bool Refused(kxFileStep step, const char *path) {
  int (*const ask)(kxFileStep, const char *) = g_refuse.load(std::memory_order_relaxed);
  const int err = ask == nullptr ? 0 : ask(step, path);
  if (err != 0) errno = err;
  return err != 0;
}

template <class Call>
auto Resumed(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

int Take(const struct stat &from, kxFileInfo *info) {
  info->size = from.st_size;
  info->isRegular = S_ISREG(from.st_mode);
  info->device = from.st_dev;
  info->inode = from.st_ino;
  info->modifiedSec = from.st_mtim.tv_sec;
  info->modifiedNs = from.st_mtim.tv_nsec;
  info->changedSec = from.st_ctim.tv_sec;
  info->changedNs = from.st_ctim.tv_nsec;
  info->mode = from.st_mode & 07777U;
  return 0;
}

int Synced(int result) { return result == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS ? 0 : -1; }

// 0 for a regular file; -1 with errno set.
int RefuseSpecial(const struct stat &found) {
  if (S_ISREG(found.st_mode)) return 0;
  errno = S_ISDIR(found.st_mode) ? EISDIR : ENXIO;
  return -1;
}

int InfoOf(int folder, const char *path, int follow, struct stat *found) {
  return Refused(kxStep_info, path) || fstatat(folder, path, found, follow) != 0 ? -1 : 0;
}

// @param noFollow  O_NOFOLLOW or 0
int OpenRegular(int folder, const char *path, int noFollow, kxFileInfo *info) {
  // Asked before, because to open some devices is to use them (a tape is wound back, a watchdog
  // starts); and again after, because something else may stand there by then.
  struct stat found;
  if (InfoOf(folder, path, noFollow != 0 ? AT_SYMLINK_NOFOLLOW : 0, &found) != 0) return -1;
  if (S_ISLNK(found.st_mode)) return errno = ELOOP, -1;
  if (RefuseSpecial(found) != 0 || Refused(kxStep_openRead, path)) return -1;
  constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const int fd = Resumed([&] { return openat(folder, path, kFlags | noFollow); });
  if (fd < 0) return -1;
  if (!Refused(kxStep_openInfo, nullptr) && fstat(fd, &found) == 0 && RefuseSpecial(found) == 0) {
    if (info != nullptr) Take(found, info);
    return fd;
  }
  const int err = errno;
  close(fd);
  errno = err;
  return -1;
}

}  // namespace

std::string kxFile_PathOfOpen(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

void kxFile_SetFake(int (*refuse)(kxFileStep step, const char *path)) { g_refuse = refuse; }

int kxFile_Info(const char *path, kxFileInfo *info) {
  struct stat found;
  if (Refused(kxStep_info, path) || lstat(path, &found) != 0) return -1;
  return Take(found, info);
}

int kxFile_OpenInfo(int fd, kxFileInfo *info) {
  struct stat found;
  if (Refused(kxStep_openInfo, nullptr) || fstat(fd, &found) != 0) return -1;
  return Take(found, info);
}

int kxFile_OpenRead(const char *path) {
  if (Refused(kxStep_openRead, path)) return -1;
  return Resumed([path] { return open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); });
}

int kxFile_OpenRegular(const char *path, kxFileInfo *info) {
  if (path == nullptr) return errno = EINVAL, -1;
  return OpenRegular(AT_FDCWD, path, 0, info);
}

int kxFolder_OpenRegular(int folder, const char *name, kxFileInfo *info) {
  return OpenRegular(folder, name, O_NOFOLLOW, info);
}

std::FILE *kxFile_StreamOf(int fd) {
  std::FILE *const stream = fd < 0 ? nullptr : fdopen(fd, "rb");
  if (fd >= 0 && stream == nullptr) close(fd);
  return stream;
}

std::FILE *kxFile_OpenRegularStream(const char *path) { return kxFile_StreamOf(kxFile_OpenRegular(path, nullptr)); }

bool kxFile_IsSpecial(const char *path) {
  struct stat found;
  return path != nullptr && InfoOf(AT_FDCWD, path, 0, &found) == 0 && RefuseSpecial(found) != 0;
}

int kxFile_CreateNew(const char *path) {
  if (Refused(kxStep_createNew, path)) return -1;
  constexpr mode_t kOwnerOnly = 0600;
  return Resumed([path] { return open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly); });
}

int kxFile_SetMode(int fd, unsigned int mode) {
  return Refused(kxStep_setMode, nullptr) || fchmod(fd, mode) != 0 ? -1 : 0;
}

int kxFile_OpenWrite(const char *path) {
  if (Refused(kxStep_openWrite, path)) return -1;
  return Resumed([path] { return open(path, O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC); });
}

int64_t kxFile_Read(int fd, void *data, size_t len) {
  if (Refused(kxStep_read, nullptr)) return -1;
  size_t done = 0;
  while (done < len) {
    const ssize_t got = Resumed([&] { return read(fd, static_cast<char *>(data) + done, len - done); });
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int kxFile_Write(int fd, const void *data, size_t len) {
  if (Refused(kxStep_write, nullptr)) return -1;
  for (size_t done = 0; done < len;) {
    const ssize_t put = Resumed([&] { return write(fd, static_cast<const char *>(data) + done, len - done); });
    if (put < 0) return -1;
    done += static_cast<size_t>(put);
  }
  return 0;
}

int kxFile_Sync(int fd) {
  if (Refused(kxStep_sync, nullptr)) return -1;
  return Synced(Resumed([fd] { return fdatasync(fd); }));
}

// Not fdatasync, which may leave out a rename that did not change the folder's size.
int kxDir_Sync(int fd) {
  if (Refused(kxStep_dirSync, nullptr)) return -1;
  return Synced(Resumed([fd] { return fsync(fd); }));
}

int kxFile_Close(int fd) {
  const bool refused = Refused(kxStep_close, nullptr);
  const int refusal = errno;
  // Not taken up again: an interrupted close has freed the number, which may be another thread's now.
  const bool closed = close(fd) == 0 || errno == EINTR;
  if (refused) errno = refusal;
  return closed && !refused ? 0 : -1;
}

int kxFile_Rename(const char *from, const char *to) {
  return Refused(kxStep_rename, to) || std::rename(from, to) != 0 ? -1 : 0;
}

int kxFile_Link(const char *from, const char *to) { return Refused(kxStep_link, to) || link(from, to) != 0 ? -1 : 0; }

int kxFile_Remove(const char *path) { return Refused(kxStep_remove, path) || unlink(path) != 0 ? -1 : 0; }

int kxFile_FillTemplate(char *path) {
  constexpr char kChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  constexpr size_t kNumRandom = 6;
  const size_t pathLen = std::strlen(path);
  unsigned char random[kNumRandom];
  if (pathLen < kNumRandom) errno = EINVAL;
  if (Refused(kxStep_fillTemplate, path) || pathLen < kNumRandom || getentropy(random, sizeof random) != 0) {
    return -1;
  }
  char *const end = path + pathLen - kNumRandom;
  // Some characters come up a little more often than others: names must differ, not be secret.
  for (size_t i = 0; i < kNumRandom; ++i) end[i] = kChars[random[i] % (sizeof kChars - 1)];
  return 0;
}

namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr char kAccessList[] = "system.posix_acl_access";
constexpr size_t kMaxAccessList = 65536;  // of Linux, for any attribute

// The mode of a file with an access control list has the list's mask in place of the group's rights.
int CopyAccessList(int fd, int from) {
  const std::unique_ptr<unsigned char[]> list(new unsigned char[kMaxAccessList]);
  const ssize_t len = fgetxattr(from, kAccessList, list.get(), kMaxAccessList);
  if (len < 0) return errno == ENODATA || errno == ENOTSUP ? 0 : -1;
  return fsetxattr(fd, kAccessList, list.get(), static_cast<size_t>(len), 0);
}

}  // namespace

int kxFile_SetAccessOf(int fd, int from) {
  struct stat found, now;
  if (Refused(kxStep_setAccess, nullptr) || fstat(from, &found) != 0) return -1;
  constexpr mode_t kRights = 07777;
  if (fchown(fd, found.st_uid, found.st_gid) != 0 || fchmod(fd, found.st_mode & kRights) != 0) return -1;
  if (CopyAccessList(fd, from) != 0 || fstat(fd, &now) != 0) return -1;
  if (now.st_mode == found.st_mode) return 0;
  return errno = EPERM, -1;  // the system takes set-gid from who is not in the group, and says nothing
}

int kxFolder_Open(const char *folder) {
  const char *const path = *folder == '\0' ? "." : folder;
  if (Refused(kxStep_openRead, path)) return -1;
  const int fd = Resumed([path] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  // Whoever may not list it may write to it all the same.
  return fd >= 0 || errno != EACCES ? fd : Resumed([path] { return open(path, O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

int kxFolder_Info(int folder, const char *name, kxFileInfo *info) {
  struct stat found;
  return InfoOf(folder, name, AT_SYMLINK_NOFOLLOW, &found) != 0 ? -1 : Take(found, info);
}

bool kxFolder_IsSpecial(int folder, const char *name) {
  struct stat found;
  return InfoOf(folder, name, 0, &found) == 0 && RefuseSpecial(found) != 0;
}

int kxFolder_CreateNew(int folder, const char *name) {
  if (Refused(kxStep_createNew, name)) return -1;
  return Resumed([=] { return openat(folder, name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly); });
}

// A descriptor is named through /proc, which not every system has in every place.
int kxFolder_CreateNameless(int folder) {
  if (Refused(kxStep_createNameless, nullptr)) return -1;
  const int fd = Resumed([folder] { return openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, kOwnerOnly); });
  if (fd < 0 || access(kxFile_PathOfOpen(fd).c_str(), F_OK) == 0) return fd;
  close(fd);
  errno = ENOTSUP;
  return -1;
}

int kxFolder_Link(int folder, int fd, const char *to) {
  if (Refused(kxStep_link, to)) return -1;
  return linkat(AT_FDCWD, kxFile_PathOfOpen(fd).c_str(), folder, to, AT_SYMLINK_FOLLOW);
}

int kxFolder_Rename(int folder, const char *from, const char *to) {
  return Refused(kxStep_rename, to) ? -1 : renameat(folder, from, folder, to);
}

int kxFolder_RenameNew(int folder, const char *from, const char *to) {
  return Refused(kxStep_rename, to) ? -1 : renameat2(folder, from, folder, to, RENAME_NOREPLACE);
}

int kxFolder_Remove(int folder, const char *name) {
  return Refused(kxStep_remove, name) ? -1 : unlinkat(folder, name, 0);
}

int kxDir_Make(const char *path) { return Refused(kxStep_dirMake, path) || mkdir(path, 0777) != 0 ? -1 : 0; }

int kxDir_Remove(const char *path) { return Refused(kxStep_dirRemove, path) || rmdir(path) != 0 ? -1 : 0; }

kxDir *kxDir_Open(const char *path) {
  if (Refused(kxStep_dirOpen, path)) return nullptr;
  auto dir = std::make_unique<kxDir>();
  dir->stream = opendir(path);
  return dir->stream != nullptr ? dir.release() : nullptr;
}

const char *kxDir_Next(kxDir *dir) {
  errno = 0;  // the end of the folder leaves it so
  if (Refused(kxStep_dirNext, nullptr)) return nullptr;
  const dirent *entry = readdir(dir->stream);
  return entry != nullptr ? entry->d_name : nullptr;
}

int kxDir_Close(kxDir *dir) {
  const std::unique_ptr<kxDir> owned(dir);
  const bool refused = Refused(kxStep_dirClose, nullptr);
  const int refusal = errno;
  const bool closed = closedir(dir->stream) == 0;
  if (refused) errno = refusal;
  return closed && !refused ? 0 : -1;
}
