/// @file
/// Builds encodings piece by piece, right ones and wrong ones.
#ifndef KXCERT_TESTS_SUPPORT_DEROCTETS_H_
#define KXCERT_TESTS_SUPPORT_DEROCTETS_H_

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/asn1/sxAsnOid.h"

using Octets = std::vector<unsigned char>;

Octets Joined(std::initializer_list<Octets> parts);
Octets Text(const std::string &text);

/// An element of a one-octet identifier with the shortest definite length.
Octets Der(int tag, const Octets &content);
Octets Der(int tag, std::initializer_list<Octets> parts);

/// The same element with an indefinite length; the identifier must be a constructed one.
Octets Indefinite(int tag, const Octets &content);

/// Elements of one-octet identifiers and definite lengths, each as @p change makes it, innermost first; the
/// lengths around it fit again.
Octets Rewritten(const Octets &der, const std::function<Octets(int tag, const Octets &content)> &change);
/// Every element that begins with these octets becomes others; none is also something.
Octets Replaced(const Octets &der, const Octets &start, const Octets &by);

/// From "1.2.3".
std::unique_ptr<sxAsnOid> OidOf(const char *dotted);

inline const char *Chars(const Octets &octets) { return reinterpret_cast<const char *>(octets.data()); }
inline std::string StringOf(const Octets &octets) { return std::string(octets.begin(), octets.end()); }
inline int LenOf(const Octets &octets) { return static_cast<int>(octets.size()); }

#endif
