/// @file
/// BER/DER buffers: a read cursor, a write buffer filled from its end, and the identifier, length and
/// end-of-contents octets (X.690, 8.1.2 to 8.1.5).
///
/// Plain records over octets that the caller owns; one call on one thread uses one at a time. Every
/// function reports failure by a negative result and writes one line to the debug log.
#ifndef KXCERT_ASN1_SXASNBUF_H_
#define KXCERT_ASN1_SXASNBUF_H_

#include <cstring>

#include "kxcert/platform/export.h"

constexpr int kMaxNesting = 64;     ///< levels that decode within each other; deeper input fails
constexpr int kIndefiniteLen = -2;  ///< what BDecLen returns for the octet 0x80

/// Cursor over octets that are read.
class KXCERT_EXPORT sxAsnReadBuf {
 public:
  void Init(const unsigned char *data, int len) {  ///< null or a negative length: no octets
    m_start = m_curr = m_element = data;
    m_end = data + (data != nullptr && len > 0 ? len : 0);
    m_nesting = 0;
  }
  void Set(const unsigned char *data, int len) { Init(data, len); }

  int GetOffset() const { return static_cast<int>(m_curr - m_start); }
  int GetLen() const { return static_cast<int>(m_end - m_curr); }  ///< octets that remain

  int PeekByte() const { return m_curr < m_end ? *m_curr : AtEnd("sxAsnReadBuf::PeekByte"); }
  int GetByte() { return m_curr < m_end ? *m_curr++ : AtEnd("sxAsnReadBuf::GetByte"); }  ///< or -1

  /// The current position; advances by *len, which is first cut to what remains.
  const unsigned char *GetSeg(int *len);
  int Skip(int n);  ///< clamped at the end; octets really skipped
  int Back(int n);  ///< 1, or -1 when that would pass the start
  /// Copies and advances when @p n octets remain, and returns n; else the count that remains.
  int CopyOut(unsigned char *dst, int n);

  const unsigned char *Curr() const { return m_curr; }  ///< borrowed from the caller's octets

  /// Start of the element whose identifier was read last. Open types need it, because they keep those
  /// octets too.
  const unsigned char *Element() const { return m_element; }
  void MarkElement(const unsigned char *at) { m_element = at; }
  void Rewind(const unsigned char *to) { m_curr = to; }  ///< to a position that was read before
  const unsigned char *End() const { return m_end; }
  void SetEnd(const unsigned char *end) { m_end = end; }  ///< within the octets given to Init

  bool EnterLevel() { return ++m_nesting <= kMaxNesting; }  ///< pair with LeaveLevel, also on false
  void LeaveLevel() { --m_nesting; }

 private:
  static int AtEnd(const char *func);  // logs, returns -1

  const unsigned char *m_start = nullptr;
  const unsigned char *m_curr = nullptr;
  const unsigned char *m_end = nullptr;
  const unsigned char *m_element = nullptr;
  int m_nesting = 0;
};

/// One level of nested content; Ok() is false at the level that is too deep.
class sxAsnLevel {
 public:
  explicit sxAsnLevel(sxAsnReadBuf &buf) : m_buf(buf), m_ok(buf.EnterLevel()) {}
  ~sxAsnLevel() { m_buf.LeaveLevel(); }
  sxAsnLevel(const sxAsnLevel &) = delete;
  sxAsnLevel &operator=(const sxAsnLevel &) = delete;
  bool Ok() const { return m_ok; }

 private:
  sxAsnReadBuf &m_buf;
  const bool m_ok;
};

/// Area that is written from its end towards its start. Without an area it only measures: every
/// write succeeds and stores nothing.
class KXCERT_EXPORT sxAsnWriteBuf {
 public:
  void Init(unsigned char *data, int len) {  ///< null: measures; a negative length: no room
    m_start = data;
    m_end = data + (data != nullptr && len > 0 ? len : 0);
    m_curr = m_end;
  }
  void ReSet() {  ///< empties; clears both flags
    m_curr = m_end;
    sortSets = 0;
    m_overflow = false;
  }

  int PutByte(unsigned char octet) {  ///< 1, or -1 when there is no room
    if (m_start == nullptr) return 1;
    if (m_curr == m_start) return NoRoom("sxAsnWriteBuf::PutByte");
    *--m_curr = octet;
    return 1;
  }
  /// @return n while measuring, 1 when stored, -1 when there is no room, or for a negative n
  int PutSeg(const unsigned char *src, int n) {
    if (n < 0 || (m_start != nullptr && m_curr - m_start < n)) return NoRoom("sxAsnWriteBuf::PutSeg");
    if (m_start == nullptr) return n;
    m_curr -= n;
    if (n > 0) std::memcpy(m_curr, src, static_cast<size_t>(n));
    return 1;
  }

