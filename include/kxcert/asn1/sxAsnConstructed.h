/// @file
/// Bases of the generated classes: SEQUENCE and SET, SEQUENCE OF and SET OF, CHOICE.
///
/// A generated class adds typed element pointers and one constant record (sxAsnTypeInfo). All
/// decoding, encoding, copying and printing stands here, once per kind, and reads the record.
/// Decoding accepts BER with definite and indefinite lengths; encoding writes definite lengths.
///
/// A value may be assigned from a part of itself (outer = *outer.inner) and to one: the copy is made
/// before anything is released. What was lent from inside the old value is gone then.
#ifndef KXCERT_ASN1_SXASNCONSTRUCTED_H_
#define KXCERT_ASN1_SXASNCONSTRUCTED_H_

#include "kxcert/asn1/elementArray.h"
#include "kxcert/asn1/sxAsnType.h"

/// What the kinds have in common: a record, and one identifier and length around the contents.
class KXCERT_EXPORT sxAsnConstructed : public sxAsnType {
 public:
  const char *TypeName() const override { return Info()->name; }
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;

 protected:
  sxAsnConstructed() = default;
  sxAsnConstructed(const sxAsnConstructed &) : sxAsnType() {}
  sxAsnConstructed &operator=(const sxAsnConstructed &) { return *this; }
};

/// SEQUENCE and SET: one pointer per element, null while it is absent. The pointers are members of
/// the generated class and own their values, from new.
class KXCERT_EXPORT sxAsnSequence : public sxAsnConstructed {
 public:
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnSequence() = default;
  sxAsnSequence(const sxAsnSequence &other) = default;
  sxAsnSequence &operator=(const sxAsnSequence &other) = default;

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;
  static void DestroyElems(sxAsnType &self, const sxAsnTypeInfo &info);  // by generated destructors

 private:
  int DecodeInOrder(sxAsnReadBuf &buf, int len, int &counter);
  int DecodeInAnyOrder(sxAsnReadBuf &buf, int len, int &counter);
  int DecodeSlot(sxAsnReadBuf &buf, int elem, unsigned int tag, const unsigned char *start, int startCount,
                 int &counter);
};

/// SEQUENCE OF and SET OF: a list that owns its elements, with a cursor.
class KXCERT_EXPORT sxAsnList : public sxAsnConstructed {
 public:
  ~sxAsnList() override;

  int Count() const { return m_elems.Count(); }
  const sxAsnElemArray &Elems() const { return m_elems; }
  void Clear();

  /// Moves the cursor to the @p index-th element from 0; past the end selects the last.
  void SetCurrElmt(int index);
  int GetCurrElmtIndex() const { return m_curr == kNoCursor ? Count() : m_curr; }  ///< Count() without a cursor
  /// Deletes the element at the cursor. Removing the first makes its successor current, the last its
  /// predecessor; a middle one leaves no cursor.
  void RemoveCurrFromList();

  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnList() = default;
  sxAsnList(const sxAsnList &) : sxAsnConstructed() {}
  sxAsnList &operator=(const sxAsnList &) { return *this; }

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

  void Insert(int at, sxAsnType *elem);  // takes over the element
  sxAsnType *InsertNew(int at);          // the new element becomes current and is lent
  int AtCursor() const { return m_curr == kNoCursor ? 0 : m_curr; }
  int BehindCursor() const { return m_curr == kNoCursor ? Count() : m_curr + 1; }
  sxAsnType *CurrElem() const { return m_curr == kNoCursor ? nullptr : m_elems[m_curr]; }

 private:
  static constexpr int kNoCursor = -1;

  int EncodeSorted(sxAsnWriteBuf &buf);
  int EncodeElem(sxAsnType &elem, sxAsnWriteBuf &buf);

  sxAsnElemArray m_elems;
  int m_curr = kNoCursor;
};

/// The typed face of a list.
template <class T>
class sxAsnListOf : public sxAsnList {
 public:
  /// Walks the elements in order without touching the cursor.
  class Iterator {
   public:
    explicit Iterator(sxAsnType *const *elem) : m_elem(elem) {}
    T &operator*() const { return *static_cast<T *>(*m_elem); }
    T *operator->() const { return static_cast<T *>(*m_elem); }
    Iterator &operator++() {
      ++m_elem;
      return *this;
    }
    bool operator!=(const Iterator &other) const { return m_elem != other.m_elem; }

   private:
    sxAsnType *const *m_elem;
  };
  Iterator begin() const { return Iterator(Elems().begin()); }
  Iterator end() const { return Iterator(Elems().end()); }

  /// Each makes a new element, links it, makes it current and lends it to be filled.
  T *Append() { return static_cast<T *>(InsertNew(Count())); }
  T *Prepend() { return static_cast<T *>(InsertNew(0)); }
  T *InsertAfter() { return static_cast<T *>(InsertNew(BehindCursor())); }  ///< no cursor: at the end
  T *InsertBefore() { return static_cast<T *>(InsertNew(AtCursor())); }     ///< no cursor: at the start

  /// Each links a copy and leaves the cursor where it is.
  sxAsnListOf &AppendCopy(const T &elem) { return Insert(Count(), elem.Dup()), *this; }
  sxAsnListOf &PrependCopy(const T &elem) { return Insert(0, elem.Dup()), *this; }
  sxAsnListOf &InsertAfterAndCopy(const T &elem) { return Insert(BehindCursor(), elem.Dup()), *this; }
  sxAsnListOf &InsertBeforeAndCopy(const T &elem) { return Insert(AtCursor(), elem.Dup()), *this; }
  T *CurrElmt() const { return static_cast<T *>(CurrElem()); }  ///< lent, null without a cursor

 protected:  // copies and assignments are the generated classes' own: here they would lose the elements
  sxAsnListOf() = default;
  sxAsnListOf(const sxAsnListOf &) = default;
  sxAsnListOf &operator=(const sxAsnListOf &) = default;
};

/// CHOICE: the number of the chosen alternative and its value.
class KXCERT_EXPORT sxAsnChoice : public sxAsnConstructed {
 public:
  ~sxAsnChoice() override { Clean(); }

  int ChoiceId() const { return m_choiceId; }   ///< from 0 in definition order; 0 while empty
  sxAsnType *Value() const { return m_value; }  ///< lent, null while empty
  void Clean();                                 ///< deletes the value

  sxAsnType *GetType(const char *name) override;  ///< itself, else the value's answer
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnChoice() = default;
  sxAsnChoice(const sxAsnChoice &) : sxAsnConstructed() {}
  sxAsnChoice &operator=(const sxAsnChoice &) { return *this; }

  void Choose(int choiceId, const sxAsnType &value);  // stores a copy
  sxAsnType *Chosen(int choiceId) const { return m_choiceId == choiceId ? m_value : nullptr; }

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  int DecodeAlternative(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded);
  int DecodeOrKeepRaw(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded);

  int m_choiceId = 0;
  sxAsnType *m_value = nullptr;  // owned
};

#endif
