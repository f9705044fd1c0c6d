// What the file database's sources share.
#ifndef KXCERT_SRC_STORE_FDB_IMP_H_
#define KXCERT_SRC_STORE_FDB_IMP_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/store/fdb.h"
#include "platform/files.h"
#include "platform/owned.h"

constexpr char kFdbTopic[] = "fdb";
constexpr char kFdbRecordPrefix[] = "rec_";
constexpr char kFdbTempPrefix[] = "tmp";
constexpr char kFdbTempTemplate[] = "XXXXXX";
constexpr int kFdbMaxTempAttempts = 5;

struct fdb_handle {
  std::string path;
  int durable = 1;                                                // unless fdb_set_durable has said otherwise
  std::vector<sxOwned<fdb_iterator, fdb_iter_destroy>> leftOpen;  // by fdb_destroy
};

std::string fdb_filename_pre(const fdb_handle &db, const char *prefix, const char *suffix);

// A file that is open, and closed without a question on the way out of a failure.
class fdb_open_file {
 public:
  explicit fdb_open_file(int fd) : m_fd(fd) {}
  ~fdb_open_file() {
    if (m_fd >= 0) kxFile_Close(m_fd);
  }
  fdb_open_file(const fdb_open_file &) = delete;
  fdb_open_file &operator=(const fdb_open_file &) = delete;

  bool IsOpen() const { return m_fd >= 0; }
  int Fd() const { return m_fd; }
  [[nodiscard]] int Close() {
    const int fd = m_fd;
    m_fd = -1;
    return kxFile_Close(fd);
  }

 private:
  int m_fd;
};

#endif
