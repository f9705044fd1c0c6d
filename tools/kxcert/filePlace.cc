#include "filePlace.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string FolderOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool IsSame(const struct stat &a, const struct stat &b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

}  // namespace

FilePlace PlaceOf(const std::string &path) {
  struct stat folder;
  if (stat(FolderOf(path).c_str(), &folder) != 0) return {0, 0, path};
  return {folder.st_dev, folder.st_ino, path.substr(path.rfind('/') + 1)};
}

bool IsInput(const std::string &output, const std::string &input) {
  struct stat out, in, folder;
  if (stat(output.c_str(), &out) != 0) return false;
  if ((input == "-" ? fstat(STDIN_FILENO, &in) : stat(input.c_str(), &in)) != 0) return false;
  return IsSame(out, in) || (stat(FolderOf(output).c_str(), &folder) == 0 && IsSame(folder, in));
}
