#include "support/tempDir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

TempDir::TempDir() : m_path((std::filesystem::temp_directory_path() / "kxcert-XXXXXX").string()) {
  if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("no temporary folder");
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::Write(const std::string &name, const std::string &content) const {
  std::ofstream file(File(name), std::ios::binary | std::ios::trunc);
  file << content;
  EXPECT_TRUE(file.flush().good()) << File(name);
  return File(name);
}

std::string TempDir::Read(const std::string &name) const {
  std::ifstream file(File(name), std::ios::binary);
  EXPECT_TRUE(file.good()) << File(name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
