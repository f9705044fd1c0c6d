#include "typeByName.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "asn1/modules/allTypes.h"

namespace {

constexpr std::string_view kPrefix = "sxASN_";

}  // namespace

const sxAsnTypeInfo *sxAsnFindType(const char *name) {
  if (name == nullptr) return nullptr;
  std::string wanted(name);
  std::replace(wanted.begin(), wanted.end(), '-', '_');
  if (!wanted.starts_with(kPrefix)) wanted.insert(0, kPrefix);
  for (int i = 0; i < kNumAllTypes; ++i) {
    if (wanted == kAllTypes[i]->name) return kAllTypes[i];
  }
  return nullptr;
}

const sxAsnTypeInfo *sxAsnTypeAt(int index) { return index < 0 || index >= kNumAllTypes ? nullptr : kAllTypes[index]; }
