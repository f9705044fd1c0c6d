/// @file
/// Whether files that are written are other ones than those that are read, and each another one, whatever they are called.
#ifndef KXCERT_TOOLS_KXCERT_FILEPLACE_H_
#define KXCERT_TOOLS_KXCERT_FILEPLACE_H_

#include <compare>
#include <cstdint>
#include <string>

/// What is written under a path: a name in a folder. Links there are replaced, not followed, so theirs are other places.
struct FilePlace {
  uint64_t device = 0, folder = 0;  ///< both 0 where there is no such folder
  std::string name;                 ///< within it; without a folder, the whole path
  auto operator<=>(const FilePlace &) const = default;
};
FilePlace PlaceOf(const std::string &path);

/// @param input  a file, a folder whose files are read, or "-": standard input
/// @return whether the output is there, and is that file or one of the folder's
bool IsInput(const std::string &output, const std::string &input);

#endif
