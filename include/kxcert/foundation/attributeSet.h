/// @file
/// Attribute sets: named lists of named values, and their text form.
///
/// A value is a text or a nested set. Integers are decimal text and binary values hexadecimal text
/// (lower case), so what is read back from a file answers every getter that its text allows. Members
/// keep their order; a name stands once. An sxset owns its members and is a value: copies are deep, and
/// it may be assigned from a set within itself. It does no locking.
///
/// Text form: (:name (value) :name (:inner (...))). A value is a bare word of letters, digits and
/// the characters . _ - + / @, or stands in double quotes, in which a backslash keeps the next
/// character. Spaces, TABs and line ends separate; '#' starts a comment up to the line's end. A set may
/// carry a name of its own before its first member: (name :member (value)). Because (name) alone is a
/// text, a named set without members is written (name :).
#ifndef KXCERT_FOUNDATION_ATTRIBUTESET_H_
#define KXCERT_FOUNDATION_ATTRIBUTESET_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/export.h"

class sxset;

/// One value of a set.
class KXCERT_EXPORT SxAtom {
 public:
  explicit SxAtom(std::string text);
  explicit SxAtom(const sxset &inner);
  SxAtom(const SxAtom &other);
  SxAtom(SxAtom &&other) noexcept;
  SxAtom &operator=(SxAtom other) noexcept;
  ~SxAtom();

  const sxset *Set() const { return m_set.get(); }  ///< the nested set, lent; null for a text
  sxset *Set() { return m_set.get(); }
  const char *Text() const;                                  ///< lent; null for a nested set
  bool GetInt(long long *value) const;                       ///< false unless the text is a decimal number
  bool GetBinary(std::vector<unsigned char> *octets) const;  ///< false unless whole hex pairs

  bool operator==(const SxAtom &other) const;  ///< equal texts or equal sets

 private:
  std::string m_text;            // may hold key material: wiped when the atom goes or is moved from
  std::unique_ptr<sxset> m_set;  // null for a text
};

class KXCERT_EXPORT sxset {
 public:
  explicit sxset(const char *name = "");
  sxset(const sxset &other) = default;
  sxset(sxset &&other) noexcept = default;
  sxset &operator=(sxset other) noexcept;

  const char *Name() const { return m_name.c_str(); }
  int Count() const { return static_cast<int>(m_members.size()); }
  const char *MemberName(int i) const;         ///< null out of range
  const SxAtom *Member(int i) const;           ///< null out of range
  const SxAtom *Find(const char *name) const;  ///< lent, null when absent
  SxAtom *Find(const char *name);
  const sxset *FindSet(const char *name) const;  ///< the nested set of that name, or null
  sxset *FindSet(const char *name);
  const char *FindText(const char *name) const;
  bool FindInt(const char *name, long long *value) const;
  bool FindBinary(const char *name, std::vector<unsigned char> *octets) const;

  void SetText(const char *name, const char *text);  ///< each replaces a member of that name
  void SetInt(const char *name, long long value);
  /// Null, or more octets than an int can count the digits of, store the empty text.
  void SetBinary(const char *name, const unsigned char *data, int dataLen);
  void SetSet(const char *name, const sxset &inner);  ///< a deep copy
  bool Remove(const char *name);

  bool operator==(const sxset &other) const;  ///< names, order and values

  /// The text form, without a line feed of its own. The stream is not wiped.
  void Write(SxStream *out) const;

 private:
  friend class sxsetReader;  // appends without the search that Set... makes

  void Put(const char *name, SxAtom value);

  std::string m_name;
  std::vector<std::pair<std::string, SxAtom>> m_members;
};

constexpr int kMaxSetNesting = 64;        ///< sets in sets that are read, the outermost counted
constexpr long kMaxSetFileLen = 1 << 24;  ///< bytes of a file that sio_readx takes

/// Reads one set. Nothing but white space and comments may follow it.
/// @param[out] error  what is wrong, "line L, column C: ..." (columns count bytes from 1), or why the
///                    file cannot be read; untouched on success. When null, the debug log gets the line
/// @return a new set for delete, or null
KXCERT_EXPORT sxset *sio_sread(const char *text, std::string *error);
KXCERT_EXPORT sxset *sio_readx(const char *fileName, std::string *error);

#endif
