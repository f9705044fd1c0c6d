#include "readInput.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "kxcert/cert/inputBlocks.h"
#include "platform/files.h"

namespace {

constexpr size_t kFirstLen = 65536;

// Twice the room, with what is there; the old block is wiped.
void Grow(kxBinBuf &buf, size_t used, size_t len) {
  kxBinBuf larger(static_cast<unsigned int>(len));
  if (used > 0) std::memcpy(larger.Data(), buf.Data(), used);
  KX_memset(buf.Data(), buf.Len());
  buf = std::move(larger);
}

// Takes as much as there is, not as much as a file claims to have: those of the kernel claim any size.
// @param read  like kxFile_Read
template <class Read>
sxReadResult ReadAll(size_t maxLen, kxBinBuf &out, Read read) {
  sxWipedBuf area;
  size_t len = 0;
  for (size_t room = std::min(kFirstLen, maxLen + 1);; room = std::min(2 * room, maxLen + 1)) {
    Grow(area.buf, len, room);
    const int64_t got = read(area.buf.Data() + len, room - len);
    if (got < 0) return sxReadResult::kFailed;
    len += static_cast<size_t>(got);
    if (len > maxLen) return sxReadResult::kTooLong;
    if (len < room) break;
  }
  area.buf.Set(static_cast<unsigned int>(len));  // shrinks; the bytes stay
  area.buf.SetSensitive(out.IsSensitive());      // moving takes the flag along, too
  out = std::move(area.buf);
  return sxReadResult::kDone;
}

}  // namespace

sxReadResult sxReadWhole(const char *path, size_t maxLen, kxBinBuf &out) {
  out.Clear();
  kxFileInfo info;
  const int fd = kxFile_OpenRegular(path, &info);
  if (fd < 0) return errno == ENXIO || errno == EISDIR ? sxReadResult::kNoFile : sxReadResult::kNotOpened;
  sxReadResult result = sxReadResult::kTooLong;
  if (info.size <= static_cast<int64_t>(maxLen)) {
    result = ReadAll(maxLen, out, [fd](void *data, size_t len) { return kxFile_Read(fd, data, len); });
  }
  const int error = errno;
  kxFile_Close(fd);
  errno = error;
  return result;
}

sxReadResult sxReadWhole(std::FILE *in, size_t maxLen, kxBinBuf &out) {
  out.Clear();
  if (in == nullptr) return errno = EBADF, sxReadResult::kNotOpened;
  return ReadAll(maxLen, out, [in](void *data, size_t len) {
    const size_t got = std::fread(data, 1, len, in);
    return std::ferror(in) != 0 ? int64_t{-1} : static_cast<int64_t>(got);
  });
}

std::string sxReadReason(sxReadResult result, size_t maxLen) {
  const int error = errno;
  switch (result) {
    case sxReadResult::kDone: break;
    case sxReadResult::kNotOpened: return std::string("cannot be opened: ") + std::strerror(error);
    case sxReadResult::kNoFile:
      return error == EISDIR ? "is a folder, not a file" : "is a pipe or a device, not a file";
    case sxReadResult::kTooLong: return "is longer than " + std::to_string(maxLen) + " octets";
    case sxReadResult::kFailed: return std::string("cannot be read: ") + std::strerror(error);
  }
  return "";
}

std::string sxReadInput(const char *path, kxBinBuf &out) {
  return sxReadReason(sxReadWhole(path, kMaxInputLen, out), kMaxInputLen);
}

std::string sxReadInput(std::FILE *in, kxBinBuf &out) {
  return sxReadReason(sxReadWhole(in, kMaxInputLen, out), kMaxInputLen);
}
