#include "trust/strict/datesAsWritten.h"

#include <optional>

#include "kxcert/cert/certTime.h"
#include "kxcert/foundation/sxString.h"
#include "trust/rules.h"
#include "trust/strict/strictPath.h"

StrictOutcome BegunAsWritten(StrictPath &path, int level) {
  const std::optional<int64_t> notBefore = sxReadTime(path.At(level).Get().notBefore);
  if (!notBefore) return StrictFails("notBefore", "is no date");
  if (path.Now() >= *notBefore - sxStartGrace(path.Params())) return StrictPasses();
  return StrictFails("not valid before", sxTimeText(*notBefore).getstr());
}

StrictOutcome NotOverAsWritten(StrictPath &path, int level) {
  const std::optional<int64_t> notAfter = sxReadTime(path.At(level).Get().notAfter);
  if (!notAfter) return StrictFails("notAfter", "is no date");
  if (path.Now() <= *notAfter + sxEndGrace(path.Params())) return StrictPasses();
  return StrictFails("not valid after", sxTimeText(*notAfter).getstr());
}
