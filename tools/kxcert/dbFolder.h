/// @file
/// Databases as the command line names them, and their records as they are told.
#ifndef KXCERT_TOOLS_KXCERT_DBFOLDER_H_
#define KXCERT_TOOLS_KXCERT_DBFOLDER_H_

#include <optional>
#include <string>
#include <vector>

#include "facts.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/store/CrlDB.h"
#include "kxcert/store/storeFolder.h"
#include "kxcert/trust/chainJudge.h"
#include "verb.h"

class Report;

constexpr int kAnyKind = -1;

struct DbOptions {
  std::string folder;
  int kind = kAnyKind;  ///< of sxStoreKind
};

/// Rows for the arguments that all verbs have.
OptionRow DbFolderRow(DbOptions &options);
OptionRow DbKindRow(DbOptions &options);

struct Db {
  std::string path;    ///< the database's own folder
  std::string parent;  ///< the one that it lies in
  sxStoreKind kind;
};

/// The folder itself where it has a database's name, else the database in it. A problem is reported.
/// @param mayBeNew  the database need not be there yet, but the folder above it
std::optional<Db> FindDb(const DbOptions &options, bool mayBeNew, Report &report);

/// Does it with the database, whichever it is.
template <class Action>
void WithDb(const Db &db, Action action) {
  Cert_Cache_DB certs;
  CrlDB crls;
  if (db.kind == sxStoreKind::kCerts) {
    certs.InitPath(db.parent.c_str());
    action(certs);
  } else {
    crls.InitPath(db.parent.c_str());
    action(crls);
  }
}

/// @return false when the folder cannot be read; a problem is then reported
bool ListDb(const Db &db, const sxStoreFolder &folder, std::vector<std::string> &files, Report &report);

/// Says what is wrong with a key from outside. @return whether it may be used
bool CheckKey(const std::string &key, Report &report);

/// Says which records of a database a verdict had no use of. @return whether none of them is unreadable
bool TellLookups(const std::string &folder, const std::vector<sxFailedLookup> &failed, Report &report);

std::string ItemName(const sxStoreItem &item);    ///< the certificate's subject, the CRL's issuer; "" without one
std::string ExpiryText(const sxStoreItem &item);  ///< "until 2030-01-31 00:00:00 UTC"; "" without one
Facts ItemFacts(const sxStoreItem &item);

#endif
