/// @file
/// Which addresses of the network may be asked.
#ifndef KXCERT_SRC_FETCH_ADDRESS_H_
#define KXCERT_SRC_FETCH_ADDRESS_H_

#include <string>

struct sockaddr;

/// @return null when it may be connected to, else what it is ("a loopback address"); static text
const char *kxFetch_WhyNot(const sockaddr &address, bool allowPrivate);

/// A host that is a number, in any form that a resolver takes for one (of one to four parts, octal, hexadecimal, with a
/// dot behind it), becomes an IPv4 address of four decimal parts. Names, and addresses of IPv6, stay as they are.
/// @param[in,out] host  lower case, without brackets
/// @return false: it ends in a number and is no address. No name does (RFC 3696, 2), but some resolver might read it.
bool kxFetch_ReadNumber(std::string &host);

/// The same as above for a host of a URL, as far as it says what its address is; null for all other names.
/// @param host  without brackets, as kxFetch_ReadNumber leaves it
const char *kxFetch_WhyNot(const std::string &host, bool allowPrivate);

#endif
