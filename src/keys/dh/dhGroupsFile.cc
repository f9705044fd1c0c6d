// Groups from a configuration file.
#include <memory>
#include <vector>

#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/dhGroups.h"
#include "platform/configDir.h"

int LoadDHGroupsFile(const char *fileName, std::string *error) {
  const std::string path = fileName != nullptr ? fileName : kxConfigDir() + "/" + kDhGroupsFileName;
  const std::unique_ptr<sxset> file(sio_readx(path.c_str(), error));
  if (file == nullptr) return -1;
  std::vector<const sxset *> groups;
  groups.reserve(static_cast<size_t>(file->Count()) + 1);
  for (int i = 0; i < file->Count(); ++i) groups.push_back(file->Member(i)->Set());
  const bool hasText = std::erase(groups, nullptr) > 0;
  groups.push_back(nullptr);
  if (!hasText && groups.size() > 1 && LoadAllDHGroups(groups.data()) == 0) return 0;
  if (error != nullptr) *error = path + ": holds something that is no Diffie-Hellman group, or nothing";
  return -1;
}
