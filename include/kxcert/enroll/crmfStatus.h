/// @file
/// How a certificate request message stands: codes, their texts, and what CMC calls them.
#ifndef KXCERT_ENROLL_CRMFSTATUS_H_
#define KXCERT_ENROLL_CRMFSTATUS_H_

#include "kxcert/platform/export.h"

enum kxCRMFStatus : int {
  kxCRMF_internalError = -6,
  kxCRMF_popFailed = -5,
  kxCRMF_noPop = -4,
  kxCRMF_noSerialSubjectOrKey = -3,
  kxCRMF_badRequest = -2,
  kxCRMF_badAlg = -1,
  kxCRMF_success = 0,
  kxCRMF_uninitialized = 1,
};

/// Fixed text of any number.
KXCERT_EXPORT const char *CrmfStat2string(int status);

constexpr int kxCMC_noFailInfo = -2;  ///< what CRMFstatus2CMCfailInfo says of success

/// The CMCFailInfo (RFC 2797, 3.4) of a status; of success kxCMC_noFailInfo.
KXCERT_EXPORT int CRMFstatus2CMCfailInfo(int status);

#endif
