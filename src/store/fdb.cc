#include "kxcert/store/fdb.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "kxcert/platform/log.h"
#include "store/fdb_imp.h"

// Where a step has failed, errno is read as the argument of the line that reports it: first of all.

struct fdb_iterator {
  kxDir *stream;
  int32_t done;  // 1 once the stream has ended or failed
};

namespace {

constexpr char kDurableVariable[] = "KXCERT_FDB_DURABLE";
// What a store waits for, each including the one before.
enum Durable : int { kDurable_asOpened = -1, kDurable_none, kDurable_file, kDurable_folder };

std::atomic<int> g_durable{kDurable_asOpened};

int BadArguments(const char *func) { return tderrorFunc(kFdbTopic, 1, 0, "%s: bad arguments", func), -1; }

}  // namespace

std::string fdb_filename_pre(const fdb_handle &db, const char *prefix, const char *suffix) {
  return db.path + "/" + prefix + suffix;
}

namespace {

// A new file beside the records, removed again unless it became one.
class TempFile {
 public:
  TempFile() = default;
  ~TempFile() {
    if (m_name.empty() || kxFile_Remove(m_name.c_str()) == 0) return;
    tderrorFunc(kFdbTopic, 1, errno, "%s: unlink(%s)", "fdb_store", m_name.c_str());
  }
  TempFile(const TempFile &) = delete;
  TempFile &operator=(const TempFile &) = delete;

  [[nodiscard]] int Open(const fdb_handle &db);
  [[nodiscard]] int Write(const void *buf, int len, int durable);
  [[nodiscard]] int BecomeRecord(const std::string &record);
  const char *Name() const { return m_name.c_str(); }

 private:
  std::string m_name;  // empty while there is no file
  int m_fd = -1;       // between Open and Write
};

// The name is made, closed and opened again, so that a file system that reports only then what it
// refuses (a quota, a server that is gone) ends the store before anything is written.
int TempFile::Open(const fdb_handle &db) {
  constexpr char kFunc[] = "fdb_open_tmp";
  for (int attempt = 0; attempt < kFdbMaxTempAttempts; ++attempt) {
    std::string name = fdb_filename_pre(db, kFdbTempPrefix, kFdbTempTemplate);
    if (kxFile_FillTemplate(name.data()) != 0) {
      return tderrorFunc(kFdbTopic, 1, errno, "%s: mktemp(%s)", kFunc, name.c_str()), -1;
    }
    const int created = kxFile_CreateNew(name.c_str());
    if (created < 0) {
      const int err = errno;
      tderrorFunc(kFdbTopic, 1, err, "%s: open(%s)", kFunc, name.c_str());
      if (err == EEXIST) continue;
      return -1;
    }
    m_name = name;
    if (kxFile_Close(created) != 0) {
      return tderrorFunc(kFdbTopic, 1, errno, "%s: close(%s)", kFunc, m_name.c_str()), -1;
    }
    m_fd = kxFile_OpenWrite(m_name.c_str());
    if (m_fd < 0) return tderrorFunc(kFdbTopic, 1, errno, "%s: fopen(%s)", kFunc, m_name.c_str()), -1;
    return 0;
  }
  return -1;
}

// What could not be written or brought to the disk is reported when the file is closed, together with
// what closing itself finds.
//
// Unless nothing is to be waited for, the content is on the disk before the file gets the record's name.
// Otherwise a power cut after the rename could leave the new name with none or half of the content, and
// the record that it replaced, which was good, would be gone too. The price is one wait for the disk;
// records are stored when something was fetched, which takes longer. The folder is waited for only when
// asked (TheCallerOrTheEnvironmentSaysWhatAStoreWaitsFor): if the rename is lost, the old record stands
// there, whole.
int TempFile::Write(const void *buf, int len, int durable) {
  constexpr char kFunc[] = "fdb_store";
  fdb_open_file file(m_fd);
  m_fd = -1;
  bool written = kxFile_Write(file.Fd(), buf, static_cast<size_t>(len)) == 0;
  if (!written) {
    tderrorFunc(kFdbTopic, 1, errno, "%s: fwrite(buf_len=%d)", kFunc, len);
  } else if (durable >= kDurable_file && kxFile_Sync(file.Fd()) != 0) {
    tderrorFunc(kFdbTopic, 1, errno, "%s: fdatasync(%s)", kFunc, Name());
    written = false;
  }
  if (file.Close() == 0) return written ? 0 : -1;
  return tderrorFunc(kFdbTopic, 1, errno, "%s: fclose", kFunc), -1;
}

int TempFile::BecomeRecord(const std::string &record) {
  if (kxFile_Rename(Name(), record.c_str()) != 0) {
    return tderrorFunc(kFdbTopic, 1, errno, "%s: rename(%s,%s)", "fdb_store", Name(), record.c_str()), -1;
  }
  m_name.clear();
  return 0;
}

int DurableSetting(const char *func) {
  // The secure form, as for the locks: a set-user-id program's caller does not choose.
  const char *const text = secure_getenv(kDurableVariable);
  if (text == nullptr) return kDurable_file;
  const bool known = text[0] >= '0' && text[0] <= '2' && text[1] == '\0';
  tderrorFunc(kFdbTopic, known ? 4 : 2, 0, "%s: %s=%s%s", func, kDurableVariable, text, known ? "" : " is not known");
  return known ? text[0] - '0' : kDurable_file;
}

// A slash would lead out of the folder, or into one below it.
bool IsKey(const char *key) { return key != nullptr && std::strchr(key, '/') == nullptr; }

// Bytes that a reader gets of the file that was found under the record's name and then opened; -1. A
// link is measured as the link. A file is measured once it is open: a store may meanwhile have put
// another one there, of another length and perhaps of the same inode.
int64_t LenOf(const kxFileInfo &found, int fd) {
  kxFileInfo opened;
  if (!found.isRegular) return found.size;
  return kxFile_OpenInfo(fd, &opened) == 0 ? opened.size : -1;
}

}  // namespace

