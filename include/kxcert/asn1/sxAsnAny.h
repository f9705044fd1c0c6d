/// @file
/// Open types: sxAsnAny, whose class the registries select, and sxAsnRawAny, which keeps octets.
///
/// Two process-wide registries map an OBJECT IDENTIFIER or an INTEGER to a prototype. They are filled
/// while the library is loaded and only read afterwards, from any thread.
#ifndef KXCERT_ASN1_SXASNANY_H_
#define KXCERT_ASN1_SXASNANY_H_

#include <memory>

#include "kxcert/asn1/octetStore.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/asn1/sxAsnPrimitive.h"

/// One element of any type, kept as its octets (identifier and length included).
class KXCERT_EXPORT sxAsnRawAny : public sxAsnPrimitiveOf<sxAsnRawAny> {
 public:
  sxAsnRawAny() = default;
  sxAsnRawAny(const sxAsnRawAny &other);
  sxAsnRawAny(sxAsnRawAny &&other) noexcept = default;
  sxAsnRawAny &operator=(const sxAsnRawAny &other);
  sxAsnRawAny &operator=(sxAsnRawAny &&other) noexcept = default;

  /// A copy; null or a negative length: no data.
  void SetData(const unsigned char *octets, int len);
  const unsigned char *Data() const { return m_octets.Data(); }
  int Len() const { return m_octets.Len(); }

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  /// Takes exactly one complete element; indefinite lengths may nest and are counted, not recursed.
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  int BEnc(sxAsnWriteBuf &buf) override;  ///< -1 without data
  int Describe(SxStream &out, int indent) const override;

 private:
  sxOctets m_octets;
};

/// Entry of a registry.
struct sxAnyInfo {
  int anyId;        ///< number given at installation
  sxAsnOid oid;     ///< key in the registry by OBJECT IDENTIFIER
  sxAsnInt number;  ///< key in the registry by INTEGER
  std::unique_ptr<sxAsnType> prototype;
};

class KXCERT_EXPORT sxAsnAny : public sxAsnType {
 public:
  sxAsnAny() = default;
  explicit sxAsnAny(const sxAsnOid &type);           ///< an empty value of the selected class
  sxAsnAny(const sxAsnOid &type, sxAsnType *value);  ///< adopts the value
  explicit sxAsnAny(const sxAsnInt &type);
  sxAsnAny(const sxAsnInt &type, sxAsnType *value);
  sxAsnAny(const sxAsnAny &other) : sxAsnType() { CopyFrom(other); }
  sxAsnAny &operator=(const sxAsnAny &other) {
    CopyFrom(other);
    return *this;
  }

  /// Select the class that BDec will make. An unknown key leaves none: raw octets are then kept.
  void SetTypeByOid(const sxAsnOid &type);
  void SetTypeByInt(const sxAsnInt &type);

  sxAsnType *Value() const { return m_value.get(); }  ///< lent, may be null
  void SetValue(sxAsnType *value) {                   ///< adopts; its own value: no change
    if (value != m_value.get()) m_value.reset(value);
  }
  const sxAnyInfo *Selected() const { return m_info; }  ///< lent, may be null

  /// The first installation of a key wins; a later prototype is logged and destroyed. Only while the
  /// library is loaded, or from one thread before any decoding.
  static void InstallAnyByOid(const sxAsnOid &oid, int anyId, sxAsnType *prototype);
  static void InstallAnyByInt(const sxAsnInt &number, int anyId, sxAsnType *prototype);
  static const sxAnyInfo *FindByOid(const sxAsnOid &oid);  ///< lent, null when unknown
  static const sxAnyInfo *FindByInt(const sxAsnInt &number);

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
  const char *TypeName() const override { return Info()->name; }
  sxAsnType *GetType(const char *name) override;  ///< itself, else the value's answer
  sxAsnType *Clone() const override { return Info()->create(); }
  sxAsnType *Dup() const override;
  /// Adds the octets that the value took of the buffer, whatever its class counts.
  int BDec(sxAsnReadBuf &buf, int &bytesDecoded) override;
  /// The same, but an element that the selected class does not decode is kept as raw octets.
  int BDecOrKeepRaw(sxAsnReadBuf &buf, int &bytesDecoded);
  int BEnc(sxAsnWriteBuf &buf) override;
  int Describe(SxStream &out, int indent) const override;
  int CopyFrom(const sxAsnType &other) override;

 private:
  const sxAnyInfo *m_info = nullptr;  // not owned
  std::unique_ptr<sxAsnType> m_value;
};

#endif
