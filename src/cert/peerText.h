/// @file
/// Where octets that a peer wrote become C strings.
///
/// A C string ends at its first NUL, whatever follows it: "admin\0.guest" would pass for "admin". So
/// octets with a NUL are refused (general names) or written as digits (values of names) before they
/// are text, and text leaves for a caller's area through the functions below alone.
#ifndef KXCERT_SRC_CERT_PEERTEXT_H_
#define KXCERT_SRC_CERT_PEERTEXT_H_

#include <string>
#include <string_view>

bool sxHoldsNul(std::string_view octets);

/// The text with "\xNN" for each control character: a line feed would forge a line of what is printed.
std::string sxOneLine(std::string_view text);

/// Copies a text and a NUL into an area of @p outLen bytes, all of it or nothing.
/// @param func  whom the line names when the text does not fit
/// @return 0, or -1 (null area, text that does not fit or holds a NUL)
int sxHandOut(const char *func, std::string_view text, char *out, int outLen);

/// The same, cut to what fits; @p outLen is 1 at least.
int sxHandOutCut(const char *func, std::string_view text, char *out, int outLen);

#endif
