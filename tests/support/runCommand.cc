#include "support/runCommand.h"

#include <gtest/gtest.h>

#include <cstdio>

std::string RunCommand(const std::string &command) {
  std::string output;
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot start: " << command;
    return output;
  }
  char area[4096];
  while (const size_t got = std::fread(area, 1, sizeof area, pipe)) output.append(area, got);
  EXPECT_EQ(0, pclose(pipe)) << command;
  return output;
}
