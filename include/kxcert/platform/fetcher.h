/// @file
/// Fetching: what stands at a URL, brought by a component that the program registers.
///
/// Nothing here knows a protocol. Without a component every question is answered with kxFetch_noFetcher at
/// once. A request is bounded in octets and time, whatever the component does. Its completion is called
/// once, on the thread of its environment and never within the call that began it; it is not called any
/// more once it was cancelled or the environment went, and what it holds is then dropped.
///
/// What comes is whatever the other side sent: nothing is checked but its length.
#ifndef KXCERT_PLATFORM_FETCHER_H_
#define KXCERT_PLATFORM_FETCHER_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "kxcert/platform/export.h"

struct event_base;
class sxd_env;

enum kxFetchResult : int {
  kxFetch_OK = 0,
  kxFetch_unchanged = 1,    ///< it still is the version that the asker has
  kxFetch_noFetcher = -1,   ///< no component is registered
  kxFetch_badRequest = -2,  ///< no environment any more, no completion, a URL, field or limit that is refused
  kxFetch_failed = -3,      ///< not found, not reached, broken off
  kxFetch_tooLong = -4,     ///< more octets than the limit
  kxFetch_timedOut = -5,
  kxFetch_refused = -6,  ///< not asked: a scheme or an address that the component may not ask
};

struct kxFetchLimits {
  size_t maxLen = 0;  ///< octets of the answer, at least 1
  int timeoutMs = 0;  ///< of the whole, at least 1
};

/// Which state of a resource an answer is, in its server's own words (RFC 9110, 8.8). Empty: not said.
struct kxFetchVersion {
  std::string entityTag;
  std::string lastModified;
};

constexpr size_t kMaxFetchUrlLen = 2048;
constexpr size_t kMaxFetchBodyLen = 65536;
constexpr size_t kMaxFetchFieldLen = 512;  ///< each part of a version, and a content type

struct kxFetchRequest {
  std::string url;  ///< 1 to kMaxFetchUrlLen characters of printable ASCII, no space
  kxFetchLimits limits;
  std::string body;         ///< when not empty it is sent along (HTTP: POST), as @p contentType
  std::string contentType;  ///< printable ASCII
  kxFetchVersion known;     ///< that the asker has; kxFetch_unchanged is no answer without one
};

struct kxFetchAnswer {
  kxFetchResult result = kxFetch_failed;
  const unsigned char *octets = nullptr;  ///< lent; null and 0 unless the result is kxFetch_OK
  size_t len = 0;
  /// By the component: what keeps the octets, which are then shared by all that were told of them. Null: they are
  /// lent for the call of Answer, and copied.
  std::shared_ptr<const void> keeper;
  kxFetchVersion version;  ///< that the octets are
  std::string reason;      ///< for people, printable, cut at kMaxFetchFieldLen: what failed, and where; may be empty
};

/// The answer is lent for the call.
using kxFetchDone = std::function<void(const kxFetchAnswer &answer)>;

/// A request, as the component and who asked see it.
class KXCERT_EXPORT kxFetchTask {
 public:
  virtual ~kxFetchTask();

  virtual const kxFetchRequest &Request() const = 0;
  /// The environment's loop, for the component's own events: until it answered or was told to cancel.
  virtual event_base *Base() const = 0;

  /// By the component, on any thread. The answer is copied; one that is longer than the limit is kxFetch_tooLong,
  /// the fields of a version that are too long or not printable are dropped. The first answer counts. One that
  /// nobody waits for does no harm.
  virtual void Answer(const kxFetchAnswer &answer) = 0;
  /// By who asked, on any thread. On the environment's the completion is not called after this; elsewhere it
  /// may be in progress.
  virtual void Cancel() = 0;
};

/// What a component fulfils. Both are called on the thread of the request's environment and must not wait.
class KXCERT_EXPORT kxFetcher {
 public:
  virtual ~kxFetcher();

  /// Answers the task at once or later, and holds it until then.
  virtual void Begin(const std::shared_ptr<kxFetchTask> &task) = 0;
  /// Nobody waits for it any more: time-out, cancelled, the environment goes. Not after an answer that counted.
  virtual void Cancel(kxFetchTask &task) = 0;
};

/// For the requests to come; those on their way stay with who began them. Null: none. Any thread.
KXCERT_EXPORT void kxFetcher_Set(std::shared_ptr<kxFetcher> fetcher);
KXCERT_EXPORT bool kxFetcher_IsSet();

/// Whether a request for it would be begun: its length, and every character.
KXCERT_EXPORT bool kxFetch_IsUrl(const std::string &url);

/// Begins a request. Any thread, as long as the environment is there.
/// @param[out] task  what it can be cancelled by; may be null; untouched unless the result is kxFetch_OK
/// @return kxFetch_OK: @p done will be called; else nothing will
KXCERT_EXPORT kxFetchResult kxFetch_Start(sxd_env *env, kxFetchRequest request, kxFetchDone done,
                                          std::shared_ptr<kxFetchTask> *task = nullptr);

/// Asks and waits, at most as long as the request's time limit, with an environment of its own. Any thread, but
/// none that runs an environment: its calls would wait, too.
/// @param done  called once, within this, unless the result is no kxFetch_OK; also when the component cancels it
/// @return that of beginning, as kxFetch_Start
KXCERT_EXPORT kxFetchResult kxFetch_Wait(kxFetchRequest request, const kxFetchDone &done);

#endif
