#include "platform/fileMap.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

kxFileMap::~kxFileMap() {
  if (m_data != nullptr) munmap(m_data, m_len);
}

int kxFileMap::Map(int fd, size_t len) {
  void *const area = mmap(nullptr, len, PROT_READ, MAP_PRIVATE, fd, 0);
  if (area == MAP_FAILED) return -1;
  *this = kxFileMap();
  m_data = static_cast<unsigned char *>(area);
  m_len = len;
  return 0;
}

bool kxFileMap::IsOurs(int fd) {
  struct stat info;
  return fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && (info.st_uid == geteuid() || info.st_uid == 0) &&
         (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}
