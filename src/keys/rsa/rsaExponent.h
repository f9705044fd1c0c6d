// Which public exponent a request for a new RSA key means.
#ifndef KXCERT_SRC_KEYS_RSA_RSAEXPONENT_H_
#define KXCERT_SRC_KEYS_RSA_RSAEXPONENT_H_

/// No key is made with exponent 3, at which careless padding has failed so often: whoever asks for it gets
/// 17. Callers rely on the substitution. Held by RsaGeneration.MakesKeysThatTheOpensslCommandAccepts and
/// RsaSelfTest.GenerationCanBeReplaced.
constexpr int UsedRsaExponent(int wanted) { return wanted == 3 ? 17 : wanted; }

#endif
