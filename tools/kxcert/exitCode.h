/// @file
/// Exit codes: what scripts read.
#ifndef KXCERT_TOOLS_KXCERT_EXITCODE_H_
#define KXCERT_TOOLS_KXCERT_EXITCODE_H_

/// In order of gravity: of several, the highest one counts.
enum ExitCode : int {
  kExitYes = 0,  ///< done; the answer is yes
  kExitNo = 1,   ///< not valid, not equal, not found
  kExitUsage = 2,
  kExitInputError = 3,  ///< input that cannot be read or is not what it should be; output that fails
  kExitInternal = 4,
};

#endif
