/// @file
/// Where configuration files are found.
#ifndef KXCERT_PLATFORM_CONFIGDIR_H_
#define KXCERT_PLATFORM_CONFIGDIR_H_

#include <string>

#include "kxcert/platform/export.h"

/// The folder that the environment variable KXCERT_CONF_DIR names, else the installed one
/// (etc/kxcert). No slash at the end. Read anew at every call.
KXCERT_EXPORT std::string kxConfigDir();

#endif
