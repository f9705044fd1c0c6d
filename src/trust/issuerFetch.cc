// Certificates of issuers, from where the certificates of a peer's chain say that they are. The peer chooses what is
// asked for and whom, so both are bounded; what comes proves itself by its key.
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "platform/background.h"
#include "platform/fetcher_imp.h"
#include "trust/certPool.h"
#include "trust/sxKeyHolder_imp.h"

namespace {

constexpr char kTopic[] = "CERT";
constexpr char kGetIssuers[] = "sxKeyHolder::Get_Issuers_of_chain";
constexpr size_t kMaxSubjects = 8;  // that wait for one answer
constexpr int kMaxLooked = 32;      // certificates of one answer

const char *const kSchemes[] = {"http://", "ldap://"};  // others lead to files, or loop through certificates again

bool MayAsk(const std::string &url) {
  if (url.size() > kMaxIssuerUrlLen || !kxFetch_IsUrl(url)) return false;
  return std::ranges::any_of(kSchemes, [&url](const char *scheme) { return kxFetch_HasScheme(url, scheme); });
}

using Key = std::pair<const sxKeyHolder *, std::string>;

// One URL that is asked on behalf of one holder. It is under way for as long as it lives.
class Request {
 public:
  Request(Key key, sxKeyHolder *holder) : m_key(std::move(key)), m_holder(holder) {}
  ~Request();

  /// Begins it, or joins the one that is under way. @return a request was begun
  static bool Ask(const std::string &url, sxCert *subject, sxKeyHolder *holder,
                  const std::shared_ptr<kxEventLoop> &loop);

 private:
  void Take(kxFetchResult result, const std::vector<unsigned char> &octets);
  SharedRef<sxCert> FindIn(const std::vector<unsigned char> &octets);

  const Key m_key;
  SharedRef<sxKeyHolder> m_holder;
  std::vector<SharedRef<sxCert>> m_subjects;  // guarded by the table's mutex; whose issuer is looked for
};

struct Table {
  sxMutex mutex;
  std::map<Key, std::weak_ptr<Request>> underWay GUARDED_BY(mutex);
};

Table &TheTable() {
  static auto *const table = new Table;  // requests may end while static objects go
  return *table;
}

Request::~Request() {
  Table &table = TheTable();
  const sxLock lock(table.mutex);
  const auto own = table.underWay.find(m_key);
  if (own != table.underWay.end() && own->second.expired()) table.underWay.erase(own);
}

bool Request::Ask(const std::string &url, sxCert *subject, sxKeyHolder *holder,
                  const std::shared_ptr<kxEventLoop> &loop) {
  const Key key(holder, url);
  std::shared_ptr<Request> request;  // goes after the lock
  {
    Table &table = TheTable();
    const sxLock lock(table.mutex);
    const auto known = table.underWay.find(key);
    if (known != table.underWay.end()) request = known->second.lock();
    const bool isUnderWay = request != nullptr;
    if (!isUnderWay) {
      if (table.underWay.size() >= kMaxIssuerFetches) {
        tderrorFunc(kTopic, 3, 0, "%s: too many issuers are asked for", kGetIssuers);
        return false;
      }
      request = std::make_shared<Request>(key, holder);
      table.underWay[key] = request;
    }
    if (request->m_subjects.size() < kMaxSubjects) request->m_subjects.emplace_back(subject);
    if (isUnderWay) return false;
  }
  kxFetchRequest what;
  what.url = url;
  what.limits = {kMaxIssuerAnswerLen, kIssuerFetchTimeoutMs};
  // Signatures and the disk are not for the loop's thread to wait for.
  const auto done = [request](const kxFetchAnswer &answer) {
    const std::vector<unsigned char> octets(answer.octets, answer.octets + answer.len);
    const auto take = [request, result = answer.result, octets] { request->Take(result, octets); };
    if (!kxBackground_Post(take)) take();
  };
  const kxFetchResult begun = kxFetch_StartOn(loop, std::move(what), done, nullptr);
  if (begun == kxFetch_OK) return true;
  tderrorFunc(kTopic, 3, 0, "%s: %s cannot be asked for (%d)", kGetIssuers, url.c_str(), begun);
  return false;
}

void Request::Take(kxFetchResult result, const std::vector<unsigned char> &octets) {
  const SharedRef<sxCert> found = result == kxFetch_OK ? FindIn(octets) : SharedRef<sxCert>();
  if (!found)
    tderrorFunc(kTopic, 3, 0, "%s: nothing that fits from %s (%d)", kGetIssuers, m_key.second.c_str(), result);
  Fetch_IssuerCA_CB(found.get(), m_holder.Release());
}

SharedRef<sxCert> Request::FindIn(const std::vector<unsigned char> &octets) {
  std::vector<SharedRef<sxCert>> subjects;
  {
    const sxLock lock(TheTable().mutex);
    subjects.swap(m_subjects);
  }
  sxLoader loader(sxLoad_certs);
  loader.AddOctets(octets.data(), octets.size(), m_key.second.c_str());
  const int64_t nowSec = kxClock_Now();
  int numLooked = 0;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.cert == nullptr) continue;
    if (++numLooked > kMaxLooked) break;
    const auto fits = [&](const SharedRef<sxCert> &subject) {
      return sxTrust_IsIntermediateFor(*item.cert, *subject, nowSec);
    };
    if (std::ranges::any_of(subjects, fits)) return SharedRef<sxCert>(item.cert);
  }
  return {};
}

