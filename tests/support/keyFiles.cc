#include "support/keyFiles.h"

#include <gtest/gtest.h>

#include <fstream>

#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/foundation/base64.h"

std::string KeyFile(const std::string &name) { return KXCERT_TEST_DATA "/keys/" + name; }

std::vector<unsigned char> ReadPem(const std::string &path) {
  std::ifstream file(path);
  std::string body;
  for (std::string line; std::getline(file, line);)  if (line.rfind("-----", 0) != 0) body += line + "\n";
  int len = 0;
  unsigned char *octets = Base64Decode(body.data(), static_cast<int>(body.size()), &len);
  std::vector<unsigned char> found(octets, octets + len);
  Base64FreeBuffer(octets);
  EXPECT_FALSE(found.empty()) << path;
  return found;
}

PubKeyRef RsaTestKey(int bits) {
  const auto der = ReadPem(KeyFile("rsa" + std::to_string(bits) + ".pem"));
  PubKeyRef key(sxImportRSAKey(sxPK_private, der.data(), static_cast<int>(der.size())));
  EXPECT_NE(nullptr, key);
  return key;
}

PubKeyRef EcTestKey(const std::string &curve) {
  const auto der = ReadPem(KeyFile(curve + ".pem"));
  PubKeyRef key(sxImportECDSAKey(sxPK_private, der.data(), static_cast<int>(der.size()), 0));
  EXPECT_NE(nullptr, key);
  return key;
}

PubKeyRef TestKey(const std::string &name) {
  return name[0] == 'r' ? RsaTestKey(std::stoi(name.substr(3))) : EcTestKey(name);
}

std::vector<unsigned char> Exported(sxPubKey &key, sxPK_Format format) {
  const int len = key.Export(format, nullptr, 0);
  if (len <= 0) return {};
  std::vector<unsigned char> octets(static_cast<size_t>(len));
  EXPECT_EQ(len, key.Export(format, octets.data(), len));
  return octets;
}

PubKeyRef PublicPart(sxPubKey &key) {
  const auto octets = Exported(key, sxPK_public);
  const auto len = static_cast<int>(octets.size());
  if (key.algorithm() == sxPK_RSA) return PubKeyRef(sxImportRSAKey(sxPK_public, octets.data(), len));
  for (const int nid : {415, 715, 716}) {
    if (sxPubKey *found = sxImportECDSAKey(sxPK_public, octets.data(), len, nid)) return PubKeyRef(found);
  }
  return nullptr;
}
