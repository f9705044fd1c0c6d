#include "builtinKeys.h"

#define KXCERT_P521_KEY(point) \
  "(:curve (:NID (716) :comment (\"NIST/SECG curve over a 521 bit prime field\")) :public (" point "))"

// A deployment puts its own point here when it configures the build: -DKXCERT_SIGNED_FILE_POINT=04...
// Nobody has the private part of this one.
#ifndef KXCERT_SIGNED_FILE_POINT
#define KXCERT_SIGNED_FILE_POINT                                                                         \
  "0401ec943a231f7d4ec1f9b1c5a860bb1247876c8afe991d4678483c8c70dd1af23562c51e53c616abb0d586ac126c758b32" \
  "c34dd30a181b1b41dbab53ee146837db88013e7bf96dd234602298e55f95f348319de1e6a9c4d3c5e0ba8fd42cdd321714df" \
  "d3f4669ab363a625947a660e685c9afb0e341d6212f53acc427c344ef54acd32e5"
#endif

const char *const kProductionKey = KXCERT_P521_KEY(KXCERT_SIGNED_FILE_POINT);

// Its private part is among the tests' data and protects nothing.
const char *const kTestKey = KXCERT_P521_KEY(
    "0400b6eeebdd4a2e5111abeadc8c47b537314ca3ef40f9504cebd6b56c1fc5bb262831250ea3518b14652f11a83f3cdb7cb9"
    "7b6a82d78e6650d255453bf77d96cf2b51009d74d8c4570e52430c9b8ca2d6fdf61fe5c97f5d90ed7d7050cf5ce19357a6c6"
    "06e8cd8ac8667787df44148ad8550dd04ea6cbf0b2a5c594eadd302fabf550c33f");