// The URLs at which a certificate says that its issuer's is.
std::vector<std::string> IssuerUrls(const sxAuthorityInfoAccess &access) {
  std::vector<std::string> urls;
  for (int i = 0; i < access.Count() && urls.size() < kMaxIssuerUrlsOfCert; ++i) {
    const sxGeneralName *location = access.AuthorityInfoAccess().Get(i);
    if (location == nullptr || location->GetType() != sxGN_uri || access.Method(i) == nullptr ||
        !access.Method(i)->OidEquiv(sxASN_id_ad_caIssuers)) {
      continue;
    }
    const sxString text = location->GetStr();  // without a NUL: a name that holds one is of no kind
    const std::string url(text.getstr(), static_cast<size_t>(text.length()));
    if (MayAsk(url)) urls.push_back(url);
  }
  return urls;
}

}  // namespace

bool sxTrust_IsIntermediateFor(const sxCert &cert, const sxCert &subject, int64_t nowSec) {
  if (cert.Subject() == nullptr || subject.Issuer() == nullptr || !cert.Subject()->Equal(*subject.Issuer())) {
    return false;
  }
  const sxBasicConstraint *constraint = cert.GetBasicConstraint();
  const bool isCA = constraint != nullptr && constraint->IsCA() &&
                    (cert.KeyUsage() == nullptr || cert.HasKeyUsage(sxKU_keyCertSign) == 1);
  if (!isCA || cert.UnhandledCritExt() != nullptr || sxIsOutOfDate(cert, nowSec)) return false;
  if (sxTrust_IsSelfIssued(cert) && cert.VerifySig(cert.PubKey()) == 0) return false;  // a root is no intermediate
  return subject.VerifySig(cert.PubKey()) == 0;
}

int sxTrust_FetchIssuers(const sxCerts &chain, sxKeyHolder *holder) {
  const std::shared_ptr<kxEventLoop> loop = kxEventLoop::Default();
  if (loop == nullptr || !kxFetcher_IsSet() || holder == nullptr) {
    tderrorFunc(kTopic, 5, 0, "%s: no fetcher, or no environment", kGetIssuers);
    return 0;
  }
  if (sxPKobj::UseMutex() != 0) return 0;  // what comes is looked at on a thread of its own
  int numAsked = 0, numBegun = 0;
  for (int level = chain.Top(); level >= 0 && numAsked < kMaxIssuerUrls; --level) {
    sxCert *cert = chain.Get(level);
    if (cert == nullptr || sxTrust_IsSelfIssued(*cert)) continue;
    const sxAuthorityInfoAccess *access = cert->AuthInfoAccess();
    if (access == nullptr) {
      tderrorFunc(kTopic, 5, 0, "%s: no Issuer CA extension for level %d", kGetIssuers, level);
      continue;
    }
    for (const std::string &url : IssuerUrls(*access)) {
      if (numAsked++ == kMaxIssuerUrls) break;
      numBegun += Request::Ask(url, cert, holder, loop) ? 1 : 0;
    }
  }
  return numBegun;
}

int Fetch_IssuerCA_CB(sxCert *cert, sxKeyHolder *holder) {
  constexpr char kFunc[] = "Fetch_IssuerCA_CB";
  const auto held = SharedRef<sxKeyHolder>::Adopt(holder);
  if (cert == nullptr || !held) return tderrorFunc(kTopic, 1, 0, "%s: invalid cert.", kFunc), -1;
  const char *name = cert->Subject() != nullptr ? cert->Subject()->GetStr_ascii() : nullptr;
  tderrorFunc(kTopic, 5, 0, "Fetch_IssuerCA_CB: Adding %s", name != nullptr ? name : "no name");
  return held->AddIntermediateCA(cert);
}
