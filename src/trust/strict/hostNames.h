/// @file
/// Whether the alternative names of a certificate have a name that is asked for (RFC 9525; RFC 5280, 4.2.1.6).
#ifndef KXCERT_SRC_TRUST_STRICT_HOSTNAMES_H_
#define KXCERT_SRC_TRUST_STRICT_HOSTNAMES_H_

#include <string>
#include <string_view>
#include <vector>

#include "asn1/der.h"

inline std::string_view StrictText(sxOctetView octets) {
  return {reinterpret_cast<const char *>(octets.data()), octets.size()};
}

/// Names in A-labels, one dot at the end left out, in lower case; empty for what is no host name: labels of 1 to 63 letters,
/// digits, hyphens and underscores, 253 characters at most.
std::string HostName(std::string_view text);

/// @param presented  of a certificate: octets of a dNSName, maybe with "*" as its whole left-most label
/// @param wanted     as HostName has it
bool MatchesHost(sxOctetView presented, std::string_view wanted);

/// @param wanted  a mailbox; the part in front of the last "@" counts letter for letter
bool MatchesMailbox(sxOctetView presented, std::string_view wanted);

/// 4 or 16 octets of an address as text; none for what is no address.
std::vector<unsigned char> AddressOctets(const std::string &text);
/// The other way; or how many octets there are, when they are no address.
std::string AddressText(sxOctetView octets);

#endif
