// Configuration objects that describe Diffie-Hellman groups.
#include <cstring>
#include <iterator>

#include "dhGroupTable.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/dhGroups.h"
#include "kxcert/platform/log.h"

namespace {

constexpr const char *kFunc = "LoadDHGroup";

// Groups of older protocols. Their names are all there are, and fix the private length.
struct SpecialGroup {
  const char *type;
  const char *name;
  int privBits;
};
constexpr SpecialGroup kSpecialGroups[] = {
    {"SKIP_DH_parameters", "skip512", 128},
    {"SKIP_DH_parameters", "skip1024", 400},
    {"SKIP_DH_parameters", "skip2048", 400},
    {"SXZ_DH_parameters", "sxz512", 128},
};
struct SpecialType {
  const char *type;
  const char *refusal;
};
constexpr SpecialType kSpecialTypes[] = {
    {"SKIP_DH_parameters", "%s: SKIP group: %s not supported"},
    {"SXZ_DH_parameters", "%s: SXZ group: %s not supported"},
};

bool Fail(const char *fmt) {
  herror_func(0, 0, fmt, kFunc);
  return false;
}

bool ReadNumber(const sxset &object, const char *name, std::vector<unsigned char> *octets) {
  const char *text = object.FindText(name);
  const size_t textLen = text == nullptr ? 0 : std::strlen(text);
  if (textLen == 0 || textLen > 2 * static_cast<size_t>(kMaxDhModulusLen) || !object.FindBinary(name, octets)) {
    herror_func(0, 0, "%s: %s has %zu characters, not 1 to %d octets in hexadecimal", kFunc, name, textLen,
                kMaxDhModulusLen);
    return false;
  }
  return true;
}

bool ReadName(const sxset &object, std::string *name) {
  *name = object.Name();
  if (name->empty()) return Fail("%s: Failed to get group name from group");
  if (name->size() <= static_cast<size_t>(kMaxDhGroupNameLen)) return true;
  herror_func(0, 0, "%s: a name of %zu bytes, at most %d are read", kFunc, name->size(), kMaxDhGroupNameLen);
  return false;
}

// A size is given in bits and compared in octets, so that a modulus whose top bits are 0 loads; by
// intent. Held by the rows "modsize" of data/keys/dhObjects.txt.
bool CheckSize(const sxset &object, const char *name, size_t numOctets, const char *missing, const char *differs) {
  long long bits = 0;
  if (!object.FindInt(name, &bits)) return Fail(missing);
  if (DhSizeMatches(bits, numOctets)) return true;
  herror_func(0, 0, differs, kFunc, bits, static_cast<int>(numOctets) * 8);
  return false;
}

bool ReadIkeMembers(const sxset &object, DhGroup *group) {
  if (!CheckSize(object, "modsize", group->mod.size(), "%s: Error in reading modsize from DH group",
                 "%s: modsize in DB: %lld doesn't match actual modsize: %d") ||
      !CheckSize(object, "rootsize", group->gen.size(), "%s: Error in reading rootsize from DH group",
                 "%s: gensize in DB: %lld doesn't match actual gensize: %d")) {
    return false;
  }
  long long number = 0, privBits = 0;
  if (!object.FindInt("DH_group_number", &number) || number < 0 || number > kMaxIkeGroupNumber) {
    return Fail("%s: Failed to get group number from group");
  }
  // What is longer than the modulus cannot be drawn for it.
  if (!object.FindInt("private_key_length", &privBits) || privBits < 1 ||
      privBits > 8 * static_cast<long long>(group->mod.size())) {
    return Fail("%s: Failed to get private key length from group");
  }
  group->number = static_cast<int>(number);
  group->privBits = static_cast<int>(privBits);
  return true;
}

bool FixSpecialMembers(const SpecialType &type, DhGroup *group) {
  for (const SpecialGroup &special : kSpecialGroups) {
    if (std::strcmp(special.type, type.type) == 0 && group->name == special.name) {
      group->privBits = special.privBits;
      return true;
    }
  }
  herror_func(0, 0, type.refusal, kFunc, group->name.c_str());
  return false;
}

}  // namespace

bool DhSizeMatches(long long bits, size_t numOctets) {
  return bits > 0 && bits <= 8LL * kMaxDhModulusLen && static_cast<size_t>((bits + 7) / 8) == numOctets;
}

bool ReadDhGroup(const sxset &object, DhGroup *group) {
  if (!ReadNumber(object, "mod", &group->mod) || !ReadNumber(object, "root", &group->gen) ||
      !ReadName(object, &group->name)) {
    return false;
  }
  const char *type = object.FindText("type");
  if (type == nullptr) type = "";
  if (std::strcmp(type, "IKE_DH_parameters") == 0) return ReadIkeMembers(object, group);
  for (const SpecialType &special : kSpecialTypes) {
    if (std::strcmp(type, special.type) == 0) return FixSpecialMembers(special, group);
  }
  herror_func(0, 0, "%s: group %s has type \"%s\", which is not known", kFunc, group->name.c_str(), type);
  return false;
}
