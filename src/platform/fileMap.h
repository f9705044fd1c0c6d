/// @file
/// kxFileMap: the content of a file in memory without a copy, to be read only.
#ifndef KXCERT_SRC_PLATFORM_FILEMAP_H_
#define KXCERT_SRC_PLATFORM_FILEMAP_H_

#include <cstddef>
#include <utility>

class kxFileMap {
 public:
  kxFileMap() = default;
  kxFileMap(kxFileMap &&other) noexcept
      : m_data(std::exchange(other.m_data, nullptr)), m_len(std::exchange(other.m_len, 0)) {}
  kxFileMap &operator=(kxFileMap &&other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_len, other.m_len);
    return *this;
  }
  ~kxFileMap();

  /// The first octets of what is open; the descriptor is not needed any longer. A file that shrinks in place
  /// afterwards ends whoever reads what it lost (SIGBUS).
  /// @return 0, or -1 with errno set
  int Map(int fd, size_t len);
  /// Whether that cannot come from outside: nobody but this user and root may change what is open.
  static bool IsOurs(int fd);

  const unsigned char *Data() const { return m_data; }  ///< null without a map
  size_t Len() const { return m_len; }

 private:
  unsigned char *m_data = nullptr;
  size_t m_len = 0;
};

#endif
