#include "kxcert/trust/sxPKObjects.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "kxcert/foundation/sxPKobj.h"
#include "kxcert/trust/sxRootCA.h"

namespace {

uint64_t HashOf(const sxPKobj *obj) { return static_cast<uint64_t>(static_cast<const sxRootCA *>(obj)->Purpose()) % 4; }

bool HasPurpose(const sxPKobj *obj, const void *wanted) {
  return static_cast<const sxRootCA *>(obj)->Purpose() == *static_cast<const int *>(wanted);
}

sxRootCA *NewRoot(int purpose) {
  return new sxRootCA("root", nullptr, 0, sxCaType_other, purpose, nullptr, 0, nullptr, 0);
}

std::vector<sxRootCA *> Visit(const sxPKObjects &objects) {
  std::vector<sxRootCA *> visited;
  for (sxRootCA_iterator it(objects); it.Curr() != nullptr; it.Next()) visited.push_back(it.Curr());
  return visited;
}

// Few hashes and repeated objects; compared with a walk over the slots after each change.
TEST(sxPKObjects, FindsTheLowestSlotAfterAnyAddingAndDeleting) {
  constexpr int kNumRoots = 12;
  std::mt19937 random(7);
  std::vector<sxRootCA *> roots;
  for (int i = 0; i < kNumRoots; ++i) roots.push_back(NewRoot(i / 2));   // two of each purpose
  {
    sxPKObjects objects(HashOf);
    for (int step = 0; step < 3000; ++step) {
      sxRootCA *root = roots[random() % kNumRoots];
      if (random() % 2 == 0 || objects.Count() == 0) {
        objects.Add(root);
      } else {
        objects.Delete(root);
      }
      const std::vector<sxRootCA *> slots = Visit(objects);
      ASSERT_EQ(objects.Count(), static_cast<int>(slots.size()));
      for (int purpose = 0; purpose <= kNumRoots / 2; ++purpose) {
        const auto first = std::find_if(slots.begin(), slots.end(),
                                        [=](const sxRootCA *slot) { return slot->Purpose() == purpose; });
        ASSERT_EQ(first != slots.end() ? *first : nullptr,
                  objects.Find(static_cast<uint64_t>(purpose) % 4, HasPurpose, &purpose));
      }
    }
  }
  for (sxRootCA *root : roots) sxFreePKobj(root);
}

}  // namespace
