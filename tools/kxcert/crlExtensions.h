/// @file
/// Extensions of a CRL in words, read where they stand: without a tree of its entries, of which there may be a million.
#ifndef KXCERT_TOOLS_KXCERT_CRLEXTENSIONS_H_
#define KXCERT_TOOLS_KXCERT_CRLEXTENSIONS_H_

#include "facts.h"

class sxCRL;
class SxStream;

enum class CrlWords {
  kAll,
  kUnsaid,  ///< those that no other line of crl print says anything of
};

/// @return "extensions" and "unknownExtensions", of all of them
Facts TellCrlExtensions(const sxCRL &crl, CrlWords which, SxStream *text, int indent);

#endif
