/// @file
/// The FNV-1a hash, for tables; nobody's security rests on it.
#ifndef KXCERT_SRC_FOUNDATION_FNV_H_
#define KXCERT_SRC_FOUNDATION_FNV_H_

#include <cstdint>

template <class Word>
struct kxFnv1a {
  static_assert(sizeof(Word) == 4 || sizeof(Word) == 8);
  Word value = sizeof(Word) == 4 ? Word{2166136261U} : static_cast<Word>(0xCBF29CE484222325U);

  void Add(unsigned unit) {  ///< an octet, or what else is one step
    value = (value ^ unit) * (sizeof(Word) == 4 ? Word{16777619U} : static_cast<Word>(0x100000001B3U));
  }
};

#endif