int fdb_set_durable(int durable) {
  if (durable < kDurable_asOpened || durable > kDurable_folder) return BadArguments("fdb_set_durable");
  g_durable = durable;
  return 0;
}

fdb_handle *fdb_open(const char *name, const char *version) {
  constexpr char kFunc[] = "fdb_new";
  if (name == nullptr || version == nullptr) return BadArguments(kFunc), nullptr;
  tderrorFunc(kFdbTopic, 4, 0, "%s: name= %s version= %s", kFunc, name, version);
  auto db = std::make_unique<fdb_handle>();
  db->path = std::string(name) + "_" + version;
  tderrorFunc(kFdbTopic, 4, 0, "%s: path= %s", kFunc, db->path.c_str());
  db->durable = DurableSetting(kFunc);
  if (kxDir_Make(db->path.c_str()) != 0 && errno != EEXIST) {
    return tderrorFunc(kFdbTopic, 1, errno, "%s: %s", "fdb_create_dir", db->path.c_str()), nullptr;
  }
  return db.release();
}

int fdb_read(fdb_handle *db, const char *key, void **out) {
  constexpr char kFunc[] = "fdb_read";
  if (out != nullptr) *out = nullptr;
  if (db == nullptr || !IsKey(key) || out == nullptr) return BadArguments(kFunc);
  tderrorFunc(kFdbTopic, 4, 0, "%s: key= %s", kFunc, key);
  const std::string name = fdb_filename_pre(*db, kFdbRecordPrefix, key);
  kxFileInfo found;
  if (kxFile_Info(name.c_str(), &found) != 0) {
    return tderrorFunc(kFdbTopic, 1, errno, "%s: lstat(%s)", kFunc, name.c_str()), -1;
  }
  fdb_open_file file(kxFile_OpenRead(name.c_str()));
  if (!file.IsOpen()) return tderrorFunc(kFdbTopic, 1, errno, "%s: fopen(%s)", kFunc, name.c_str()), -1;
  const int64_t len = LenOf(found, file.Fd());
  if (len < 0) return tderrorFunc(kFdbTopic, 1, errno, "%s: fstat(%s)", kFunc, name.c_str()), -1;
  if (len > INT32_MAX) { return tderrorFunc(kFdbTopic, 1, 0, "%s: record too long: %s", kFunc, name.c_str()), -1; }
  // An empty record has a block, too. Zeroed: where the file turns out shorter, nobody gets to see
  // what else this process had in its memory.
  sxOwned<void, std::free> block(std::calloc(1, len > 0 ? static_cast<size_t>(len) : 1));
  if (block == nullptr) return tderrorFunc(kFdbTopic, 1, errno, "%s: malloc", kFunc), -1;
  const int64_t got = kxFile_Read(file.Fd(), block.get(), static_cast<size_t>(len));
  if (got != len) {
    tderrorFunc(kFdbTopic, 1, got < 0 ? errno : 0, "%s: fread(len=%d)", kFunc, static_cast<int>(len));
    if (got < 0) return -1;
    // Fewer octets than there were is no failure, by intent (test ARecordThatShrinksKeepsItsLength).
  }
  if (file.Close() != 0) return tderrorFunc(kFdbTopic, 1, errno, "%s: fclose", kFunc), -1;
  *out = block.release();
  return static_cast<int>(len);
}

