#include "dhSet.h"

#include <cstring>
#include <memory>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/dhGroups.h"

static_assert(kMaxDhModulusLen <= kMaxSetNumberLen, "every key has a set form");

sxset *DhNumbersToSet(const DhNumbers &numbers, bool withPrivate) {
  auto set = std::make_unique<sxset>();
  set->SetText("group", numbers.groupName.c_str());
  set->SetInt("private_key_length", numbers.privBits);
  if ((withPrivate && numbers.x != nullptr && sxBN2SetValue(set.get(), "private", numbers.x.get()) != 0) ||
      sxBN2SetValue(set.get(), "public", numbers.y.get()) != 0 ||
      sxBN2SetValue(set.get(), "generator", numbers.g.get()) != 0 ||
      sxBN2SetValue(set.get(), "modulus", numbers.p.get()) != 0) {
    return nullptr;
  }
  return set.release();
}

const char *DhNumbersFromSet(const sxset &set, DhNumbers *numbers) {
  const char *groupName = set.FindText("group");
  if (groupName == nullptr || std::strlen(groupName) > static_cast<size_t>(kMaxDhGroupNameLen)) {
    return "group name is missing or too long";
  }
  numbers->groupName = groupName;
  numbers->p.reset(sxSetValue2BN(&set, "modulus"));
  numbers->g.reset(sxSetValue2BN(&set, "generator"));
  numbers->y.reset(sxSetValue2BN(&set, "public"));
  if (set.Find("private") != nullptr) {
    numbers->x.reset(sxSetValue2BN(&set, "private"));
    if (numbers->x == nullptr) return "private value cannot be read";
    BN_set_flags(numbers->x.get(), BN_FLG_CONSTTIME);
  }
  if (const char *reason = WhyNoDhKey(*numbers)) return reason;

  long long privBits = 0;
  if (!set.FindInt("private_key_length", &privBits) || privBits < 1 ||
      privBits > 8LL * BN_num_bytes(numbers->p.get())) {
    return "private key length is missing, or not from 1 to the modulus";
  }
  numbers->privBits = static_cast<int>(privBits);
  if (numbers->x == nullptr || DhValuesFit(*numbers)) return nullptr;
  return "private value does not belong to the public one";
}
