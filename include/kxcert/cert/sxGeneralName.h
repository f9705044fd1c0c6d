/// @file
/// General names (RFC 5280, 4.2.1.6): the kinds that the library handles; lists of them and of DNs.
///
/// All are values: copies are deep. One thread changes one object at a time; reading may be shared.
///
/// A text that holds a NUL octet is never a name: the name becomes kind -1, so that "good\0.evil" can
/// pass for "good" neither here nor in code that reads the text up to its NUL. Our choice.
#ifndef KXCERT_CERT_SXGENERALNAME_H_
#define KXCERT_CERT_SXGENERALNAME_H_

#include <cstdio>
#include <utility>

#include "kxcert/foundation/address.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/export.h"

class sxAsnOid;
class sxASN_DNList;
class sxASN_GeneralName;
class sxASN_GeneralNames;
class sxDN;
class sxDNList_imp;
class sxGeneralName_imp;
class sxGeneralNames_imp;
class SxStream;

/// Kinds 3 and 5 are never built from certificates: they become -1, as does what is malformed.
enum sxGNtype : int {
  sxGN_error = -1,
  sxGN_other = 0,
  sxGN_email = 1,
  sxGN_dns = 2,
  sxGN_x400 = 3,
  sxGN_dn = 4,
  sxGN_edi = 5,
  sxGN_uri = 6,
  sxGN_ip = 7,
  sxGN_ip6 = 8,
};

class KXCERT_EXPORT sxGeneralName {
 public:
  sxGeneralName();                                          ///< kind -1; to be assigned to
  sxGeneralName(sxGNtype type, const char *text, int len);  ///< kinds 1, 2, 6; others become -1
  /// Kind 0. The OID is borrowed and outlives the name; it is part of what Equal compares.
  sxGeneralName(const sxAsnOid *oid, const char *text, int len);
  explicit sxGeneralName(const sxDN *dn);    ///< kind 4; without a name kind -1
  explicit sxGeneralName(unsigned long ip);  ///< kind 7; 192.0.2.1 is 0xC0000201
  explicit sxGeneralName(const inx_addr_kxt &ip);
  explicit sxGeneralName(const in6_addr_kxt &ip);
  /// An otherName must be a user principal name; its OID is then &sxASN_id_principalName. Addresses
  /// have 4 or 16 octets. Everything else becomes -1.
  explicit sxGeneralName(const sxASN_GeneralName *name);
  sxGeneralName(const sxGeneralName &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  sxGeneralName(sxGeneralName &&other);
  sxGeneralName &operator=(const sxGeneralName &other);
  sxGeneralName &operator=(sxGeneralName &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~sxGeneralName();
  void Set(const sxGeneralName &other) { *this = other; }

  sxGNtype GetType() const;
  const sxDN *GetDN() const;              ///< lent; null unless kind 4
  unsigned long GetIP() const;            ///< kind 7 as the constructor takes it; else 0
  const in6_addr_kxt *GetIP6() const;     ///< lent; null unless kind 8
  const inx_addr_kxt *GetIPAddr() const;  ///< lent; null unless kind 7
  const sxAsnOid *GetOtherOid() const;    ///< borrowed by the object; null unless kind 0
  /// The name alone; for kind 0 "keyword: text", cut to 1255 characters. Without text for kind -1 and
  /// for a DN that has none.
  sxString GetStr() const;
  /// Kinds 1, 2 and 6 compare octet by octet, case included. Kind 0 wants the very same OID object.
  /// Kinds -1, 3 and 5 equal nothing, themselves included.
  bool Equal(const sxGeneralName *other) const;
  void Sprint(SxStream *out, int indent) const;  ///< one line: "DNS: host.example"
  void Fprint(FILE *out, int indent) const;      ///< null: standard output
  void Herror() const;
  sxGeneralName_imp *GetP() const { return m_imp; }

 private:
  sxGeneralName_imp *m_imp;  // owned, never null
};

class KXCERT_EXPORT sxGeneralNames {
 public:
  sxGeneralNames();
  explicit sxGeneralNames(const sxASN_GeneralNames *names);
  sxGeneralNames(const sxGeneralNames &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  sxGeneralNames(sxGeneralNames &&other);
  sxGeneralNames &operator=(const sxGeneralNames &other);
  sxGeneralNames &operator=(sxGeneralNames &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~sxGeneralNames();
  void Set(const sxGeneralNames &other) { *this = other; }

  int Count() const;
  const sxGeneralName *Get(int i) const;             ///< lent until the list is set; null out of range
  void Add(const sxGeneralName *name);               ///< a copy; null is ignored
  void Add_IfNotExist(const sxGeneralName *name);    ///< adds unless Match finds it
  void Add_IfNotExist(const sxGeneralNames *names);  ///< each in turn
  int Match(const sxGeneralName *name) const;        ///< 1 when a member is Equal, else 0
  int Match(const sxGeneralNames &names) const;      ///< 1 when any matches any, else 0
  /// For kind 0 the OID must be equal by value. Lent, null when there is none.
  const sxGeneralName *GetFirstOfType(sxGNtype type, const sxAsnOid *otherOid = nullptr) const;
  void Set(const sxASN_GeneralNames *names);  ///< null empties
  /// GeneralNames; with @p out null it only measures.
  /// @return octets, or -1 (a member of kind -1, 3 or 5, or no room)
  int DerEncode(unsigned char *out, int outLen) const;
  void Sprint(SxStream *out, const char *title, int indent) const;  ///< title null: none
  void Fprint(FILE *out, const char *title, int indent) const;      ///< out null: standard output
  void Herror(const char *title) const;
  sxGeneralNames_imp *GetP() const { return m_imp; }

 private:
  sxGeneralNames_imp *m_imp;  // owned, never null
};

class KXCERT_EXPORT sxDNList {
 public:
  sxDNList();
  sxDNList(const sxDNList &other);
  /// Leaves a new, empty one behind.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): takes memory
  sxDNList(sxDNList &&other);
  sxDNList &operator=(const sxDNList &other);
  sxDNList &operator=(sxDNList &&other) noexcept {  ///< the other one gets what was here
    std::swap(m_imp, other.m_imp);
    return *this;
  }
  ~sxDNList();
  void Set(const sxDNList &other) { *this = other; }

  int Count() const;
  const sxDN *Get(int i) const;        ///< lent until the list is set; null out of range
  void Add(const sxDN *dn);            ///< a copy; null is ignored
  void Set(const sxASN_DNList *list);  ///< null empties
  /// SEQUENCE OF Name; with @p out null it only measures.
  /// @return octets, or -1 (a member without a name, or no room)
  int DerEncode(unsigned char *out, int outLen) const;
  int DerDecode(const unsigned char *der, int len);                 ///< 0, or -1 with the list as it was
  void Sprint(SxStream *out, const char *title, int indent) const;  ///< title null: none
  void Fprint(FILE *out, const char *title, int indent) const;      ///< out null: standard output
  void Herror(const char *title) const;
  sxDNList_imp *GetP() const { return m_imp; }

 private:
  sxDNList_imp *m_imp;  // owned, never null
};

#endif
