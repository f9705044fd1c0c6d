#include "trust/strict/datesAsWritten.h"

#include "kxcert/cert/certTime.h"
#include "kxcert/foundation/sxString.h"
#include "trust/rules.h"
#include "trust/strict/strictPath.h"

namespace {

constexpr int64_t kUnreadable = -1;

}  // namespace

StrictOutcome BegunAsWritten(StrictPath &path, int level) {
  const int64_t notBefore = sxTimeSeconds(path.At(level).Get().notBefore);
  if (notBefore == kUnreadable) return StrictFails("notBefore", "is no date");
  if (path.Now() >= notBefore - sxStartGrace(path.Params())) return StrictPasses();
  return StrictFails("not valid before", sxTimeText(notBefore).getstr());
}

StrictOutcome NotOverAsWritten(StrictPath &path, int level) {
  const int64_t notAfter = sxTimeSeconds(path.At(level).Get().notAfter);
  if (notAfter == kUnreadable) return StrictFails("notAfter", "is no date");
  if (path.Now() <= notAfter + sxEndGrace(path.Params())) return StrictPasses();
  return StrictFails("not valid after", sxTimeText(notAfter).getstr());
}
