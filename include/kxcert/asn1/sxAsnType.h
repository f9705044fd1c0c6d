/// @file
/// sxAsnType: base of every ASN.1 value; the type records that the interpreters read; and the entry
/// points that turn a value into octets and back.
///
/// Values own what they hold; copies are deep. No locking: one thread uses a value at a time.
#ifndef KXCERT_ASN1_SXASNTYPE_H_
#define KXCERT_ASN1_SXASNTYPE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/platform/export.h"

class kxBinBuf;
class sxAsnType;
class SxStream;

enum class sxAsnKind : uint8_t { kPrimitive, kSequence, kSet, kSequenceOf, kSetOf, kChoice, kAny };

struct sxAsnElem;

/// What the codec knows of a class. One constant record per class; the generated ones differ in
/// nothing else.
struct sxAsnTypeInfo {
  const char *name;  ///< of the class: "sxASN_Validity"
  sxAsnKind kind;
  bool bothForms;          ///< a string: primitive or constructed
  bool zeroResult;         ///< success of BDecContent (CHOICE) is 0 instead of 1
  int tag;                 ///< universal identifier, constructed bit included; 0: none of its own
  sxAsnType *(*create)();  ///< a new, empty value
  const sxAsnElem *elems;  ///< SEQUENCE, SET: elements; OF: one row; CHOICE: alternatives
  int numElems;
};

/// One element of a SEQUENCE or SET, the element of a list, or an alternative of a CHOICE.
struct sxAsnElem {
  enum Tagging : uint8_t { kNone, kImplicit, kExplicit };

  const char *name;  ///< as in the module definition
  const sxAsnTypeInfo *type;
  uint16_t offset = 0;  ///< of the element pointer in a SEQUENCE or SET class
  Tagging tagging = kNone;
  uint8_t tagNumber = 0;  ///< of the context tag, below 31
  bool optional = false;  ///< OPTIONAL or DEFAULT
  int8_t definedBy = -1;  ///< ANY DEFINED BY: index of the element that selects the type
  bool fallBack = false;  ///< CHOICE: content that does not decode goes to the ANY alternative;
                          ///< ANY DEFINED BY: it is kept as raw octets
};

class KXCERT_EXPORT sxAsnType {
 public:
  virtual ~sxAsnType() = default;

  virtual const char *TypeName() const = 0;
  virtual sxAsnType *GetType(const char *name);         ///< this when the name is its own, else null
  virtual sxAsnType *Clone() const { return nullptr; }  ///< a new, empty value for delete
  virtual sxAsnType *Dup() const = 0;                   ///< a new, deep copy for delete

  /// Decodes a whole element. Adds the octets consumed to @p bytesDecoded. The octets may lie within
  /// what the value held before. On failure the value is partly filled and not to be used.
  /// @return 0 or 1, or -1
  virtual int BDec(sxAsnReadBuf &buf, int &bytesDecoded);
  virtual int BEnc(sxAsnWriteBuf &buf);      ///< octets written, or -1
  virtual void Herror(int indent);           ///< Print's text to the debug log
  virtual int Print(FILE *out, int indent);  ///< null: standard output; 0, or -1 (no value)

  /// The contents alone: identifier and length octets were read, or are written, by the caller.
  int BDecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) {
    return DecContent(buf, tag, len, bytesDecoded);
  }
  int BEncContent(sxAsnWriteBuf &buf) { return EncContent(buf); }

  virtual const sxAsnTypeInfo *Info() const { return nullptr; }
  virtual int Describe(SxStream &out, int indent) const;  ///< Print's text; 0, or -1 (no value)
  /// Makes this a deep copy; either value may be a part of the other.
  /// @return 0, or -1 for a value of another class (nothing changes)
  virtual int CopyFrom(const sxAsnType &) { return -1; }

  /// Values come and go by the hundred with every certificate: their blocks are cut from shared pages,
  /// and each thread keeps a bounded number of free ones.
  static void *operator new(size_t size);
  static void *operator new(size_t, void *place) noexcept { return place; }
  static void operator delete(void *block, size_t size) noexcept;

 protected:
  constexpr sxAsnType() = default;
  sxAsnType(const sxAsnType &) = default;
  sxAsnType &operator=(const sxAsnType &) = default;

  virtual int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded);
  virtual int EncContent(sxAsnWriteBuf &buf);
};

/// Measures, then encodes into exactly that many octets.
/// @param sortSets  1 for DER: SET OF elements are sorted
/// @return 0, or -1 (out is then undefined)
KXCERT_EXPORT int sxASN_EncodeBuf(sxAsnType &value, kxBinBuf &out, int sortSets);

/// Encodes into the caller's area, or only measures when @p out is null.
/// @param[out] encodedLen  octets, or -1
KXCERT_EXPORT int sxASN_EncodeBuf(sxAsnType &value, char *out, int outSize, int &encodedLen, int sortSets);

/// Decodes one value that takes up all @p len octets, which may lie within @p value.
/// @return 0, or -1 (null, a negative length, nothing decoded, or octets remain)
KXCERT_EXPORT int sxASN_DecodeBuf(sxAsnType &value, const char *data, int len);

#endif
