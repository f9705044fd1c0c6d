/// @file
/// Settings of one validation. A value that shares its black list; no locking.
#ifndef KXCERT_TRUST_VALIDATEPARAMS_H_
#define KXCERT_TRUST_VALIDATEPARAMS_H_

#include <cstdint>
#include <cstdio>

#include "kxcert/platform/export.h"

/// Critical extensions that a caller processes itself, so that they count as known.
enum sxProcessedExtensions : unsigned {
  sxProcesses_nameConstraints = 1,
  sxProcesses_policies = 2,  ///< policies, mappings, policy constraints, inhibit any policy
};

class sxcert_black_list;
class SxStream;
class ValidateParams_imp;

constexpr int kGraceDefault = -1;            ///< start: the process-wide period; end: none
constexpr int64_t kPresentTime = INT64_MIN;  ///< the clock's, whenever somebody asks

class KXCERT_EXPORT ValidateParams {
 public:
  ValidateParams();
  ValidateParams(int crl_validation, int ocsp_validation, int cert_start_grace, int cert_end_grace, int crl_start_grace,
                 int crl_end_grace, int check_this_upd, int check_next_upd, int crl_size_validation,
                 int write_crl_to_web);
  ValidateParams(const ValidateParams &other);
  ValidateParams &operator=(const ValidateParams &other);
  ~ValidateParams();
  void Set(const ValidateParams &other);  ///< all fields; the black list is not saved again

  bool CRL_validation() const;   ///< consult CRLs
  int OCSP_validation() const;   ///< consult OCSP responders
  int Cert_start_grace() const;  ///< seconds before notBefore
  int Cert_end_grace() const;    ///< seconds after notAfter
  int Crl_start_grace() const;   ///< seconds before a CRL's thisUpdate
  int Crl_end_grace() const;     ///< seconds after a CRL's nextUpdate
  bool Check_this_upd() const;
  bool Check_next_upd() const;
  int Write_crl_to_web() const;
  int CRL_size_validation() const;           ///< refuse CRLs that are too big
  sxcert_black_list *Get_BlackList() const;  ///< lent, or null
  /// What dates are compared with, in seconds since 1970-01-01 00:00 UTC: what was set, or the clock's.
  int64_t Time() const;
  bool HasTime() const;        ///< it was set
  unsigned Processed() const;  ///< of sxProcessedExtensions

  void Set_crl_validation(int on);
  void Set_ocsp_validation(int value);
  void Set_cert_start_grace(int sec);
  void Set_cert_end_grace(int sec);
  void Set_crl_start_grace(int sec);
  void Set_crl_end_grace(int sec);
  void Set_check_this_upd(int on);
  void Set_check_next_upd(int on);
  void Set_write_crl_to_web(int value);
  void Set_crl_size_validation(int value);
  void Set_time(int64_t sec);  ///< kPresentTime: the clock's again
  void Set_processed(unsigned extensions);
  /// Stores the pointer and calls sxcert_black_list::save on it. Nothing here frees it again: the
  /// caller does, when no parameters carry it any more.
  void Set_BlackList(sxcert_black_list *list);

  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same text to the debug log

 private:
  ValidateParams_imp *m_imp;  // owned, never null
};

KXCERT_EXPORT ValidateParams *ValidateParams_New();                                     ///< for ValidateParams_Free
KXCERT_EXPORT void ValidateParams_Set(ValidateParams *to, const ValidateParams *from);  ///< null: nothing
KXCERT_EXPORT void ValidateParams_Free(ValidateParams *params);

#endif
