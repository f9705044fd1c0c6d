// Tests of an RSA key: of one just made, and of the operations themselves.
#ifndef KXCERT_SRC_KEYS_RSA_RSASELFTEST_H_
#define KXCERT_SRC_KEYS_RSA_RSASELFTEST_H_

class sxPubKey;

/// Whether a new key's parts belong together: it verifies what it signs and, if it has all of
/// kKeyFlagsTestCipher, decrypts what it encrypts.
bool IsConsistentKey(sxPubKey &key);

/// What kxTestRSA does with its key, which must have 1024 bits and its private part.
bool PassesSelfTest(sxPubKey &key);

#endif
