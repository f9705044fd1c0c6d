/// @file
/// Memory of ASN.1 values. They come and go by the hundred with every certificate and by the hundred
/// thousand with a long list, most of them 24 to 56 bytes long.
///
/// Blocks of one size are cut from pages that all threads share; each thread keeps a bounded number of
/// free ones, so that most calls take no lock. Any thread may give back what another has taken, and what
/// came back to a page is handed out again while its other blocks are in use. A page whose blocks are
/// all back goes back to malloc. In a sanitizer build of the library every block is malloc's own.
#ifndef KXCERT_SRC_ASN1_VALUEBLOCKS_H_
#define KXCERT_SRC_ASN1_VALUEBLOCKS_H_

#include <cstddef>

/// Aligned for any type of that size without an alignas beyond what malloc gives; throws std::bad_alloc.
void *sxAsnTakeBlock(size_t size);
/// @param block  from sxAsnTakeBlock, or null
/// @param size   as it was asked for
void sxAsnGiveBlock(void *block, size_t size) noexcept;

#endif
