/// @file
/// Fetching over HTTP and LDAP: the component that platform/fetcher.h asks for, in a library of its own, so that a
/// program that only validates links neither libcurl nor libldap.
///
///   const auto service = kxFetchService::Make(kxFetchSettings());
///   kxFetcher_Set(service->Fetcher());
///
/// All transfers of a service run on one thread of its own, which starts with the first request, so that no loop of
/// an asker is held. Equal requests (URL, body and its type, version) share one transfer, whatever environments they
/// come from. At each moment it has the longest time limit of those who wait for it (and kMaxFetchMs) and their largest
/// octet limit; each asker's own limits hold besides. It is broken off when the last one cancels. What fails is not
/// asked again for a while that grows; that an asker's time ran out is no failure unless the server had 4.5 seconds,
/// or, while there is no connection, as many as connectTimeoutMs says when these are fewer.
///
/// What is asked:
/// - http, https: GET, or POST when the request has a body. Answers are 200, and 304 when the asker named a version;
///   any other status is a failure. Redirects (301, 302, 303, 307, 308; of a POST only the last two) are followed,
///   between http and https only and never from https to http. No cookies, no credentials, no compression, HTTP/1.1.
/// - ldap, ldaps: an anonymous search (RFC 4516) for certificateRevocationList, authorityRevocationList,
///   deltaRevocationList, cACertificate and crossCertificatePair, always with the option "binary" (RFC 4523), which a
///   URL may leave out. A URL without a host is asked of the configured servers, in their order, until one answers.
///   The answer is the DER of all values of all these attributes, one behind the other as they came; pairs stay pairs.
///
/// URLs with credentials are refused, and so are addresses of the machine itself and of private networks. That is
/// asked of each address that is connected to, after the name was looked up and for each redirect anew. With a proxy
/// it is the proxy that looks names up; only addresses and "localhost" in the URL can then be refused.
///
/// Not for processes that fork and go on without exec: the thread stays behind in the parent.
#ifndef KXCERT_FETCH_FETCH_H_
#define KXCERT_FETCH_FETCH_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/platform/export.h"
#include "kxcert/platform/fetcher.h"

constexpr int kMaxFetchMs = 300'000;  ///< of a transfer, however many askers join it
constexpr int kMaxFetchRedirects = 20;
constexpr int kMaxFetchTransfers = 256;
constexpr int kMaxFetchWaiting = 4096;
constexpr int kMaxFetchAskers = 65'536;
constexpr size_t kMaxFetchHeaderLen = 1U << 20;
constexpr size_t kMaxFetchLdapServers = 8;
constexpr size_t kMaxFetchFailures = 65'536;
constexpr int kMaxFetchPauseMs = 86'400'000;
constexpr size_t kMaxFetchOctets = SIZE_MAX / 2;

struct kxFetchSettings {
  std::vector<std::string> schemes = {"http", "https", "ldap", "ldaps"};  ///< those that may be asked
  /// Loopback, link-local, private and other addresses of special networks, too. Never: unspecified, multicast,
  /// reserved ones.
  bool allowPrivate = false;
  /// "http://HOST:PORT" or "https://HOST:PORT", without credentials; for http and https. Its own address may be any.
  std::string proxy;
  std::vector<std::string> noProxy;   ///< hosts, and domains with all below them, that are asked without; "*": all
  bool proxyFromEnvironment = false;  ///< http_proxy, https_proxy, all_proxy, no_proxy, read when the service is made
  std::string caFile;                 ///< PEM, for https and ldaps; "": the system's roots
  std::string userAgent = "kxcert";   ///< printable ASCII; "": none
  /// "ldap://HOST[:PORT]" or "ldaps://...": for URLs without a host. Their addresses may be any.
  std::vector<std::string> ldapServers;
  int maxRedirects = 5;
  size_t maxHeaderLen = 65'536;   ///< octets of all headers of one answer
  int maxTransfers = 16;          ///< at the same time
  int maxTransfersPerHost = 4;    ///< of these
  int maxWaiting = 256;           ///< transfers that wait for their turn, which counts into their time limit
  int maxAskers = 16'384;         ///< requests that are not answered
  int connectTimeoutMs = 10'000;  ///< with looking up the name and TLS; within the request's own
  int firstPauseMs = 5'000;       ///< after a failure; doubles with each further one
  int longestPauseMs = 600'000;   ///< up to this
  size_t maxFailures = 4'096;     ///< that are remembered; the one that was asked for longest ago goes first
  /// Octets of all answers that are being received together; an answer that would go beyond fails, and may be asked for
  /// again at once. From a directory, one more message of its may be there while its values are taken out.
  size_t maxOctets = size_t{256} << 20;
};

/// Since the service was made.
struct kxFetchCounters {
  uint64_t begun = 0;       ///< transfers; redirects, and further servers of a directory name, count into one
  uint64_t joined = 0;      ///< requests that one under way serves
  uint64_t refused = 0;     ///< requests for a URL or an address that may not be asked
  uint64_t remembered = 0;  ///< requests that a failure answered at once
  uint64_t turnedAway = 0;  ///< requests beyond maxWaiting or maxAskers
  uint64_t answered = 0;    ///< transfers that brought octets, or that nothing has changed
  uint64_t failed = 0;
  uint64_t cancelled = 0;  ///< transfers that nobody waited for any more
};

class kxFetchEngine;

/// The component and its thread.
class KXCERT_EXPORT kxFetchService {
 public:
  /// @param[out] reason  why there is none; may be null; untouched when there is one
  /// @return null: a setting that does not read, or is out of its bounds
  static std::unique_ptr<kxFetchService> Make(const kxFetchSettings &settings, std::string *reason = nullptr);
  /// What is under way is broken off and answered with kxFetch_failed. Any thread; it waits for no server.
  ~kxFetchService();
  kxFetchService(const kxFetchService &) = delete;
  kxFetchService &operator=(const kxFetchService &) = delete;

  /// For kxFetcher_Set. It may outlive the service; requests then fail at once.
  std::shared_ptr<kxFetcher> Fetcher() const;
  kxFetchCounters Counters() const;  ///< any thread

 private:
  explicit kxFetchService(std::shared_ptr<kxFetchEngine> engine);
  const std::shared_ptr<kxFetchEngine> m_engine;
};

#endif
