#include "kxcert/enroll/crmfStatus.h"

#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"

namespace {

struct StatusRow {
  int status;
  const char *text;
  int failInfo;
};
constexpr StatusRow kStatuses[] = {
    {kxCRMF_internalError, "CRMF STATUS Internal Error.", sxASN_CMCFailInfo::internalCAError},
    {kxCRMF_popFailed, "CRMF STATUS Pop Failed.", sxASN_CMCFailInfo::popFailed},
    {kxCRMF_noPop, "CRMF STATUS No Pop.", sxASN_CMCFailInfo::popRequired},
    {kxCRMF_noSerialSubjectOrKey, "CRMF STATUS No Serial Subject or Key.", sxASN_CMCFailInfo::badRequest},
    {kxCRMF_badRequest, "CRMF STATUS Bad Request.", sxASN_CMCFailInfo::badRequest},
    {kxCRMF_badAlg, "CRMF STATUS Bad Alg.", sxASN_CMCFailInfo::badAlg},
    {kxCRMF_success, "CRMF STATUS SUCCESS.", kxCMC_noFailInfo},
    {kxCRMF_uninitialized, "CRMF STATUS UnInitialized.", sxASN_CMCFailInfo::internalCAError},
};

const StatusRow *FindRow(int status) {
  for (const StatusRow &row : kStatuses) {
    if (row.status == status) return &row;
  }
  return nullptr;
}

}  // namespace

const char *CrmfStat2string(int status) {
  const StatusRow *const row = FindRow(status);
  return row != nullptr ? row->text : "Unknown CRMF status, Internal Error.";
}

int CRMFstatus2CMCfailInfo(int status) {
  const StatusRow *const row = FindRow(status);
  return row != nullptr ? row->failInfo : static_cast<int>(sxASN_CMCFailInfo::internalCAError);
}
