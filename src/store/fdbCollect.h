// What collectors do to a file database: look at a record, and remove that very file.
#ifndef KXCERT_SRC_STORE_FDBCOLLECT_H_
#define KXCERT_SRC_STORE_FDBCOLLECT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "store/fdb_imp.h"

/// A record as it stood when it was looked at. Its file stays open, so that no other one can pass for it.
class fdb_look {
 public:
  enum Found {
    kRecord,   ///< Read says what it begins with
    kNothing,  ///< a name that no record can be behind: a link to nowhere
    kUnknown,  ///< gone or replaced meanwhile, not to be opened for now (descriptors, memory, rights), or nobody's record (a pipe)
  };

  fdb_look(const fdb_handle &db, const char *key);

  Found What() const { return m_what; }
  bool IsThere() const { return m_there; }           ///< or was, when it was looked at
  int Error() const { return m_error; }              ///< of the step that failed, where one did: an errno value, else 0
  const kxFileInfo &Info() const { return m_info; }  ///< of the name, which may be a link; only if it is there
  /// The first octets. @return how many there are, at most @p len; -1
  int64_t Read(void *head, size_t len) const;
  /// Removes what was looked at. Another file that has taken its name meanwhile stays, also when it does
  /// so between two steps of this; for a moment that file is then not to be found.
  /// @retval 0  it is gone, whoever removed it
  /// @retval -1 it is still there, or another one is
  int Remove() const;

 private:
  Found Look() const;
  bool IsStillThere() const;
  bool IsIt(const kxFileInfo &info) const;
  int MoveAside(std::string *aside) const;
  int PutBack(const std::string &aside) const;
  int Unlink(const std::string &name) const;

  const fdb_handle &m_db;
  const std::string m_name;
  kxFileInfo m_info = {};  // of the name, which may be a link
  const bool m_there;
  const fdb_open_file m_file;
  const int m_error;
  const Found m_what;
};

constexpr int64_t kFdbTempLifeSec = 3600;  ///< a store takes seconds
bool fdb_is_temp_name(std::string_view name);

/// Removes temporaries that nobody has written to for kFdbTempLifeSec: what killed processes left.
void fdb_collect_temps(const fdb_handle &db, int64_t nowSec);

#endif