  void Unput(int n) {  ///< takes back octets written last, at most all
    if (m_start != nullptr && n > 0) m_curr += n < Written() ? n : Written();
  }
  bool Full() const { return m_curr == m_start && m_start != nullptr; }
  bool Measures() const { return m_start == nullptr; }
  bool Overflow() const { return m_overflow; }
  unsigned char *Curr() const { return m_curr; }                    ///< first octet written
  int Written() const { return static_cast<int>(m_end - m_curr); }  ///< octets written so far

  int sortSets = 0;  ///< 1 or more: SET OF encoders sort their elements (X.690, 11.6)

 private:
  int NoRoom(const char *func);  // sets the flag, logs, returns -1

  unsigned char *m_curr = nullptr;
  unsigned char *m_end = nullptr;
  unsigned char *m_start = nullptr;
  bool m_overflow = false;
};

enum sxAsnTagClass : int { kUniversal = 0, kApplication = 64, kContext = 128, kPrivate = 192 };
enum sxAsnForm : int { kPrimitive = 0, kConstructed = 32 };

KXCERT_EXPORT int BDecLongTag(sxAsnReadBuf &buf, int first, int &bytesDecoded);
KXCERT_EXPORT int BDecLongLen(sxAsnReadBuf &buf, int &bytesDecoded);
KXCERT_EXPORT int BEncLongTag(sxAsnWriteBuf &buf, int tagClass, int form, int code);
KXCERT_EXPORT int BEncLongLen(sxAsnWriteBuf &buf, int len);

/// Identifier octets as one integer: the first in the lowest byte, up to three more above it, so that
/// a tag numbered below 31 is just its octet (SEQUENCE 48, [0] constructed 160). 0 is the first octet
/// of an end-of-contents marker. Adds the octets read to @p bytesDecoded.
/// @return the identifier, or -1 (nothing left, or a number above 2^21-1)
inline int BDecTag(sxAsnReadBuf &buf, int &bytesDecoded) {
  buf.MarkElement(buf.Curr());
  const int first = buf.GetByte();
  ++bytesDecoded;
  return (first & 0x1F) == 0x1F ? BDecLongTag(buf, first, bytesDecoded) : first;
}
/// @return octets written, or -1. Number 127 takes three octets by intent: the two-octet form ends at
/// 126, and decoders of this library read both.
inline int BEncTag(sxAsnWriteBuf &buf, int tagClass, int form, int code) {
  if (code >= 0 && code < 31 && !buf.Full()) return buf.PutByte(static_cast<unsigned char>(tagClass | form | code));
  return BEncLongTag(buf, tagClass, form, code);
}

/// Length octets. Non-minimal forms are accepted; a length that exceeds what remains is not. Four
/// octets with the top bit set come out negative and are failures to every caller, except that
/// 84 FF FF FF FE reads as the indefinite form; kept so by intent.
/// @return 0 or more, kIndefiniteLen, or another negative number on failure
inline int BDecLen(sxAsnReadBuf &buf, int &bytesDecoded) {
  const unsigned char *curr = buf.Curr();
  const int left = buf.GetLen();
  if (left > 0 && *curr < 0x80 && *curr < left) {  // the common case: one octet, and the room is there
    buf.GetByte();
    ++bytesDecoded;
    return *curr;
  }
  return BDecLongLen(buf, bytesDecoded);
}
/// Definite form, fewest octets. Lengths of 16 MiB and above are refused by intent.
/// @return octets written (1 to 4), or -1
inline int BEncDefLen(sxAsnWriteBuf &buf, int len) {
  if (len >= 0 && len < 0x80 && !buf.Full()) return buf.PutByte(static_cast<unsigned char>(len));
  return BEncLongLen(buf, len);
}
KXCERT_EXPORT int BEncIndefLen(sxAsnWriteBuf &buf);  ///< 1, or -1

KXCERT_EXPORT int BDecEoc(sxAsnReadBuf &buf, int &bytesDecoded);  ///< 1, or -1
KXCERT_EXPORT int BEncEoc(sxAsnWriteBuf &buf);                    ///< 2, or -1
KXCERT_EXPORT int BEoc(const unsigned char *octets);              ///< 1 when both are 0, else -1

/// Measures without consuming. With @p all 0: one whole element of definite length. Otherwise: the
/// contents of an indefinite-length element up to and with its end-of-contents octets; the elements
/// inside must be of definite length.
/// @return octets, or -1 (the cursor is then anywhere)
KXCERT_EXPORT int RawLen(sxAsnReadBuf &buf, int all);

#endif
