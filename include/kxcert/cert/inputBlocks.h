/// @file
/// What a file holds in its outer form: PEM blocks with any text around them (RFC 7468), "{ASN}" and
/// hexadecimal text, Base64 without markers, or octets as they stand.
///
/// What the octets inside are is loadFiles.h's to say.
#ifndef KXCERT_CERT_INPUTBLOCKS_H_
#define KXCERT_CERT_INPUTBLOCKS_H_

#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "kxcert/platform/export.h"

class kxBinBuf;
class sxInputBlocks_imp;

constexpr size_t kMaxInputLen = size_t{1} << 28;  ///< octets of one input; a large CRL has tens of millions
constexpr size_t kMaxPemLabelLen = 64;            ///< characters; those that are in use have 25 at most

/// Reads a regular file, or a link to one. Pipes and devices are refused without being opened.
/// @param[out] out  wiped by whoever calls if it may hold a secret; empty on failure
/// @return "", or what is wrong, to stand behind the file's name: "cannot be opened: No such file or directory"
KXCERT_EXPORT std::string sxReadInput(const char *path, kxBinBuf &out);
KXCERT_EXPORT std::string sxReadInput(std::FILE *in, kxBinBuf &out);  ///< the same for all that a stream still has

/// Octets of the whole SEQUENCEs that stand first, behind one another; 0 where none does.
KXCERT_EXPORT size_t sxElementsLen(std::span<const unsigned char> octets);

struct sxInputBlock {
  int number = 0;          ///< from 1
  size_t offset = 0;       ///< octets before it in the input
  size_t line = 0;         ///< of its first marker, from 1; 0 when it is no PEM
  std::string label;       ///< of PEM: "CERTIFICATE"; printable ASCII, cut at kMaxPemLabelLen; empty for other forms
  bool encrypted = false;  ///< its headers say so (RFC 1421, 4.6.1.1): the octets are no encoding
  std::string dekInfo;     ///< how: value of the header "DEK-Info", printable ASCII (RFC 1421, 4.6.1.3); may be empty
  std::span<const unsigned char> octets;  ///< lent until the next block; empty when the block cannot be read
  const char *error = nullptr;            ///< why not; fixed text
};

/// The blocks of an input, one by one, in time that its length justifies. What it decodes is wiped.
///
/// Octets that begin with a SEQUENCE are one block as they stand, whatever text is in them: one whose length
/// no text would have, one that is of a known kind, or one that is all there is. Otherwise a marker makes a
/// PEM block where it begins a line, or follows a dash or a NUL, as where files were joined. A block that has
/// no end, or holds what is no Base64 (a NUL, say), has an error, and the next one is looked for behind its
/// first marker.
class KXCERT_EXPORT sxInputBlocks {
 public:
  sxInputBlocks(const unsigned char *octets, size_t len);  ///< borrows @p octets
  ~sxInputBlocks();
  sxInputBlocks(const sxInputBlocks &) = delete;
  sxInputBlocks &operator=(const sxInputBlocks &) = delete;

  bool Next(sxInputBlock &block);  ///< false behind the last one; an empty input has none

 private:
  std::unique_ptr<sxInputBlocks_imp> m_imp;
};

#endif
