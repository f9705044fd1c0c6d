#include "kxcert/foundation/kxBinBuf.h"

#include <openssl/crypto.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "kxcert/foundation/sxString.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "platform/files.h"
#include "platform/owned.h"
#include "platform/pageLocks.h"
#include "platform/textForms.h"

namespace {

constexpr int kMaxIndent = 79;
constexpr unsigned int kPerRow = 16;

// Compared unsigned, so that a negative indent is a large one.
int ClampIndent(int indent) { return static_cast<unsigned int>(indent) > kMaxIndent ? kMaxIndent : indent; }

void PrintRows(SxStream *out, const unsigned char *data, unsigned int len, int indent) {
  unsigned int start = 0;
  do {
    const unsigned int end = len - start > kPerRow ? start + kPerRow : len;
    std::string row;
    kxAppendHex(&row, {data + start, data + end}, " ");
    if (len != 0) out->Indent(indent);
    out->Puts((row + "\n").c_str());
    start = end;
  } while (start < len);
}

using File = sxOwned<FILE, std::fclose>;

}  // namespace

kxBinBuf::kxBinBuf(unsigned int len) { Set(len); }
kxBinBuf::kxBinBuf(const unsigned char *data, unsigned int len) { Set(data, len); }
kxBinBuf::kxBinBuf(const char *data, unsigned int len) { Set(data, len); }
kxBinBuf::kxBinBuf(const kxBinBuf &other) { Set(other); }
kxBinBuf::kxBinBuf(kxBinBuf &&other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)),
      m_len(std::exchange(other.m_len, 0)),
      m_blockLen(std::exchange(other.m_blockLen, 0)),
      m_sensitive(other.m_sensitive) {}
kxBinBuf::~kxBinBuf() { SafeDelete(); }

kxBinBuf &kxBinBuf::operator=(const kxBinBuf &other) {
  Set(other);
  return *this;
}

kxBinBuf &kxBinBuf::operator=(kxBinBuf &&other) noexcept {
  kxBinBuf taken(std::move(other));  // releases what was held here
  std::swap(m_data, taken.m_data);
  std::swap(m_len, taken.m_len);
  std::swap(m_blockLen, taken.m_blockLen);
  std::swap(m_sensitive, taken.m_sensitive);
  return *this;
}

// A new block, locked before anything secret is written to it.
unsigned char *kxBinBuf::NewBlock(size_t len) const {
  auto *block = new unsigned char[len];
  if (m_sensitive) kxMem_Lock(block, len);
  return block;
}

void kxBinBuf::Replace(unsigned char *block, unsigned int len) {
  SafeDelete();
  m_data = block;
  m_len = len;
  m_blockLen = len;
}

void kxBinBuf::GiveUpTail(unsigned int newLen) {
  if (m_sensitive && m_data != nullptr && newLen < m_len) KX_memset(m_data + newLen, m_len - newLen);
}

void kxBinBuf::Set(const unsigned char *data, unsigned int len) {
  if (data != nullptr && m_data != nullptr && len <= m_len) {
    if (len != 0) std::memmove(m_data, data, len);
    GiveUpTail(len);
    m_len = len;
    return;
  }
  if (data == nullptr) {
    Replace(nullptr, 0);
    return;
  }
  unsigned char *const block = NewBlock(len);
  if (len != 0) std::memcpy(block, data, len);  // before the old block goes: data may lie in it
  Replace(block, len);
}

void kxBinBuf::Set(const char *data, unsigned int len) { Set(reinterpret_cast<const unsigned char *>(data), len); }

void kxBinBuf::Set(unsigned int len) {
  if (len > m_len) {
    Replace(NewBlock(len), len);
  } else {
    GiveUpTail(len);
    m_len = len;
  }
}

void kxBinBuf::Set(const kxBinBuf &other) {
  if (&other == this) return;
  if (other.m_sensitive) SetSensitive(true);  // locked before the secret arrives
  Set(other.m_data, other.m_len);
  SetSensitive(other.m_sensitive);
}

void kxBinBuf::Join(const unsigned char *first, unsigned int firstLen, const unsigned char *second,
                    unsigned int secondLen) {
  if (secondLen > UINT32_MAX - firstLen) throw std::bad_alloc();
  unsigned char *const block = NewBlock(static_cast<size_t>(firstLen) + secondLen);
  std::memcpy(block, first, firstLen);
  std::memcpy(block + firstLen, second, secondLen);
  Replace(block, firstLen + secondLen);
}

void kxBinBuf::Append(const unsigned char *data, unsigned int len) {
  if (m_len == 0) return Set(data, len);
  if (data != nullptr && len != 0) Join(m_data, m_len, data, len);
}

void kxBinBuf::Append(const kxBinBuf &other) {
  if (other.m_data != m_data) Append(other.m_data, other.m_len);
}

