#include "kxcert/store/Cert_Cache_DB.h"

#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "store/expiringRecords.h"

namespace {

constexpr char kTopic[] = "CERT";
constexpr char kFolder[] = "CertCache";
constexpr char kInit[] = "Cert_Cache_DB::Init";  // who opens the database, whatever is done with it first

using KeyText = std::unique_ptr<char, sxFreeBlock>;

}  // namespace

// Lives on: timers may fire while static objects go.
Cert_Cache_DB &g_IntermediateCA_db = *new Cert_Cache_DB;

Cert_Cache_DB::Cert_Cache_DB() : m_records(std::make_unique<sxExpiringRecords>(kTopic, kFolder, kInit)) {}
Cert_Cache_DB::~Cert_Cache_DB() = default;

int Cert_Cache_DB::InitPath(const char *path) { return m_records->InitPath("Cert_Cache_DB::InitPath", path); }

void Cert_Cache_DB::Init() { static_cast<void>(m_records->Open()); }

FileDB *Cert_Cache_DB::FDB() { return m_records->Open().get(); }

char *Cert_Cache_DB::Key(const sxDN &dn) const {
  constexpr char kFunc[] = "Cert_Cache_DB::Key";
  const char *text = dn.GetStr();
  // Else all names without one would share a record.
  if (text == nullptr || *text == '\0') return tderrorFunc(kTopic, 1, 0, "%s: no text", kFunc), nullptr;
  return m_records->Key(kFunc, text);
}

int Cert_Cache_DB::Store(const sxDN &dn, const sxCert *cert, long expiry) {
  constexpr char kFunc[] = "Cert_Cache_DB::Store";
  if (cert == nullptr || cert->OK() == 0) return tderrorFunc(kTopic, 1, 0, "%s: bad args", kFunc), -1;
  const KeyText key(Key(dn));
  const int result = m_records->Store(kFunc, key.get(), cert->GetBuf(), cert->BufLen(), expiry);
  if (result != 0) tderrorFunc(kTopic, 2, 0, "%s: fdb->Store failed", kFunc);
  return result;
}

sxCert *Cert_Cache_DB::Get(const sxDN &dn, long now, long *expiry) {
  constexpr char kFunc[] = "Cert_Cache_DB::Get";
  if (expiry == nullptr) return tderrorFunc(kTopic, 1, 0, "%s: bad args", kFunc), nullptr;
  const KeyText key(Key(dn));
  sxExpiringRecord record;
  if (!m_records->Get(kFunc, key.get(), now, &record)) return nullptr;
  sxCert *cert = sxCert_Decode(record.value, record.valueLen);
  if (cert == nullptr) return tderrorFunc(kTopic, 2, 0, "%s: bad cert", kFunc), nullptr;
  tderrorFunc(kTopic, 4, 0, "%s: succeeded to get Cert: 0x%p.", kFunc, static_cast<void *>(cert));
  *expiry = record.expirySec;
  return cert;
}

int Cert_Cache_DB::Remove(const sxDN &dn) {
  const KeyText key(Key(dn));
  return m_records->Remove("Cert_Cache_DB::Remove", key.get());
}

void Cert_Cache_DB::GarbageCollector() { m_records->CollectGarbage("Cert_Cache_DB::GarbageCollector"); }

int Cert_Cache_DB::Destroy() { return m_records->Destroy(); }

int IntermediateCA_db_set_path(const char *path) { return g_IntermediateCA_db.InitPath(path); }
int IntermediateCA_db_remove() { return g_IntermediateCA_db.Destroy(); }
void IntermediateCA_db_garbage_collector(void *) { g_IntermediateCA_db.GarbageCollector(); }
