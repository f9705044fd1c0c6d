/// @file
/// Where configuration files are found.
#ifndef KXCERT_SRC_PLATFORM_CONFIGDIR_H_
#define KXCERT_SRC_PLATFORM_CONFIGDIR_H_

#include <string>

/// The folder that the environment variable KXCERT_CONF_DIR names, else the installed one
/// (etc/kxcert). No slash at the end. Read anew at every call.
std::string kxConfigDir();

#endif
