/// @file
/// Distinguished names: read from DER or text, compare, print.
///
/// An sxDN is a value: a copy is deep and shares nothing. Changing one is for one thread alone;
/// reading one (texts, comparisons) may be done from several threads at once, because what is computed
/// on first use is published as a whole.
///
/// Text lists the most specific RDN first ("CN=a,O=b,C=c"), the encoding the root-most. The text form
/// is the library's own: it is stored in configuration and databases and compared there as text, so
/// its differences from RFC 4514 stay. docs/formats/dnText.md describes it.
#ifndef KXCERT_CERT_SXDN_H_
#define KXCERT_CERT_SXDN_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "kxcert/platform/export.h"

class sxASN_AttributeValue;
class sxASN_RDNSequence;
class sxAsnOid;
class sxDN_imp;
class SxStream;

class KXCERT_EXPORT sxDN {
 public:
  sxDN();                                        ///< no name; GetStr() is null
  explicit sxDN(const char *text);               ///< null or unreadable: no name; "" an empty name
  sxDN(const unsigned char *der, int len);       ///< undecodable: no name
  explicit sxDN(const sxASN_RDNSequence *name);  ///< deep copy; null: no name
  sxDN(const sxDN &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  sxDN(sxDN &&other);
  sxDN &operator=(const sxDN &other);
  sxDN &operator=(sxDN &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~sxDN();

  int Set(const sxDN &other);           ///< 0, or -1 when the other has no name
  int RemoveCN();                       ///< 1 when the most specific RDN held a CN and went
  int RemoveOid(const sxAsnOid *type);  ///< 1 when an RDN with it went, root-most first

  /// Text, borrowed until the name changes. Null without a name or with a value that has no text. A
  /// value that holds a NUL is written in "#" form, here and wherever it is handed out by itself.
  const char *GetStr() const;
  const char *GetStr_ascii() const;  ///< values outside 0x20..0x7F in "#" form
  /// DER of at most 4096 octets, borrowed until the name changes. @return 0 or -1
  int DerEncode(unsigned char **out, int *len) const;
  const sxASN_RDNSequence *GetName() const;  ///< lent; null without a name
  int Count() const;                         ///< RDNs; 0 without a name

  /// The most specific AVA of a type, printed as in GetStr. @return 0, or -1 (absent; does not fit, which
  /// is logged)
  int GetRDN(const sxAsnOid &type, char *buf, int len) const;
  int GetCN(char *buf, int len) const;
  int GetO(char *buf, int len) const;
  int GetOU(char *buf, int len) const;
  int IsContain(const sxAsnOid *type) const;  ///< 0 when found, -1 when not; callers rely on it

  /// Same RDNs in the same order; values without regard to case and to how spaces run. Names without a
  /// name, or with a value that has no text, equal nothing.
  bool Equal(const sxDN &other) const;
  bool operator==(const sxDN &other) const { return Equal(other); }
  bool operator!=(const sxDN &other) const { return !Equal(other); }
  bool IsSub(const sxDN &suffix) const;  ///< the text ends with the suffix's RDNs
  /// Copies this name to @p out without the RDNs of @p sub, wherever they stand. whole: all were found.
  /// @return 1, or 0 without a name or RDNs (out and whole untouched)
  int RemoveSubDN(const sxDN &sub, sxDN &out, int &whole) const;

  /// Equal names have equal hashes; the same on every target. 0 without a name.
  uint64_t Hash() const;

  void Sprint(SxStream *out, int indent) const;  ///< one line: GetStr(), or "<no name>"
  void Fprint(FILE *out, int indent) const;      ///< null: standard output
  void Herror() const;                           ///< the same text to the debug log
  sxDN_imp *GetP() const { return m_imp; }       ///< the library's own use

 private:
  friend class sxCert_imp;
  explicit sxDN(sxDN_imp *imp) : m_imp(imp) {}  // adopts

  sxDN_imp *m_imp;  // owned, never null
};

/// Texts in, texts out; 0 or -1 unless said otherwise. An area that is too short (or of a negative
/// length) stays untouched, and the log says so.
KXCERT_EXPORT const char *sxDN_GetStr(sxDN *dn);
KXCERT_EXPORT void sxDN_Free(sxDN *dn);
KXCERT_EXPORT sxDN *sxDN_DER_Decode(const unsigned char *der, int len);  ///< for sxDN_Free, or null
KXCERT_EXPORT int sxDN_IsLegalDN(const char *text);                      ///< 1 or 0
/// @p cn is an assertion such as "CN=name".
KXCERT_EXPORT int sxDN_add_CN(const char *dn, const char *cn, char *out, int outLen);
KXCERT_EXPORT int sxDN_remove_CN(const char *dn, char *out, int outLen);
KXCERT_EXPORT int sxDN_OU_from_string(const char *dn, char *buf, int len);
KXCERT_EXPORT int sxDN_CN_from_string(const char *dn, char *buf, int len);
KXCERT_EXPORT int sxDN_contains_suffix(const char *dn, const char *suffix);  ///< 1, 0, or -1 for null
KXCERT_EXPORT int sxDN_cmp_strings(const char *a, const char *b);            ///< 1 when equal, else 0
KXCERT_EXPORT sxAsnOid *sxDN_Str2OID(const char *keyword);                   ///< for delete, or null
/// "CN" and the like, or "OID.1.2.3". @return length, or -1 when it does not fit
KXCERT_EXPORT int sxDN_OID2Str(const sxAsnOid &type, char *buf, int len);

/// A new attribute value with the string type that the text asks for, for delete.
KXCERT_EXPORT sxASN_AttributeValue *sxStr2AttrVal(const sxAsnOid &type, const char *text);
/// Alternative of sxASN_AttributeValue for texts outside PrintableString: read once per process.
KXCERT_EXPORT int get_bc_ds_choiceID();

/// Reads the assertions of one RDN, rewriting the text in place.
/// @param[in,out] count  room in keys and values; then how many were read
/// @return the rest of the text, or null on a syntax error
KXCERT_EXPORT char *kxdn_explode_prefix(char *text, char **keys, char **values, int *count);

#endif
