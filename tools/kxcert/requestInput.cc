#include "requestInput.h"

#include "input.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/keys/keyCodes.h"
#include "logLines.h"
#include "report.h"
#include "visibleText.h"

std::vector<FoundRequest> ReadRequests(const std::string &path, Report &report) {
  std::vector<FoundRequest> found;
  ReadObjects(path, sxLoad_requests, "certificate request", report, [&found](const sxLoadItem &item) {
    sxCertRequest_Save(item.request);
    found.push_back({RequestRef(item.request), VisibleLine(item.place.Text())});
  });
  return found;
}

bool IsProven(const sxCertRequest &request, std::string *reason) {
  const LogLines log;
  const int rc = request.VerifySig();
  if (rc == 0) return true;
  *reason = "its signature is not one of the key in it";
  if (rc != kKeyUnequal) *reason += log.Reason();
  return false;
}

FoundRequest ReadProvenRequest(const std::string &path, Report &report) {
  std::vector<FoundRequest> found = ReadRequests(path, report);
  if (found.size() > 1) report.Problem(kExitInputError, InputName(path), "several requests; one is needed");
  if (found.size() != 1) return {};
  std::string reason;
  if (IsProven(*found.front().request, &reason)) return std::move(found.front());
  report.Problem(kExitNo, found.front().where, "refused: " + reason);
  return {};
}
