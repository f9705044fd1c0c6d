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
  kxFetch_noFetcher = -1,   ///< no component is registered
  kxFetch_badRequest = -2,  ///< no environment any more, no completion, a URL or limit that is refused
  kxFetch_failed = -3,      ///< not found, not reached, a protocol that nobody knows
  kxFetch_tooLong = -4,     ///< more octets than the limit
  kxFetch_timedOut = -5,
};

struct kxFetchLimits {
  size_t maxLen;  ///< octets of the answer, at least 1
  int timeoutMs;  ///< of the whole, at least 1
};

constexpr size_t kMaxFetchUrlLen = 2048;

/// @param octets  lent for the call; null and 0 unless the result is kxFetch_OK
using kxFetchDone = std::function<void(kxFetchResult result, const unsigned char *octets, size_t len)>;

/// A request, as the component and who asked see it.
class KXCERT_EXPORT kxFetchTask {
 public:
  virtual ~kxFetchTask();

  virtual const std::string &Url() const = 0;  ///< printable ASCII without spaces
  virtual const kxFetchLimits &Limits() const = 0;
  /// The environment's loop, for the component's own events: until it answered or was told to cancel.
  virtual event_base *Base() const = 0;

  /// By the component, on any thread. The octets are copied; more than the limit are kxFetch_tooLong. The
  /// first answer counts. One that nobody waits for does no harm.
  virtual void Answer(kxFetchResult result, const unsigned char *octets, size_t len) = 0;
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

/// Begins a request. Any thread, as long as the environment is there.
/// @param      url   1 to kMaxFetchUrlLen characters of printable ASCII, no space
/// @param[out] task  what it can be cancelled by; may be null; untouched unless the result is kxFetch_OK
/// @return kxFetch_OK: @p done will be called; else nothing will
KXCERT_EXPORT kxFetchResult kxFetch_Start(sxd_env *env, const std::string &url, const kxFetchLimits &limits,
                                          kxFetchDone done, std::shared_ptr<kxFetchTask> *task = nullptr);

#endif