void kxBinBuf::Prepend(const unsigned char *data, unsigned int len) {
  if (m_len == 0) return Set(data, len);
  if (data != nullptr && len != 0) Join(data, len, m_data, m_len);
}

void kxBinBuf::Prepend(const kxBinBuf &other) {
  if (other.m_data != m_data) Prepend(other.m_data, other.m_len);
}

bool kxBinBuf::Equal(const kxBinBuf &other) const {
  if (m_data == nullptr) return other.m_data == nullptr;
  if (other.m_data == nullptr || m_len != other.m_len) return false;
  if (m_sensitive || other.m_sensitive) return CRYPTO_memcmp(m_data, other.m_data, m_len) == 0;
  return std::memcmp(m_data, other.m_data, m_len) == 0;
}

void kxBinBuf::SetSensitive(bool on) {
  if (on && !m_sensitive) kxMem_Lock(m_data, m_blockLen);
  if (!on && m_sensitive) kxMem_Unlock(m_data, m_blockLen);
  m_sensitive = on;
}

void kxBinBuf::Zero() {
  if (m_data != nullptr && m_len != 0) std::memset(m_data, 0, m_len);
}

void kxBinBuf::SafeDelete() {
  if (m_data == nullptr) return;
  if (m_sensitive) {
    KX_memset(m_data, m_blockLen);
    kxMem_Unlock(m_data, m_blockLen);
  }
  delete[] m_data;
  m_data = nullptr;
  m_len = 0;
  m_blockLen = 0;
}

void kxBinBuf::Fprint(FILE *out, int indent) const {
  SxStream text;
  if (IsEmpty()) {
    text.Indent(ClampIndent(indent));
    text.Puts("Empty\n");
  } else {
    PrintRows(&text, m_data, m_len, ClampIndent(indent));
  }
  std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}

void kxBinBuf::Sprint(SxStream *out, const char *title, int indent) const {
  if (out == nullptr) return;
  const int tabs = ClampIndent(indent);
  if (title != nullptr) {
    out->Indent(tabs);
    out->Printf("%s:\n", title);
  }
  PrintRows(out, m_data, m_data == nullptr ? 0 : m_len, tabs);
}

void kxBinBuf::Herror(const char *title) const {
  if (!kxLog_DebugOn()) return;
  if (title != nullptr) herror_func(0, 0, "%s:", title);
  if (IsEmpty()) {
    herror_func(0, 0, "kxBinBuf Empty");
  } else {
    hex_herror(m_data, static_cast<int>(m_len));
  }
}

int File2Buf(const sxString &fileName, kxBinBuf &out) {
  constexpr const char *kFunc = "File2Buf";
  if (fileName.length() == 0) return herror_func(0, 0, "%s: No file name", kFunc), -1;
  const char *name = fileName.getstr();
  const File file(kxFile_OpenRegularStream(name));
  if (!file) return herror_func(0, 0, "%s: %s %s", kFunc, "Couldn't open file - ", name), -1;
  long size = -1;
  if (std::fseek(file.get(), 0, SEEK_END) == 0) size = std::ftell(file.get());
  if (size <= 0 || size > INT32_MAX) {
    return herror_func(0, 0, "%s: Failed to get file length or file is empty- %s ", kFunc, name), -1;
  }
  std::rewind(file.get());
  // Files of the kernel's claim any size; the block is made only once a byte was read.
  if (const int first = std::fgetc(file.get()); first == EOF || std::ungetc(first, file.get()) == EOF) {
    return herror_func(0, 0, "%s: Failed to read file content- %s ", kFunc, name), -1;
  }
  out.Set(static_cast<unsigned int>(size));
  if (std::fread(out.Data(), 1, static_cast<size_t>(size), file.get()) != static_cast<size_t>(size)) {
    return herror_func(0, 0, "%s: Failed to read file content- %s ", kFunc, name), -1;
  }
  return 0;
}

int Buf2File(const sxString &fileName, kxBinBuf &in) {
  constexpr const char *kFunc = "Buf2File";
  if (fileName.length() == 0) return herror_func(0, 0, "%s: No file name", kFunc), -1;
  const char *name = fileName.getstr();
  File file(std::fopen(name, "wb"));
  if (!file) return herror_func(0, 0, "%s: %s %s", kFunc, "Couldn't open file - ", name), -1;
  const size_t numWritten = in.IsEmpty() ? 0 : std::fwrite(in.Data(), 1, in.Len(), file.get());
  // A full disk may show only when the last block is flushed.
  const bool closed = std::fclose(file.release()) == 0;
  if (numWritten < in.Len() || !closed) {
    return herror_func(0, 0, "%s: Failed to write into file- %s ", kFunc, name), -1;
  }
  return 0;
}
