/// @file
/// How refusals to make something are told.
#ifndef KXCERT_SRC_CERT_ISSUERESULT_H_
#define KXCERT_SRC_CERT_ISSUERESULT_H_

#include "kxcert/cert/issueCert.h"
#include "kxcert/platform/log.h"

/// One line. @return the status
inline sxIssueStatus sxIssueRefuse(const char *func, sxIssueStatus status) {
  herror_func(0, 0, "%s: %s", func, sxIssueStatusText(status));
  return status;
}

#endif
