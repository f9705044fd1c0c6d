/// @file
/// Passwords and the like: from where others do not see them. An argument is none of those places: every user of the
/// machine can list it.
#ifndef KXCERT_TOOLS_KXCERT_SECRETINPUT_H_
#define KXCERT_TOOLS_KXCERT_SECRETINPUT_H_

#include <string>

#include "kxcert/foundation/kxBinBuf.h"

constexpr const char *kSecretSources = "file:PATH, env:NAME or fd:NUMBER";  ///< for help texts
constexpr size_t kMaxSecretLen = 4096;                                      ///< octets

/// For OptionRow::check. @return "", or that it is no source; never what was written, which may be the secret
std::string CheckSecretSource(const std::string &source);

enum class SecretLen { kNotEmpty, kMayBeEmpty };

/// Reads a secret: all octets but one line end behind them. A source is read once per process and remembered; one that is
/// standard input is refused where an input is that, too.
/// @param source  one of kSecretSources; "fd:0" is standard input
/// @param[out] out  sensitive, so that it is wiped when it goes; empty on failure
/// @return "", or what is wrong, with the source in it
std::string ReadSecret(const std::string &source, kxBinBuf &out, SecretLen allowed = SecretLen::kNotEmpty);

#endif
