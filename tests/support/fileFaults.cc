#include "support/fileFaults.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <utility>

namespace {

std::function<int(kxFileStep, const char *)> g_refuse;

}  // namespace

FileFake::FileFake(std::function<int(kxFileStep step, const char *path)> refuse) {
  g_refuse = std::move(refuse);
  kxFile_SetFake(Ask);
}

FileFake::~FileFake() {
  kxFile_SetFake(nullptr);
  g_refuse = nullptr;
}

int FileFake::Ask(kxFileStep step, const char *path) { return g_refuse(step, path); }

FailNth::FailNth(int n) : m_left(n), m_fake([this](kxFileStep, const char *) { return --m_left == 0 ? EIO : 0; }) {}

bool KilledAtStep(int n, const std::function<void()> &operation) {
  const pid_t child = fork();
  if (child == 0) {
    const FileFake fake([&n](kxFileStep, const char *) { return --n == 0 ? kill(getpid(), SIGKILL) : 0; });
    operation();
    _exit(0);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE((WIFEXITED(status) && WEXITSTATUS(status) == 0) ||
              (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL));
  return WIFSIGNALED(status);
}

int NumOpenFiles() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return static_cast<int>(std::distance(begin(open), end(open)));
}
