/// @file
/// Certification requests (PKCS #10) from input, each with the place it came from.
#ifndef KXCERT_TOOLS_KXCERT_REQUESTINPUT_H_
#define KXCERT_TOOLS_KXCERT_REQUESTINPUT_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/cert/sxCertRequest.h"

class Report;

struct FreeRequest {
  void operator()(sxCertRequest *request) const { sxCertRequest_Free(request); }
};
using RequestRef = std::unique_ptr<sxCertRequest, FreeRequest>;

struct FoundRequest {
  RequestRef request;  ///< OK; its signature is not looked at
  std::string where;   ///< file, and line for PEM; printable ASCII, in one line whatever the file's name
};

/// Every request of one file. What else is in the file is a note; what cannot be read, or a file without requests, is a
/// problem.
std::vector<FoundRequest> ReadRequests(const std::string &path, Report &report);
/// The only one of a file, when its sender has the key that it is about.
/// @return none: a problem, which has been told
FoundRequest ReadProvenRequest(const std::string &path, Report &report);

/// Whether its sender has the key that it is about.
/// @param[out] reason  why not
bool IsProven(const sxCertRequest &request, std::string *reason);

#endif
