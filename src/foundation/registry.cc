#include "kxcert/foundation/registry.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/platform/log.h"
#include "platform/configDir.h"

// A copy of what stood under the key when it was opened. The root stays empty: it only stands for the file.
struct NvpRegKey {
  sxset values;
};

namespace {

NvpRegKey &Root() {
  static NvpRegKey root;
  return root;
}

std::unique_ptr<sxset> ReadFile() {
  const std::string name = kxConfigDir() + "/registry";
  if (access(name.c_str(), F_OK) != 0) return nullptr;  // usual: every setting has a default
  std::string reason;
  std::unique_ptr<sxset> read(sio_readx(name.c_str(), &reason));
  if (!read) herror_func(0, 0, "NvpRegCreateKey: %s: %s", name.c_str(), reason.c_str());
  return read;
}

const sxset *Descend(const sxset *from, const std::string &path) {
  size_t pos = 0;
  while (from != nullptr && pos <= path.size()) {
    const size_t end = std::min(path.find('\\', pos), path.size());
    from = from->FindSet(path.substr(pos, end - pos).c_str());
    pos = end + 1;
  }
  return from;
}

}  // namespace

NvpRegKey *NvpRegGlobalEntry_HKEY_LOCAL_MACHINE() { return &Root(); }

NvpRegKey *NvpRegCreateKey(NvpRegKey *root, const char *path) {
  if (root == nullptr || path == nullptr) return nullptr;
  const std::unique_ptr<sxset> file = root == &Root() ? ReadFile() : nullptr;
  const sxset *found = Descend(root == &Root() ? file.get() : &root->values, path);
  if (found == nullptr) return nullptr;
  return std::make_unique<NvpRegKey>(NvpRegKey{*found}).release();
}

int NvpRegQueryValueEx(NvpRegKey *key, const char *name, unsigned *value) {
  long long read = 0;
  if (key == nullptr || value == nullptr || !key->values.FindInt(name, &read)) return -1;
  if (!std::in_range<uint32_t>(read)) return -1;
  *value = static_cast<unsigned>(read);
  return 0;
}

void NvpRegCloseKey(NvpRegKey *key) {
  if (key != &Root()) delete key;
}
