/// @file
/// Which addresses of the network may be asked.
#ifndef KXCERT_SRC_FETCH_ADDRESS_H_
#define KXCERT_SRC_FETCH_ADDRESS_H_

#include <string>

struct sockaddr;

/// @return null when it may be connected to, else what it is ("a loopback address"); static text
const char *kxFetch_WhyNot(const sockaddr &address, bool allowPrivate);

/// The same for a host of a URL, as far as it says what its address is; null for all other names.
/// @param host  without brackets
const char *kxFetch_WhyNot(const std::string &host, bool allowPrivate);

#endif
