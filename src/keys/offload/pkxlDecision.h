// For tests, which decide anew.
#ifndef KXCERT_SRC_KEYS_OFFLOAD_PKXLDECISION_H_
#define KXCERT_SRC_KEYS_OFFLOAD_PKXLDECISION_H_

/// Back to how the process began: nothing decided, usage off, no trouble with the service yet.
void PkxlForgetDecision();
/// The last of these alone.
void PkxlForgetTrouble();

#endif
