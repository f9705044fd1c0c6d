/// @file
/// The texts of general names that are issued: what RFC 5280, 4.2.1.6 and 4.2.1.10 want of them.
#ifndef KXCERT_SRC_CERT_NAMESYNTAX_H_
#define KXCERT_SRC_CERT_NAMESYNTAX_H_

#include <string_view>

// Printable ASCII, all of them; blanks only in what mailboxes quote.

/// Labels of letters, digits and hyphens (RFC 1034, 3.5; RFC 1123, 2.1), the first of them perhaps "*" (RFC 6125, 6.4.3).
bool sxIsDnsName(std::string_view text);
/// A dot-string or a quoted string, "@", and a domain or an address literal: RFC 2821, 4.1.2.
bool sxIsMailbox(std::string_view text);
bool sxIsAddressLiteral(std::string_view text);  ///< "[192.0.2.1]", "[IPv6:2001:db8::1]": RFC 2821, 4.1.3
/// With a scheme and something behind it; an authority has a host, which LDAP may leave to the reader (4.2.1.13).
bool sxIsAbsoluteUri(std::string_view text);
/// Of a URI's authority (RFC 3986, 3.2), between user and port; empty without one, and for what is no URI.
std::string_view sxUriHost(std::string_view uri);
/// Of a constraint on any of the three: nothing, a domain, or all below one with a dot in front; or a mailbox.
bool sxIsNameBase(std::string_view text);

#endif
