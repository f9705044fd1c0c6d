/// @file
/// The environment for asynchronous calls that name none.
#ifndef KXCERT_PLATFORM_DEFAULTENV_H_
#define KXCERT_PLATFORM_DEFAULTENV_H_

#include "kxcert/platform/export.h"

class sxd_env;

/// From now on; null, as at the start: none, and such calls fail. It is not kept alive: once it is destroyed
/// there is none. Any thread.
KXCERT_EXPORT void sxd_env_set_default(sxd_env *env);

#endif
