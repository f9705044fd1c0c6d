#include "kxcert/store/CrlDB.h"

#include <string>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/log.h"
#include "store/expiringRecords.h"

namespace {

constexpr char kTopic[] = "CrlDB";
constexpr char kFolder[] = "CrlCache";
constexpr char kInit[] = "CrlDB::Init";  // who opens the database, whatever is done with it first

using KeyText = std::unique_ptr<char, sxFreeBlock>;

}  // namespace

CrlDB::CrlDB() : m_records(std::make_unique<sxExpiringRecords>(kTopic, kFolder, kInit)) {}
CrlDB::~CrlDB() = default;

int CrlDB::InitPath(const char *path) { return m_records->InitPath("CrlDB::InitPath", path); }

void CrlDB::Init() { static_cast<void>(m_records->Open()); }

FileDB *CrlDB::FDB() { return m_records->Open().get(); }

char *CrlDB::Key(const sxGeneralName &dp, const char *suffix) const {
  constexpr char kFunc[] = "CrlDB::Key";
  const sxString name = dp.GetStr();
  // Else all names without one would share a record.
  if (name.length() == 0) return tderrorFunc(kTopic, 1, 0, "%s: no text", kFunc), nullptr;
  const std::string text(name.getstr(), static_cast<size_t>(name.length()));
  return m_records->Key(kFunc, text + (suffix != nullptr ? suffix : ""));
}

int CrlDB::Store(const sxGeneralName &dp, const char *suffix, const sxCRL *crl, long expiry) {
  constexpr char kFunc[] = "CrlDB::Store";
  // One under construction has no octets.
  if (crl == nullptr || crl->GetBuf() == nullptr) { return tderrorFunc(kTopic, 1, 0, "%s: bad args", kFunc), -1; }
  const KeyText key(Key(dp, suffix));
  const int result = m_records->Store(kFunc, key.get(), crl->GetBuf(), crl->BufLen(), expiry);
  if (result != 0) tderrorFunc(kTopic, 2, 0, "%s: fdb->Store failed", kFunc);
  return result;
}

sxCRL *CrlDB::Get(const sxGeneralName &dp, const char *suffix, long now, long *expiry) {
  constexpr char kFunc[] = "CrlDB::Get";
  if (expiry == nullptr) return tderrorFunc(kTopic, 1, 0, "%s: bad args", kFunc), nullptr;
  const KeyText key(Key(dp, suffix));
  sxExpiringRecord record;
  if (!m_records->Get(kFunc, key.get(), now, &record)) return nullptr;
  sxCRL *crl = sxCRL_Decode(record.value, record.valueLen);
  if (crl == nullptr) return tderrorFunc(kTopic, 2, 0, "%s: bad crl", kFunc), nullptr;
  *expiry = record.expirySec;
  return crl;
}

int CrlDB::Remove(const sxGeneralName &dp, const char *suffix) {
  const KeyText key(Key(dp, suffix));
  return m_records->Remove("CrlDB::Remove", key.get());
}

void CrlDB::GarbageCollector() {
  constexpr char kFunc[] = "CrlDB:GarbageCollector";  // one colon: as it is searched for in traces
  tderrorFunc(kTopic, 4, 0, "%s: Performing CRL cache garbage collection.", kFunc);
  m_records->CollectGarbage(kFunc);
}

int CrlDB::Destroy() { return m_records->Destroy(); }

CrlDB &sxCRLCache_db() {
  static auto *const db = new CrlDB;  // lives on: timers may fire while static objects go
  return *db;
}

int sxCRLCache_set_dbpath(const char *path) { return sxCRLCache_db().InitPath(path); }
int remove_crl_cache_db() { return sxCRLCache_db().Destroy(); }
void crl_db_garbage_collector(void *) { sxCRLCache_db().GarbageCollector(); }
