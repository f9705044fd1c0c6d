/// @file
/// Strings of ASN.1 as characters of Unicode.
#ifndef KXCERT_TOOLS_KXCERT_CHARACTERS_H_
#define KXCERT_TOOLS_KXCERT_CHARACTERS_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

class sxAsnType;

using Characters = std::vector<uint32_t>;

/// Of a value of any string type, by its tag; TeletexString counts as Latin-1, as everybody has it, and a BMPString may hold
/// pairs of UTF-16. Nothing when it is none, or holds what is no character.
/// @param element  its encoding, of one octet of identifier
std::optional<Characters> CharactersOf(std::span<const unsigned char> element);
/// RFC 3629, 3: the shortest form of characters that there are. Nothing for other octets.
std::optional<Characters> CharactersOfUtf8(std::span<const unsigned char> octets);

std::string Utf8Of(uint32_t character);
std::string Utf8Of(const Characters &characters);

/// A value's encoding in DER; empty when it does not encode.
std::vector<unsigned char> ElementOf(const sxAsnType &value);

#endif
