/// @file
/// Files and folders, one step of the system each, behind a function that tests can refuse.
///
/// Every function returns 0 or a value on success; -1 or null with errno set on failure. A step that a
/// signal interrupts is taken up again. What is opened here is closed when the process starts another
/// program. Files larger than 2 GiB and folders of any file system work on every word size. Any thread.
#ifndef KXCERT_SRC_PLATFORM_FILES_H_
#define KXCERT_SRC_PLATFORM_FILES_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

struct kxFileInfo {
  int64_t size;     ///< bytes; of a symbolic link the length of its target's name
  bool isRegular;   ///< neither link, folder nor device
  uint64_t device;  ///< with the inode: the same file, for as long as somebody has it open
  uint64_t inode;
  int64_t modifiedSec;  ///< seconds since 1970-01-01 00:00 UTC
  int64_t modifiedNs;   ///< and nanoseconds of that second
  int64_t changedSec;   ///< what is known of it, or it itself
  int64_t changedNs;
  unsigned int mode;  ///< permissions
};

int kxFile_Info(const char *path, kxFileInfo *info);  ///< of a link itself (lstat)
int kxFile_OpenInfo(int fd, kxFileInfo *info);        ///< of what is open (fstat)

/// A descriptor for kxFile_Close. A pipe or device that is not ready does not hold the caller up.
int kxFile_OpenRead(const char *path);
/// The same for a regular file, or a link to one; nothing else is opened. For paths from outside, where
/// a pipe would hold the reader up and a device has no end. A null path fails with EINVAL, a folder with
/// EISDIR, what else is no regular file with ENXIO.
/// @param[out] info  when not null: of the file that is open
int kxFile_OpenRegular(const char *path, kxFileInfo *info);
std::FILE *kxFile_OpenRegularStream(const char *path);  ///< the same, for fclose()
/// A stream that reads what is open, for fclose(). @param fd  taken over, also on failure; negative: null
std::FILE *kxFile_StreamOf(int fd);
/// Whether something is there that kxFile_OpenRegular refuses for what it is. False for null.
bool kxFile_IsSpecial(const char *path);
/// Makes a file that only its owner may read and write; EEXIST when the name is taken.
int kxFile_CreateNew(const char *path);
std::string kxFile_PathOfOpen(int fd);          ///< by which this process can open it once more
int kxFile_SetMode(int fd, unsigned int mode);  ///< permissions of what is open
/// Gives what is open the owner, the group, all permissions and the access control list of another open file;
/// EPERM where this process may not, and what is open may then have a part of them.
int kxFile_SetAccessOf(int fd, int from);
/// Opens a file that is there, and empties it; ELOOP for a symbolic link.
int kxFile_OpenWrite(const char *path);

/// @return bytes read: @p len, or fewer when the file ends before; -1 with some of them in @p data
int64_t kxFile_Read(int fd, void *data, size_t len);
int kxFile_Write(int fd, const void *data, size_t len);  ///< all of it, or -1
/// Returns once the content is on the disk. File systems that have no such step count as done.
int kxFile_Sync(int fd);
int kxFile_Close(int fd);  ///< the descriptor is gone in every case

int kxFile_Rename(const char *from, const char *to);  ///< replaces @p to in one step
/// Gives the file a second name; EEXIST when that is taken.
int kxFile_Link(const char *from, const char *to);
int kxFile_Remove(const char *path);
/// Replaces the last six characters of @p path by random letters and digits.
int kxFile_FillTemplate(char *path);

// What happens to names in one folder, which is open: whoever puts another folder in its place changes nothing of it.
// Names have no slash.

/// A descriptor for kxFile_Close. @param folder  "" for the one that the process is in
int kxFolder_Open(const char *folder);
/// As kxFile_OpenRegular, and no link either (ELOOP).
int kxFolder_OpenRegular(int folder, const char *name, kxFileInfo *info);
int kxFolder_Info(int folder, const char *name, kxFileInfo *info);  ///< of a link itself
bool kxFolder_IsSpecial(int folder, const char *name);              ///< as kxFile_IsSpecial
int kxFolder_CreateNew(int folder, const char *name);               ///< as kxFile_CreateNew
/// Makes a file without a name, for its owner to read and write; ENOTSUP where there are none. It goes with its
/// descriptor unless kxFolder_Link names it.
int kxFolder_CreateNameless(int folder);
int kxFolder_Link(int folder, int fd, const char *to);  ///< gives an open file a name; EEXIST when that is taken
int kxFolder_Rename(int folder, const char *from, const char *to);
int kxFolder_RenameNew(int folder, const char *from, const char *to);  ///< EEXIST when @p to is taken
int kxFolder_Remove(int folder, const char *name);

int kxDir_Make(const char *path);    ///< mode 0777, less the process's umask
int kxDir_Remove(const char *path);  ///< of an empty folder
/// Returns once the names in the folder, which is open, are on the disk.
int kxDir_Sync(int fd);

struct kxDir;
kxDir *kxDir_Open(const char *path);  ///< for kxDir_Close
/// The next name in the folder's own order, "." and ".." included. Lent until the next call for the
/// same @p dir. Null with errno 0 at the end, null with errno set on failure.
const char *kxDir_Next(kxDir *dir);
int kxDir_Close(kxDir *dir);  ///< it is gone in every case

enum kxFileStep : int {
  kxStep_info,
  kxStep_openInfo,
  kxStep_openRead,
  kxStep_createNew,
  kxStep_openWrite,
  kxStep_read,
  kxStep_write,
  kxStep_sync,
  kxStep_close,
  kxStep_rename,
  kxStep_remove,
  kxStep_fillTemplate,
  kxStep_dirMake,
  kxStep_dirRemove,
  kxStep_dirOpen,
  kxStep_dirNext,
  kxStep_dirClose,
  kxStep_link,
  kxStep_dirSync,
  kxStep_setMode,
  kxStep_createNameless,
  kxStep_setAccess,
};

/// Asked before the system is, so that a test can make any step fail: 0 lets it go on, an errno value
/// makes it fail with that. Nothing is then done, except that closing closes. @p path is null where
/// the step has none. Null goes back.
void kxFile_SetFake(int (*refuse)(kxFileStep step, const char *path));

#endif
