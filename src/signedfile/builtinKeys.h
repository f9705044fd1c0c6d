// The public keys that files are verified with when no other is named.
#ifndef KXCERT_SRC_SIGNEDFILE_BUILTINKEYS_H_
#define KXCERT_SRC_SIGNEDFILE_BUILTINKEYS_H_

/// Each is the text of an attribute set.
extern const char *const kProductionKey;
extern const char *const kTestKey;

#endif
