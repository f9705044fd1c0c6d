// kxcert db add: certificates under their subjects, CRLs under their distribution point.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "certFacts.h"
#include "certInput.h"
#include "dbFolder.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/clock.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/store/CrlDB.h"
#include "report.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

constexpr int64_t kNoTime = -1;

struct Options {
  DbOptions db;
  std::vector<std::string> files;
  std::string expires;
  std::string point;
  std::string suffix;
};

struct FreeText {
  void operator()(char *text) const { std::free(text); }
};
using Key = std::unique_ptr<char, FreeText>;

// What was stored, or why not.
void Tell(int result, const Key &key, const std::string &where, const std::string &name, int64_t expiry,
          Report &report) {
  if (result != 0 || key == nullptr) {
    return report.Problem(
        kExitInputError, where,
        key == nullptr ? "has no name to be found by" : std::string("not stored: ") + std::strerror(errno));
  }
  report.Line(std::string(key.get()) + "  until " + PrintTime(expiry) + "  " + name);
  report.Document()["added"].push_back({{"key", key.get()},
                                        {"input", where},
                                        {"name", name},
                                        {"expiry", {{"seconds", expiry}, {"text", PrintTime(expiry)}}}});
}

// A record holds no later one.
int64_t ExpiryOf(int64_t wanted, int64_t own) { return std::min<int64_t>(wanted != kNoTime ? wanted : own, INT32_MAX); }

// Whether anything will find it.
bool CheckExpiry(int64_t expiry, const std::string &where, Report &report) {
  if (expiry > kxClock_Now()) return true;
  report.Problem(kExitNo, where,
                 expiry == kNoTime ? "says no time: give --expires" : "expired on " + PrintTime(expiry));
  return false;
}

void AddCerts(const Options &options, const Db &db, int64_t expires, Report &report) {
  Cert_Cache_DB certs;
  certs.InitPath(db.parent.c_str());
  for (const std::string &file : options.files) {
    for (const FoundCert &found : ReadCerts(file, report)) {
      const sxCert &cert = *found.cert;
      const int64_t expiry = ExpiryOf(expires, cert.notAfter());
      if (!CheckExpiry(expiry, found.where, report)) continue;
      const sxBasicConstraint *constraint = cert.GetBasicConstraint();
      if (constraint == nullptr || !constraint->IsCA()) report.Note(found.where, "not a CA's certificate");
      const Key key(certs.Key(*cert.Subject()));
      errno = 0;
      const int result = key != nullptr ? certs.Store(*cert.Subject(), &cert, static_cast<long>(expiry)) : -1;
      Tell(result, key, found.where, NameText(cert.Subject()), expiry, report);
    }
  }
}

// nextUpdate, or kNoTime.
int64_t EndOf(const sxCRL &crl) {
  sxASN_CertificateList tree;
  const auto *octets = reinterpret_cast<const char *>(crl.GetBuf());
  if (sxASN_DecodeBuf(tree, octets, static_cast<int>(crl.BufLen())) != 0) return kNoTime;
  return tree.tbsCertList->nextUpdate != nullptr ? sxASN_Time2time(tree.tbsCertList->nextUpdate) : kNoTime;
}

// One distribution point has one CRL.
void AddCrl(const Options &options, const Db &db, int64_t expires, Report &report) {
  const std::string &file = options.files[0];
  if (options.point.empty())
    return report.Problem(kExitInputError, file, "say with --dp which distribution point's it is");
  if (options.files.size() > 1)
    return report.Problem(kExitInputError, options.files[1], "one distribution point has one CRL");
  sxLoader loader(sxLoad_crls);
  if (!LoadInput(file, loader, report)) return;
  const sxLoadItem *found = nullptr;
  int numFound = 0;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.crl == nullptr) continue;
    found = &item;
    ++numFound;
  }
  if (numFound != 1)
    return report.Problem(kExitInputError, file, numFound == 0 ? "no CRL in it" : "more than one CRL in it");
  const std::string where = VisibleLine(found->place.Text());
  const int64_t expiry = ExpiryOf(expires, EndOf(*found->crl));
  if (!CheckExpiry(expiry, where, report)) return;
  const sxGeneralName point(sxGN_uri, options.point.data(), static_cast<int>(options.point.size()));
  const char *suffix = options.suffix.empty() ? nullptr : options.suffix.c_str();
  CrlDB crls;
  crls.InitPath(db.parent.c_str());
  const Key key(crls.Key(point, suffix));
  errno = 0;
  const int result = key != nullptr ? crls.Store(point, suffix, found->crl, static_cast<long>(expiry)) : -1;
  Tell(result, key, where, VisibleLine(options.point), expiry, report);
}

void Run(const Options &options, Report &report) {
  report.Document()["added"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, true, report);
  if (!db.has_value()) return;
  int64_t expires = kNoTime;
  if (!options.expires.empty()) ParseTime(options.expires, &expires);
  if (db->kind == sxStoreKind::kCerts) {
    AddCerts(options, *db, expires, report);
  } else {
    AddCrl(options, *db, expires, report);
  }
}

}  // namespace

Verb DbAdd() {
  const auto options = std::make_shared<Options>();
  return {
      {DbFolderRow(options->db),
       {"FILE", "certificates; or one CRL, with --dp; - is standard input", &options->files, true},
       DbKindRow(options->db),
       {"--expires", "until when it is found, instead of notAfter or nextUpdate", &options->expires, false, CheckTime},
       {"--dp", "URI of the CRL's distribution point", &options->point},
       {"--ca", "the CA's name in the application that reads the CRL", &options->suffix}},
      [options](Report &report) { Run(*options, report); }};
}
