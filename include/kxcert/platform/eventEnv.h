/// @file
/// Event environments: calls that are made later, on the thread that runs an event loop.
///
/// An environment wraps a libevent loop: its own, or one that the program has already. Calls may be
/// posted from any thread, also while the loop sleeps; they are made on the loop's thread, those of one
/// delay in the order of posting, and never within the posting itself. All other functions belong to
/// the loop's thread, except sxd_env_stop.
#ifndef KXCERT_PLATFORM_EVENTENV_H_
#define KXCERT_PLATFORM_EVENTENV_H_

#include "kxcert/platform/export.h"

struct event_base;
class sxd_env;

/// An environment with a loop of its own, for sxd_env_destroy; null when out of resources.
KXCERT_EXPORT sxd_env *sxd_env_create();
/// One over the caller's loop, which needs no thread support of libevent's and outlives the environment.
/// While the environment exists the loop is not empty, so that it does not end by itself.
KXCERT_EXPORT sxd_env *sxd_env_wrap(event_base *base);
/// Calls that were not made yet are dropped, and so is work of pools on it that was not answered: no result
/// handler and no completion is called for it any more. On the loop's thread; also within one of its calls,
/// and then the run in progress ends. Null is ignored.
KXCERT_EXPORT void sxd_env_destroy(sxd_env *env);

/// Runs the loop until sxd_env_stop. @return 0, or -1
KXCERT_EXPORT int sxd_env_run(sxd_env *env);
/// The same, and returns after @p maxMs milliseconds at the latest.
KXCERT_EXPORT int sxd_env_run_for(sxd_env *env, int maxMs);
KXCERT_EXPORT void sxd_env_stop(sxd_env *env);  ///< any thread; ends the run in progress, or the next one

using T_event_callback = void (*)(void *opaque);

/// Makes @p callback be called once, @p delayMs milliseconds from now (0: as soon as the loop gets to
/// it). Any thread. @p opaque must outlive the call or the environment.
/// @return 0, or -1: null, a negative delay, or out of memory; there will be no call
KXCERT_EXPORT int T_event_sched_e(sxd_env *env, int delayMs, T_event_callback callback, void *opaque);

#endif
