/// @file
/// Controls of enrollment messages: of certificate requests (RFC 4211, 6) and of CMC (RFC 2797, 5).
///
/// A control is an object of its kind; a list holds each with the identifier of its type. Copies are deep. No
/// locking: one thread uses a list at a time.
///
///   Controls ::= SEQUENCE OF SEQUENCE { type OBJECT IDENTIFIER, value ANY DEFINED BY type }
#ifndef KXCERT_ENROLL_KXCONTROLS_H_
#define KXCERT_ENROLL_KXCONTROLS_H_

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"

class sxASN_CertId;
class sxASN_CMCStatusInfo;
class sxASN_Controls;
class sxAsnType;
class sxCert;
class SxStream;

extern KXCERT_EXPORT const sxAsnOid sxASN_id_regCtrl_oldCertID;   ///< RFC 4211, 6.5
extern KXCERT_EXPORT const sxAsnOid sxASN_id_cmc_cMCStatusInfo;   ///< RFC 2797, 5
extern KXCERT_EXPORT const sxAsnOid sxASN_id_cmc_identification;  ///< likewise
extern KXCERT_EXPORT const sxAsnOid sxASN_id_cmc_identityProof;   ///< likewise

class KXCERT_EXPORT kxControl {
 public:
  virtual ~kxControl() = default;
  virtual kxControl *Clone() const = 0;                      ///< a deep copy, for delete
  virtual sxAsnType *NewValue() const = 0;                   ///< what stands behind the type, for delete
  virtual void Sprint(SxStream *out, int indent) const = 0;  ///< one line or more; printable ASCII
  void Fprint(FILE *out, int indent) const;                  ///< null: standard output
  void Herror() const;                                       ///< the same text to the debug log

 protected:
  kxControl() = default;
  kxControl(const kxControl &) = default;
  kxControl &operator=(const kxControl &) = default;
};

/// Of what this request, or a part of it, became.
class KXCERT_EXPORT kxCMCStatusInfo : public kxControl {
 public:
  /// @param status    a CMCStatus
  /// @param failInfo  a CMCFailInfo (see CRMFstatus2CMCfailInfo); a negative one is absent
  /// @param text      UTF-8; null is absent
  kxCMCStatusInfo(int status, int failInfo, const char *text);
  explicit kxCMCStatusInfo(const sxASN_CMCStatusInfo &tree);
  kxCMCStatusInfo(const kxCMCStatusInfo &other);
  kxCMCStatusInfo &operator=(const kxCMCStatusInfo &other);
  ~kxCMCStatusInfo() override;

  void AddBodyPart(int bodyPartId);  ///< that the status is about
  int CMCStatus() const;
  int FailInfo() const;              ///< -1 when absent
  std::string StatusString() const;  ///< the peer's octets, whatever they are
  const sxASN_CMCStatusInfo &Tree() const { return *m_tree; }

  kxControl *Clone() const override { return new kxCMCStatusInfo(*this); }
  sxAsnType *NewValue() const override;
  void Sprint(SxStream *out, int indent) const override;

 private:
  std::unique_ptr<sxASN_CMCStatusInfo> m_tree;
};

/// Who asks: the name under which a shared secret is known.
class KXCERT_EXPORT kxCMCIdentification : public kxControl {
 public:
  explicit kxCMCIdentification(const std::string &name) : m_name(name) {}  ///< UTF-8

  const std::string &Name() const { return m_name; }  ///< the peer's octets, whatever they are

  kxControl *Clone() const override { return new kxCMCIdentification(*this); }
  sxAsnType *NewValue() const override;
  void Sprint(SxStream *out, int indent) const override;

 private:
  std::string m_name;
};

/// The MAC that shows knowledge of that secret. Compare it as a sensitive buffer.
class KXCERT_EXPORT kxCMCIdentProof : public kxControl {
 public:
  explicit kxCMCIdentProof(const kxBinBuf &proof) : m_proof(proof) {}

  const kxBinBuf &Proof() const { return m_proof; }

  kxControl *Clone() const override { return new kxCMCIdentProof(*this); }
  sxAsnType *NewValue() const override;
  void Sprint(SxStream *out, int indent) const override;

 private:
  kxBinBuf m_proof;
};

/// The certificate that the new one replaces.
class KXCERT_EXPORT kxOldCertId : public kxControl {
 public:
  explicit kxOldCertId(const sxCert &cert);  ///< which is OK
  explicit kxOldCertId(const sxASN_CertId &tree);
  kxOldCertId(const kxOldCertId &other);
  kxOldCertId &operator=(const kxOldCertId &other);
  ~kxOldCertId() override;

  const sxGeneralName &Issuer() const { return m_issuer; }  ///< of kind -1 when it is none that is known here
  const sxAsnInt *SerialNum() const;                        ///< lent; null when a caller's tree has none

  kxControl *Clone() const override { return new kxOldCertId(*this); }
  sxAsnType *NewValue() const override;
  void Sprint(SxStream *out, int indent) const override;

 private:
  std::unique_ptr<sxASN_CertId> m_tree;
  sxGeneralName m_issuer;
};

/// Any other one, as it came.
class KXCERT_EXPORT kxOtherControl : public kxControl {
 public:
  explicit kxOtherControl(const sxAsnType &value);  ///< a copy
  kxOtherControl(const kxOtherControl &other);
  kxOtherControl &operator=(const kxOtherControl &other);
  ~kxOtherControl() override;

  kxControl *Clone() const override { return new kxOtherControl(*this); }
  sxAsnType *NewValue() const override;
  void Sprint(SxStream *out, int indent) const override;

 private:
  std::unique_ptr<sxAsnType> m_value;
};

class KXCERT_EXPORT kxControlsList {
 public:
  struct Item {
    sxAsnOid type;
    std::unique_ptr<kxControl> control;  ///< never null
    Item *next = nullptr;
  };

  kxControlsList() = default;
  kxControlsList(const kxControlsList &other) { *this += other; }
  kxControlsList(kxControlsList &&other) noexcept
      : m_first(std::exchange(other.m_first, nullptr)), m_last(std::exchange(other.m_last, nullptr)) {}
  kxControlsList &operator=(const kxControlsList &other);
  kxControlsList &operator=(kxControlsList &&other) noexcept;  ///< the other one gets what was here
  ~kxControlsList() { Clear(); }

  void Add(const sxAsnOid &type, kxControl *control);  ///< adopts; null adds nothing
  const kxControl *Find(const sxAsnOid &type) const;   ///< the first one, lent; null when absent
  const Item *First() const { return m_first; }        ///< lent; null when empty
  bool IsEmpty() const { return m_first == nullptr; }
  void Clear();
  kxControlsList &operator+=(const kxControlsList &other);  ///< appends copies; of itself, too

  /// Replaces everything by a message's controls, each as the kind that its type says; what is malformed or of
  /// another type is a kxOtherControl. Null: none.
  void Set(const sxASN_Controls *controls);
  sxASN_Controls *NewTree() const;  ///< for delete; null for an empty list

  /// Each control behind the line "Control <type>:".
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

 private:
  Item *m_first = nullptr;  // owned, in order
  Item *m_last = nullptr;
};

#endif
