/// @file
/// Text that is safe on a terminal: printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_VISIBLETEXT_H_
#define KXCERT_TOOLS_KXCERT_VISIBLETEXT_H_

#include <string>
#include <string_view>

/// Everything outside 0x20..0x7E becomes "\xNN"; line feeds and TABs, too.
std::string VisibleLine(std::string_view text);
/// The same, but line feeds and TABs stay.
std::string VisibleText(std::string_view text);

/// Lower-case digits.
std::string HexOf(const unsigned char *data, size_t dataLen);

/// "1 record", "2 records": a noun that takes an s.
std::string Counted(size_t count, const char *noun);

/// Without the end's white space.
std::string_view TrimEnd(std::string_view text);

#endif
