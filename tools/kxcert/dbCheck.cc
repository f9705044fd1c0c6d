// kxcert db check: what lies in a database's folder that does not belong there, or serves nobody any more.
#include <memory>

#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "report.h"
#include "visibleText.h"

namespace {

struct Options {
  DbOptions db;
  bool repair = false;
};

struct Counts {
  size_t good = 0, wrong = 0, removed = 0;
};

bool IsInOrder(sxStoreState state) {
  return state == sxStoreState::kGood || state == sxStoreState::kGone || state == sxStoreState::kTemporary;
}

void CheckFile(const std::string &file, const sxStoreFolder &folder, const Options &options, int64_t now,
               Counts &counts, Report &report) {
  bool removed = false;
  const sxStoreItem item = options.repair ? folder.Repair(file, now, removed) : folder.Look(file, now);
  if (item.state == sxStoreState::kGood) ++counts.good;
  if (IsInOrder(item.state)) return;
  ++(removed ? counts.removed : counts.wrong);
  if (item.state == sxStoreState::kUnreadable) report.Worsen(kExitInputError);  // whether it is in order stays open
  const std::string name = ItemName(item);
  report.Line(VisibleLine(file) + ": " + sxStoreState_GetString(item.state) + (removed ? ", removed" : "") +
              (name.empty() ? "" : "  " + name));
  Facts facts = ItemFacts(item);
  facts["removed"] = removed;
  report.Document()["findings"].push_back(std::move(facts));
}

void Run(const Options &options, Report &report) {
  report.Document()["findings"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  const sxStoreFolder folder(db->path.c_str(), db->kind);
  std::vector<std::string> files;
  if (!ListDb(*db, folder, files, report)) return;
  const int64_t now = kxClock_Now();  // one time for the whole run
  Counts counts;
  for (const std::string &file : files) CheckFile(file, folder, options, now, counts, report);
  if (counts.wrong > 0) report.Worsen(kExitNo);
  report.Verdict(counts.wrong == 0, Counted(counts.good, "record") + " in order, " + Counted(counts.wrong, "finding") +
                                        ", " + std::to_string(counts.removed) + " removed");
  report.Document()["good"] = counts.good;
  report.Document()["wrong"] = counts.wrong;
  report.Document()["removed"] = counts.removed;
}

}  // namespace

Verb DbCheck() {
  const auto options = std::make_shared<Options>();
  return {{DbFolderRow(options->db),
           DbKindRow(options->db),
           {"--repair", "remove what no look-up answers with; without it nothing is changed", &options->repair}},
          [options](Report &report) { Run(*options, report); }};
}
