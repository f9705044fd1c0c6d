// Runs a fuzz target once on every file of the folders named, in the order of their names.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path &path : files) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // the last line names the file that ends the process
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto octets = std::make_unique<uint8_t[]>(content.size());  // exact, so that a read past it shows
    std::copy(content.begin(), content.end(), octets.get());
    LLVMFuzzerTestOneInput(octets.get(), content.size());
  }
  std::printf("%zu files\n", files.size());
  return files.empty() ? 1 : 0;
}
