#include "store/fdbCollect.h"

#include <cctype>
#include <cerrno>
#include <cstring>

#include "kxcert/platform/log.h"

namespace {

constexpr char kLookFunc[] = "fdb_look";

}  // namespace

bool fdb_is_temp_name(std::string_view name) {
  constexpr size_t kPrefixLen = sizeof kFdbTempPrefix - 1;
  if (!name.starts_with(kFdbTempPrefix) || name.size() != kPrefixLen + sizeof kFdbTempTemplate - 1) return false;
  for (const char c : name.substr(kPrefixLen)) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) return false;
  }
  return true;
}

fdb_look::fdb_look(const fdb_handle &db, const char *key)
    : m_db(db),
      m_name(fdb_filename_pre(db, kFdbRecordPrefix, key)),
      m_there(kxFile_Info(m_name.c_str(), &m_info) == 0),
      m_file(m_there ? kxFile_OpenRegular(m_name.c_str(), nullptr) : -1),
      m_error(m_file.IsOpen() ? 0 : errno),
      m_what(Look()) {}

fdb_look::Found fdb_look::Look() const {
  kxFileInfo opened;
  if (m_file.IsOpen()) {
    const bool replaced = m_info.isRegular && (kxFile_OpenInfo(m_file.Fd(), &opened) != 0 || !IsIt(opened));
    return replaced ? kUnknown : kRecord;
  }
  tderrorFunc(kFdbTopic, 1, m_error, "%s: %s(%s)", kLookFunc, m_there ? "open" : "lstat", m_name.c_str());
  if (!m_there || m_info.isRegular) return kUnknown;  // a file that is not found has been moved meanwhile
  const bool leadsNowhere = m_error == ENOENT || m_error == ELOOP;
  return leadsNowhere && IsStillThere() ? kNothing : kUnknown;
}

// Another collector may have moved the link aside before it was followed, and put it back later.
bool fdb_look::IsStillThere() const {
  kxFileInfo info;
  return kxFile_Info(m_name.c_str(), &info) == 0 && IsIt(info);
}

int64_t fdb_look::Read(void *head, size_t len) const {
  const int64_t got = kxFile_Read(m_file.Fd(), head, len);
  if (got < 0) tderrorFunc(kFdbTopic, 1, errno, "%s: read(%s)", kLookFunc, m_name.c_str());
  return got;
}

// The number of a file is nobody else's while somebody has it open; a link, which nobody can have open,
// is told from a record by its kind.
bool fdb_look::IsIt(const kxFileInfo &info) const {
  return info.device == m_info.device && info.inode == m_info.inode && info.isRegular == m_info.isRegular;
}

// The system removes names, not files. So the name is moved away first, where no store replaces the file
// behind it; then it is looked at once more.
int fdb_look::Remove() const {
  kxFileInfo info;
  if (kxFile_Info(m_name.c_str(), &info) != 0) return errno == ENOENT ? 0 : -1;
  if (!IsIt(info)) return -1;
  std::string aside;
  if (const int err = MoveAside(&aside); err != 0) {
    // A full disk must not keep what is to make room on it; nor does it take in new records meanwhile.
    return err == ENOSPC || err == EDQUOT ? Unlink(m_name) : err == ENOENT ? 0 : -1;
  }
  if (kxFile_Info(aside.c_str(), &info) == 0) return IsIt(info) ? Unlink(aside) : PutBack(aside);
  return errno == ENOENT ? 0 : PutBack(aside);  // gone with another collector's temporaries
}

// 0 or an errno value.
int fdb_look::MoveAside(std::string *aside) const {
  for (int attempt = 0; attempt < kFdbMaxTempAttempts; ++attempt) {
    *aside = fdb_filename_pre(m_db, kFdbTempPrefix, kFdbTempTemplate);
    kxFileInfo taken;
    if (kxFile_FillTemplate(aside->data()) != 0) break;
    if (kxFile_Info(aside->c_str(), &taken) == 0) continue;
    if (kxFile_Rename(m_name.c_str(), aside->c_str()) == 0) return 0;
    break;
  }
  const int err = errno != 0 ? errno : EEXIST;
  tderrorFunc(kFdbTopic, 1, err, "%s: rename(%s,%s)", kLookFunc, m_name.c_str(), aside->c_str());
  return err;
}

// A record came between. One that was stored since is newer still, and stays.
int fdb_look::PutBack(const std::string &aside) const {
  if (kxFile_Link(aside.c_str(), m_name.c_str()) == 0 || errno == EEXIST) {
    static_cast<void>(Unlink(aside));
  } else if (kxFile_Rename(aside.c_str(), m_name.c_str()) != 0) {  // file systems without second names
    tderrorFunc(kFdbTopic, 1, errno, "%s: rename(%s,%s)", kLookFunc, aside.c_str(), m_name.c_str());
  }
  return -1;
}

int fdb_look::Unlink(const std::string &name) const {
  if (kxFile_Remove(name.c_str()) == 0 || errno == ENOENT) return 0;
  return tderrorFunc(kFdbTopic, 1, errno, "%s: unlink(%s)", kLookFunc, name.c_str()), -1;
}

void fdb_collect_temps(const fdb_handle &db, int64_t nowSec) {
  constexpr char kFunc[] = "fdb_collect_temps";
  kxDir *const dir = kxDir_Open(db.path.c_str());
  if (dir == nullptr) return tderrorFunc(kFdbTopic, 1, errno, "%s: opendir(%s)", kFunc, db.path.c_str());
  while (const char *name = kxDir_Next(dir)) {
    if (!fdb_is_temp_name(name)) continue;
    const std::string path = db.path + "/" + name;
    kxFileInfo info;
    if (kxFile_Info(path.c_str(), &info) != 0 || !info.isRegular || info.modifiedSec >= nowSec - kFdbTempLifeSec)
      continue;
    if (kxFile_Remove(path.c_str()) != 0) tderrorFunc(kFdbTopic, 1, errno, "%s: unlink(%s)", kFunc, path.c_str());
  }
  kxDir_Close(dir);
}
