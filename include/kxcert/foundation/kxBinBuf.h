/// @file
/// kxBinBuf: an owned byte buffer; and files to and from it.
///
/// A buffer has no capacity beside its length: growing allocates exactly the new size and copies,
/// shrinking keeps the block. A sensitive buffer's block is locked in memory, and every byte it gives
/// up is wiped. A value; no locking. What was moved from is empty; its sensitive flag stays. More bytes
/// than 32 bits count are memory that there is not: std::bad_alloc, and nothing changes.
#ifndef KXCERT_FOUNDATION_KXBINBUF_H_
#define KXCERT_FOUNDATION_KXBINBUF_H_

#include <cstddef>
#include <cstdio>

#include "kxcert/platform/export.h"

class SxStream;
class sxString;

class KXCERT_EXPORT kxBinBuf {
 public:
  kxBinBuf() = default;                 ///< empty, no block
  explicit kxBinBuf(unsigned int len);  ///< that many bytes, contents undefined
  kxBinBuf(const unsigned char *data, unsigned int len);
  kxBinBuf(const char *data, unsigned int len);
  kxBinBuf(const kxBinBuf &other);  ///< bytes and the sensitive flag
  kxBinBuf(kxBinBuf &&other) noexcept;
  ~kxBinBuf();

  /// Copies @p len bytes. They move within the block when it is long enough (overlap is allowed);
  /// else the block is replaced. Null empties the buffer.
  void Set(const unsigned char *data, unsigned int len);
  void Set(const char *data, unsigned int len);
  void Set(const kxBinBuf &other);  ///< bytes and the sensitive flag
  void Set(unsigned int len);       ///< size only: growing loses the contents
  kxBinBuf &operator=(const kxBinBuf &other);
  kxBinBuf &operator=(kxBinBuf &&other) noexcept;
  void Clear() { Set(static_cast<const unsigned char *>(nullptr), 0); }

  /// The bytes may lie within the buffer. Null adds nothing; on an empty buffer each call is Set.
  void Append(const unsigned char *data, unsigned int len);
  void Append(const kxBinBuf &other);  ///< to itself: deliberately no change
  void Prepend(const unsigned char *data, unsigned int len);
  void Prepend(const kxBinBuf &other);  ///< to itself: deliberately no change

  void SetSensitive(bool on);
  void Zero();        ///< all bytes become 0; the length stays
  void SafeDelete();  ///< wipes if sensitive, releases the block

  unsigned int Len() const { return m_len; }
  const unsigned char *Data() const { return m_data; }  ///< borrowed until the next change
  unsigned char *Data() { return m_data; }
  bool IsEmpty() const { return m_data == nullptr || m_len == 0; }
  bool IsSensitive() const { return m_sensitive; }

  /// Without a block: true when the other has none either, whatever the lengths. Otherwise equal
  /// lengths and bytes. Takes the same time wherever sensitive buffers differ.
  bool Equal(const kxBinBuf &other) const;
  bool operator==(const kxBinBuf &other) const { return Equal(other); }
  bool operator!=(const kxBinBuf &other) const { return !Equal(other); }

  /// Rows of sixteen "%02x ". @p indent counts TABs; outside 0 to 79 it is 79. Null: standard output.
  void Fprint(FILE *out, int indent) const;
  void Sprint(SxStream *out, const char *title, int indent) const;
  void Herror(const char *title) const;

 private:
  unsigned char *NewBlock(size_t len) const;
  void Replace(unsigned char *block, unsigned int len);
  void Join(const unsigned char *first, unsigned int firstLen, const unsigned char *second, unsigned int secondLen);
  void GiveUpTail(unsigned int newLen);

  unsigned char *m_data = nullptr;  // owned, from new[]
  unsigned int m_len = 0;
  unsigned int m_blockLen = 0;  // what was allocated, and what is locked while sensitive
  bool m_sensitive = false;
};

/// Reads a whole file. An empty file is a failure. @return 0, or -1 with one line logged
KXCERT_EXPORT int File2Buf(const sxString &fileName, kxBinBuf &out);
/// Writes a whole file, replacing it. @return 0, or -1 with one line logged
KXCERT_EXPORT int Buf2File(const sxString &fileName, kxBinBuf &in);

#endif
