// The two passes over a signed file.
#ifndef KXCERT_SRC_SIGNEDFILE_SIGNATUREBLOCK_H_
#define KXCERT_SRC_SIGNEDFILE_SIGNATUREBLOCK_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

struct SignatureBlock {
  unsigned char timestamp[8] = {};  // seconds since 1970, in network byte order
  std::vector<unsigned char> signature;

  uint64_t Seconds() const;
};

/// Reads up to the line with the signature. @return false: it does not have all parts in their order
[[nodiscard]] bool ReadSignatureBlock(std::FILE *file, SignatureBlock *block);

/// Whether the first line begins a block, sound or not.
[[nodiscard]] bool BeginsWithBlock(std::FILE *file);
/// Reads on behind the line that ends a block. @return false: there is none
[[nodiscard]] bool SkipToEndOfBlock(std::FILE *file);

/// A block as it is written. Its lines are comments where a number sign begins one.
std::string SignatureBlockText(const SignatureBlock &block);

/// From the file's position on. @return FSV_RC
[[nodiscard]] int HashFile(std::FILE *file, const unsigned char timestamp[8], unsigned char digest[64], bool textMode,
                           bool skipBlock);

#endif
