/// @file
/// What a function frees, owned: `sxOwned<FILE, std::fclose>`.
#ifndef KXCERT_SRC_PLATFORM_OWNED_H_
#define KXCERT_SRC_PLATFORM_OWNED_H_

#include <memory>

template <auto kFree>
struct sxFreeBy {
  template <class T>
  void operator()(T *object) const {
    static_cast<void>(kFree(object));
  }
};
template <class T, auto kFree>
using sxOwned = std::unique_ptr<T, sxFreeBy<kFree>>;

#endif
