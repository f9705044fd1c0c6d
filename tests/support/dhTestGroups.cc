#include "support/dhTestGroups.h"

#include "kxcert/keys/dhGroups.h"
#include "kxcert/keys/dhPreCompute.h"

std::string Num::Hex() const {
  char *text = BN_bn2hex(n);
  const std::string hex(text);
  OPENSSL_free(text);
  return hex;
}

sxset DhObject(const std::string &name, int number, const std::string &modHex, int privBits) {
  sxset object(name.c_str());
  object.SetText("type", "IKE_DH_parameters");
  object.SetText("mod", modHex.c_str());
  object.SetInt("modsize", static_cast<int>(modHex.size()) * 4);
  object.SetText("root", "02");
  object.SetInt("rootsize", 2);
  object.SetInt("DH_group_number", number);
  object.SetInt("private_key_length", privBits);
  return object;
}

std::vector<sxset> UsualDhGroups() {
  return {DhObject("Group 2 (1024 bit)", 2, DhModulusHex(1024), 160),
          DhObject("Group 14 (2048 bit)", 14, DhModulusHex(2048), 320), DhObject("toy", 40000, "010001", 24)};
}

std::string DhModulusHex(int bits) {
  if (bits == 768) return Num(BN_get_rfc2409_prime_768(nullptr)).Hex();
  return Num(bits == 1024 ? BN_get_rfc2409_prime_1024(nullptr) : BN_get_rfc3526_prime_2048(nullptr)).Hex();
}

int LoadDhGroups(const std::vector<sxset> &groups) {
  std::vector<const sxset *> array;
  for (const sxset &group : groups) array.push_back(&group);
  array.push_back(nullptr);
  return LoadAllDHGroups(array.data());
}

DhTable::~DhTable() {
  DHPreCList::Destroy();
  DestroyDHP();
}
