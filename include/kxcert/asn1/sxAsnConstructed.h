/// @file
/// Bases of the generated classes: SEQUENCE and SET, SEQUENCE OF and SET OF, CHOICE.
///
/// A generated class adds typed element pointers and one constant record (sxAsnTypeInfo). All
/// decoding, encoding, copying and printing stands here, once per kind, and reads the record.
/// Decoding accepts BER with definite and indefinite lengths; encoding writes definite lengths.
#ifndef KXCERT_ASN1_SXASNCONSTRUCTED_H_
#define KXCERT_ASN1_SXASNCONSTRUCTED_H_

#include "kxcert/asn1/sxAsnType.h"

/// SEQUENCE and SET: one pointer per element, null while it is absent. The pointers are members of
/// the generated class and own their values, from new.
class KXCERT_EXPORT sxAsnSequence : public sxAsnType {
 public:
  const char *TypeName() const override { return Info()->name; }
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnSequence() = default;
  sxAsnSequence(const sxAsnSequence &) : sxAsnType() {}
  sxAsnSequence &operator=(const sxAsnSequence &) { return *this; }

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;
  static void DestroyElems(sxAsnType &self, const sxAsnTypeInfo &info);   // by generated destructors

 private:
  int DecodeInOrder(sxAsnReadBuf &buf, int len, int &counter);
  int DecodeInAnyOrder(sxAsnReadBuf &buf, int len, int &counter);
  int DecodeSlot(sxAsnReadBuf &buf, int elem, unsigned int tag, const unsigned char *start, int startCount,
                 int &counter);
};

/// SEQUENCE OF and SET OF: a doubly linked list that owns its elements, with a cursor.
class KXCERT_EXPORT sxAsnList : public sxAsnType {
 public:
  struct Node {
    Node *next;
    Node *prev;
    sxAsnType *elem;                     ///< owned
  };

  ~sxAsnList() override { Clear(); }

  int Count() const { return m_count; }
  const Node *First() const { return m_first; }
  const Node *Last() const { return m_last; }
  void Clear();

  /// Moves the cursor to the @p index-th element from 0; past the end selects the last.
  void SetCurrElmt(int index);
  int GetCurrElmtIndex() const;          ///< Count() without a cursor
  /// Deletes the element at the cursor. Removing the first makes its successor current, the last its
  /// predecessor; a middle one leaves no cursor.
  void RemoveCurrFromList();

  const char *TypeName() const override { return Info()->name; }
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnList() = default;
  sxAsnList(const sxAsnList &) : sxAsnType() {}
  sxAsnList &operator=(const sxAsnList &) { return *this; }

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

  // Each links a new node and returns its element. null as neighbour means the list's end or start.
  sxAsnType *LinkAfter(Node *node, sxAsnType *elem);
  sxAsnType *LinkBefore(Node *node, sxAsnType *elem);
  sxAsnType *NewElem() const;
  sxAsnType *MakeCurrent(sxAsnType *linked, Node *node);
  sxAsnType *CurrElem() const { return m_curr == nullptr ? nullptr : m_curr->elem; }
  Node *Curr() const { return m_curr; }
  Node *LastNode() const { return m_last; }
  Node *FirstNode() const { return m_first; }
  sxAsnType *AppendElem();
  sxAsnType *PrependElem();
  sxAsnType *InsertElemAfter();
  sxAsnType *InsertElemBefore();

 private:
  int EncodeSorted(sxAsnWriteBuf &buf);
  int EncodeNode(const Node &node, sxAsnWriteBuf &buf);

  int m_count = 0;
  Node *m_first = nullptr;
  Node *m_curr = nullptr;
  Node *m_last = nullptr;
};

/// The typed face of a list.
template <class T>
class sxAsnListOf : public sxAsnList {
 public:
  /// Walks the elements in order without touching the cursor.
  class Iterator {
   public:
    explicit Iterator(const Node *node) : m_node(node) {}
    T &operator*() const { return *static_cast<T *>(m_node->elem); }
    T *operator->() const { return static_cast<T *>(m_node->elem); }
    Iterator &operator++() {
      m_node = m_node->next;
      return *this;
    }
    bool operator!=(const Iterator &other) const { return m_node != other.m_node; }

   private:
    const Node *m_node;
  };
  Iterator begin() const { return Iterator(First()); }
  Iterator end() const { return Iterator(nullptr); }

  /// Each makes a new element, links it, makes it current and lends it to be filled.
  T *Append() { return static_cast<T *>(AppendElem()); }
  T *Prepend() { return static_cast<T *>(PrependElem()); }
  T *InsertAfter() { return static_cast<T *>(InsertElemAfter()); }    ///< no cursor: at the end
  T *InsertBefore() { return static_cast<T *>(InsertElemBefore()); }  ///< no cursor: at the start

  /// Each links a copy and leaves the cursor where it is.
  sxAsnListOf &AppendCopy(const T &elem) { return LinkAfter(LastNode(), elem.Dup()), *this; }
  sxAsnListOf &PrependCopy(const T &elem) { return LinkBefore(FirstNode(), elem.Dup()), *this; }
  sxAsnListOf &InsertAfterAndCopy(const T &elem) {
    return LinkAfter(Curr() == nullptr ? LastNode() : Curr(), elem.Dup()), *this;
  }
  sxAsnListOf &InsertBeforeAndCopy(const T &elem) {
    return LinkBefore(Curr() == nullptr ? FirstNode() : Curr(), elem.Dup()), *this;
  }
  T *CurrElmt() const { return static_cast<T *>(CurrElem()); }        ///< lent, null without a cursor
};

/// CHOICE: the number of the chosen alternative and its value.
class KXCERT_EXPORT sxAsnChoice : public sxAsnType {
 public:
  ~sxAsnChoice() override { Clean(); }

  int ChoiceId() const { return m_choiceId; }      ///< from 0 in definition order; 0 while empty
  sxAsnType *Value() const { return m_value; }     ///< lent, null while empty
  void Clean();                                    ///< deletes the value

  const char *TypeName() const override { return Info()->name; }
  sxAsnType *GetType(const char *name) override;   ///< itself, else the value's answer
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 protected:
  sxAsnChoice() = default;
  sxAsnChoice(const sxAsnChoice &) : sxAsnType() {}
  sxAsnChoice &operator=(const sxAsnChoice &) { return *this; }

  void Choose(int choiceId, const sxAsnType &value);   // stores a copy
  sxAsnType *Chosen(int choiceId) const { return m_choiceId == choiceId ? m_value : nullptr; }

  int DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) override;
  int EncContent(sxAsnWriteBuf &buf) override;

 private:
  int DecodeAlternative(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded);
  int DecodeOrKeepRaw(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded);

  int m_choiceId = 0;
  sxAsnType *m_value = nullptr;                    // owned
};

#endif
