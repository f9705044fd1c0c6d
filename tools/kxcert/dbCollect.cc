// kxcert db gc: removes what has expired.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <compare>
#include <cstring>
#include <map>
#include <memory>

#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "report.h"
#include "visibleText.h"

namespace {

constexpr int kMaxAttempts = 2;

// Which file it is, whatever its name: numbers are given anew, but not within the same instant.
struct FileId {
  dev_t device;
  ino_t inode;
  time_t modifiedSec;
  long modifiedNsec;

  auto operator<=>(const FileId &) const = default;
};
using Files = std::map<std::string, FileId>;

// What lies in the folder. @return false: a problem, which has been told
bool Identify(const Db &db, const sxStoreFolder &folder, Files &files, Report &report) {
  files.clear();
  std::vector<std::string> names;
  if (!ListDb(db, folder, names, report)) return false;
  for (const std::string &name : names) {
    struct stat found;
    if (lstat((db.path + "/" + name).c_str(), &found) == 0) {
      files[name] = {found.st_dev, found.st_ino, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
    } else if (errno != ENOENT) {
      return report.Problem(kExitInputError, db.path + "/" + name, std::strerror(errno)), false;
    }
  }
  return true;
}

bool IsToGo(const sxStoreItem &item, int64_t nowSec) {
  switch (item.state) {
    case sxStoreState::kExpired:
    case sxStoreState::kTooShort:
    case sxStoreState::kDangling:
    case sxStoreState::kLeftOver: return true;
    case sxStoreState::kNotDecoded: return item.expirySec <= nowSec;
    default: return false;
  }
}

// Of the files that were there, the ones that the collectors are to take away.
using Candidates = std::map<std::string, sxStoreState>;

Candidates FindCandidates(const Files &files, const sxStoreFolder &folder, int64_t nowSec) {
  Candidates found;
  for (const auto &[name, id] : files) {
    const sxStoreItem item = folder.Look(name, nowSec);
    // However little can be said of it, it has a record's name.
    const bool mayBeToGo = item.state == sxStoreState::kUnreadable && !item.key.empty();
    if (IsToGo(item, nowSec) || mayBeToGo) found[name] = item.state;
  }
  return found;
}

std::map<FileId, std::string> NamesOf(const Files &files) {
  std::map<FileId, std::string> names;
  for (const auto &[name, id] : files) names[id] = name;
  return names;
}

// What is still there, also under another name: the collectors move a file aside first.
bool AreAllGone(const Candidates &candidates, const Files &before, const Files &after) {
  const std::map<FileId, std::string> names = NamesOf(after);
  return std::ranges::none_of(candidates, [&](const auto &row) { return names.contains(before.at(row.first)); });
}

void Tell(const Candidates &candidates, const Files &before, const Files &after, Report &report) {
  const std::map<FileId, std::string> names = NamesOf(after);
  Facts removed = Facts::array();
  for (const auto &[name, state] : candidates) {
    const auto left = names.find(before.at(name));
    if (left == names.end()) {
      if (!after.contains(name)) removed.push_back(VisibleLine(name));  // else a store has replaced it
    } else if (state == sxStoreState::kUnreadable) {
      report.Problem(kExitInputError, name, sxStoreState_GetString(state));
    } else {
      report.Problem(kExitInputError, name,
                     "cannot be removed" + (left->second != name ? "; is now " + left->second : ""));
    }
  }
  report.Line("removed " + Counted(removed.size(), "file") + ", left " + std::to_string(after.size()));
  report.Document()["removed"] = std::move(removed);
  report.Document()["left"] = after.size();
}

void Collect(const DbOptions &options, Report &report) {
  const std::optional<Db> db = FindDb(options, false, report);
  if (!db.has_value()) return;
  const sxStoreFolder folder(db->path.c_str(), db->kind);
  Files before, after;
  if (!Identify(*db, folder, before, report)) return;
  const Candidates candidates = FindCandidates(before, folder, kxClock_Now());
  // Once more where something is left, which may be in the hands of another process's collector.
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    WithDb(*db, [](auto &database) { database.GarbageCollector(); });
    if (!Identify(*db, folder, after, report)) return;
    if (AreAllGone(candidates, before, after)) break;
  }
  Tell(candidates, before, after, report);
}

}  // namespace

Verb DbCollect() {
  const auto options = std::make_shared<DbOptions>();
  return {{DbFolderRow(*options), DbKindRow(*options)}, [options](Report &report) { Collect(*options, report); }};
}
