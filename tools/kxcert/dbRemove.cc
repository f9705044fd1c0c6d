// kxcert db rm: records by their keys.
#include <memory>

#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "kxcert/store/FileDB.h"
#include "report.h"
#include "visibleText.h"

namespace {

struct Options {
  DbOptions db;
  std::vector<std::string> keys;
};

void Remove(const Options &options, Report &report) {
  report.Document()["removed"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  WithDb(*db, [&](auto &database) {
    for (const std::string &key : options.keys) {
      if (!CheckKey(key, report)) continue;
      const sxStoreState state = sxStoreFolder(db->path.c_str(), db->kind).Look("rec_" + key, kxClock_Now()).state;
      if (state == sxStoreState::kGone) {
        report.Problem(kExitNo, key, "no such record");
      } else if (database.FDB()->Remove(key.c_str()) != 0) {
        report.Problem(kExitInputError, key, "cannot be removed");
      } else {
        report.Line("removed " + VisibleLine(key));
        report.Document()["removed"].push_back(VisibleLine(key));
      }
    }
  });
}

}  // namespace

Verb DbRemove() {
  const auto options = std::make_shared<Options>();
  return {
      {DbFolderRow(options->db), {"KEY", "keys as db list prints them", &options->keys, true}, DbKindRow(options->db)},
      [options](Report &report) { Remove(*options, report); }};
}
