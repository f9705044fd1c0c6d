/// @file
/// Black lists: serial numbers of certificates that validation refuses, whatever their chain says.
///
/// The entries are those of a CRL under construction. Shared by a count of its own that starts at 1.
/// The free that leaves 1 or less deletes the list, so a list that was attached to parameters once
/// goes with the first free. Any thread may save and free; Add is for one thread alone. IsExist and Size
/// only read.
#ifndef KXCERT_TRUST_SXCERT_BLACK_LIST_H_
#define KXCERT_TRUST_SXCERT_BLACK_LIST_H_

#include <cstdio>

#include "kxcert/platform/export.h"

class sxAsnInt;
class sxCert;
class sxcert_black_list_imp;
class sxString;
class SxStream;

class KXCERT_EXPORT sxcert_black_list {
 public:
  explicit sxcert_black_list(int numExpected = 0);  ///< as sxCRL_Encoder takes it
  sxcert_black_list(const sxcert_black_list &) = delete;
  sxcert_black_list &operator=(const sxcert_black_list &) = delete;

  int Add(const sxAsnInt &serial);  ///< a copy, dated now; always 0
  /// Adds the number with these content octets (two's complement, big-endian), two digits each. A
  /// positive serial whose first octet is 80 or more needs its leading 00: "ff12" is another, negative
  /// number. Texts of this library that name a serial write it so.
  /// @return 0 or -1
  int AddFromString(const sxString &hex);
  bool IsExist(const sxCert &cert) const;  ///< by its serial number
  int Size() const;

  /// The number of entries and the first hundred of them, as a CRL's.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

  static int Diff(const sxcert_black_list *a, const sxcert_black_list *b);  ///< always 0, by intent
  static int save(sxcert_black_list *list);                                 ///< the new count; -2 for null
  static int free(sxcert_black_list *list);                                 ///< the new count; 0 for null

 private:
  ~sxcert_black_list();

  sxcert_black_list_imp *m_imp;  // owned, never null
};

/// Reads exactly 2 * @p len characters, each pair as scanf's "%02x" does: a sign or a space may stand
/// for a leading zero. @return 0, or -1 with @p out partly written
KXCERT_EXPORT int sxcert_hex_to_bin(const char *hex, unsigned char *out, int len);

#endif
