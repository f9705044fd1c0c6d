/// @file
/// The keys of tests/data/keys.
#ifndef KXCERT_TESTS_SUPPORT_KEYFILES_H_
#define KXCERT_TESTS_SUPPORT_KEYFILES_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/keys/sxPubKey.h"

struct DropPubKey {
  void operator()(sxPubKey *key) const { sxFreePubKey(key); }
};
using PubKeyRef = std::unique_ptr<sxPubKey, DropPubKey>;

/// Path of "rsa2048.pem", "prime256v1.pem", ...
std::string KeyFile(const std::string &name);

/// The octets between the marks of a file with one PEM block. The running test fails without them.
std::vector<unsigned char> ReadPem(const std::string &path);

/// RSA: 1024, 2048, 3072 or 4096 bits.
PubKeyRef RsaTestKey(int bits);
PubKeyRef EcTestKey(const std::string &curve);
/// Either: "rsa2048", "prime256v1".
PubKeyRef TestKey(const std::string &name);

/// The key's octets, none when it does not export them; and a key of the public ones alone.
std::vector<unsigned char> Exported(sxPubKey &key, sxPK_Format format);
PubKeyRef PublicPart(sxPubKey &key);

#endif
