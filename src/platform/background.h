/// @file
/// Work that must hold up nobody: one thread of the process, with an environment of its own.
///
/// It is for decoding, verifying and storing what a loop's thread was just given, and for what is fetched on nobody's
/// behalf in particular. It begins when it is first asked for, finishes what it is at when the process ends in order,
/// and drops the rest. A child that fork() made begins with none.
#ifndef KXCERT_SRC_PLATFORM_BACKGROUND_H_
#define KXCERT_SRC_PLATFORM_BACKGROUND_H_

#include <functional>
#include <memory>

#include "platform/eventEnv_imp.h"

/// Null when there is no such thread: the process ends, or has too many.
std::shared_ptr<kxEventLoop> kxBackground_Loop();

/// Any thread; in order. What the closure holds goes on the thread that ran it, or with this call when it returns
/// false.
bool kxBackground_Post(std::function<void()> work);

#endif
