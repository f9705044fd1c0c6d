/// @file
/// Whole files into memory, no more of them than a limit.
#ifndef KXCERT_SRC_CERT_READINPUT_H_
#define KXCERT_SRC_CERT_READINPUT_H_

#include <cstddef>
#include <cstdio>
#include <string>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/secureMemory.h"

/// A buffer whose bytes are wiped. Not a sensitive one, which is locked in memory as well: what may be locked
/// is a few pages, and files are long.
struct sxWipedBuf {
  sxWipedBuf() = default;
  sxWipedBuf(const sxWipedBuf &) = delete;
  sxWipedBuf &operator=(const sxWipedBuf &) = delete;
  ~sxWipedBuf() { KX_memset(buf.Data(), buf.Len()); }
  kxBinBuf buf;
};

enum class sxReadResult { kDone, kNotOpened, kNoFile, kTooLong, kFailed };

/// @param[out] out  wiped where it grows, and stays sensitive when it was; empty on failure, and for an empty file
/// @return kNotOpened, kNoFile (folder, pipe or device) and kFailed leave errno
sxReadResult sxReadWhole(const char *path, size_t maxLen, kxBinBuf &out);
sxReadResult sxReadWhole(std::FILE *in, size_t maxLen, kxBinBuf &out);

/// What is wrong, as sxReadInput says it; made of errno where that was left.
std::string sxReadReason(sxReadResult result, size_t maxLen);

#endif