int fdb_store(fdb_handle *db, const char *key, const void *buf, int len) {
  constexpr char kFunc[] = "fdb_store";
  if (db == nullptr || !IsKey(key) || buf == nullptr || len < 1) return BadArguments(kFunc);
  tderrorFunc(kFdbTopic, 4, 0, "%s: key= %s", kFunc, key);
  const std::string record = fdb_filename_pre(*db, kFdbRecordPrefix, key);
  TempFile temp;
  if (temp.Open(*db) != 0) return tderrorFunc(kFdbTopic, 1, 0, "%s: fdb_open_tmp failed", kFunc), -1;
  const int chosen = g_durable.load(std::memory_order_relaxed);
  const int durable = chosen != kDurable_asOpened ? chosen : db->durable;
  if (temp.Write(buf, len, durable) != 0) {
    tderrorFunc(kFdbTopic, 1, 0, "%s: fail while storing data in temp file %s", kFunc, temp.Name());
    return -1;
  }
  // Opened before the record is replaced: without a descriptor for it nothing is.
  const fdb_open_file folder(durable >= kDurable_folder ? kxFile_OpenRead(db->path.c_str()) : -1);
  if (durable >= kDurable_folder && !folder.IsOpen()) {
    return tderrorFunc(kFdbTopic, 1, errno, "%s: open(%s)", kFunc, db->path.c_str()), -1;
  }
  if (temp.BecomeRecord(record) != 0) return -1;
  if (folder.IsOpen() && kxDir_Sync(folder.Fd()) != 0) {
    return tderrorFunc(kFdbTopic, 1, errno, "%s: fsync(%s)", kFunc, db->path.c_str()), -1;
  }
  tderrorFunc(kFdbTopic, 4, 0, "%s: save %d bytes in '%s'", kFunc, len, record.c_str());
  return 0;
}

int fdb_remove(fdb_handle *db, const char *key) {
  constexpr char kFunc[] = "fdb_remove";
  if (db == nullptr || !IsKey(key)) return BadArguments(kFunc);
  tderrorFunc(kFdbTopic, 4, 0, "%s: key= %s", kFunc, key);
  const std::string name = fdb_filename_pre(*db, kFdbRecordPrefix, key);
  if (kxFile_Remove(name.c_str()) == 0) return 0;
  return tderrorFunc(kFdbTopic, 1, errno, "%s: unlink(%s)", kFunc, name.c_str()), -1;
}

fdb_iterator *fdb_iter(fdb_handle *db) {
  constexpr char kFunc[] = "fdb_iter";
  if (db == nullptr) return BadArguments(kFunc), nullptr;
  kxDir *stream = kxDir_Open(db->path.c_str());
  if (stream != nullptr) return new fdb_iterator{stream, 0};
  return tderrorFunc(kFdbTopic, 1, errno, "%s: opendir(%s)", kFunc, db->path.c_str()), nullptr;
}

const char *fdb_iter_next(fdb_iterator *iter) {
  constexpr char kFunc[] = "fdb_iter_next";
  constexpr size_t kPrefixLen = sizeof kFdbRecordPrefix - 1;
  if (iter == nullptr) return BadArguments(kFunc), nullptr;
  if (iter->done != 0) return nullptr;
  while (const char *name = kxDir_Next(iter->stream)) {
    if (std::strncmp(name, kFdbRecordPrefix, kPrefixLen) != 0) continue;
    tderrorFunc(kFdbTopic, 4, 0, "%s: return %s", kFunc, name + kPrefixLen);
    return name + kPrefixLen;
  }
  const int err = errno;
  iter->done = 1;
  if (err != 0) tderrorFunc(kFdbTopic, 1, err, "%s: readdir", kFunc);
  tderrorFunc(kFdbTopic, 4, 0, "%s: done", kFunc);
  return nullptr;
}

void fdb_iter_destroy(fdb_iterator *iter) {
  if (iter == nullptr) return;
  const std::unique_ptr<fdb_iterator> owned(iter);
  if (kxDir_Close(iter->stream) != 0) tderrorFunc(kFdbTopic, 1, errno, "%s: closedir", "fdb_iter_destroy");
}

void fdb_close(fdb_handle *db) { delete db; }

int fdb_destroy(fdb_handle *db) {
  constexpr char kFunc[] = "fdb_destroy";
  if (db == nullptr) return BadArguments(kFunc);
  if (fdb_iterator *iter = fdb_iter(db)) {
    // The stream stays open when this returns, by intent ("destroying leaves its stream open" in data/store/fdb.steps). The
    // handle keeps it, so that it does not outlive the database's user.
    db->leftOpen.emplace_back(iter);
    while (const char *key = fdb_iter_next(iter)) fdb_remove(db, key);
  } else {
    tderrorFunc(kFdbTopic, 1, 0, "%s: fdb_iter failed", kFunc);
  }
  if (kxDir_Remove(db->path.c_str()) == 0) return 0;
  return tderrorFunc(kFdbTopic, 1, errno, "%s: rmdir(%s)", kFunc, db->path.c_str()), -1;
}
