/// @file
/// Whether this thread only runs destructors any more: it returned, or main did, or exit was called.
/// What belongs to it then lets go of things without calling anybody.
#ifndef KXCERT_SRC_PLATFORM_THREADEND_H_
#define KXCERT_SRC_PLATFORM_THREADEND_H_

/// Makes kxThread_IsEnding know of the end of this thread and of the process; cheap to call again.
void kxThread_WatchEnd();
bool kxThread_IsEnding();

#endif
