/// @file
/// Mutexes that fail when a test wants them to.
#ifndef KXCERT_SRC_PLATFORM_MUTEXFAKE_H_
#define KXCERT_SRC_PLATFORM_MUTEXFAKE_H_

/// Asked before the system is, so that a test can make an operation fail: false refuses it and changes
/// nothing, true lets the system go on. Null members refuse nothing.
struct MtMutexFake {
  bool (*mayCreate)() = nullptr;
  bool (*mayLock)() = nullptr;
  bool (*mayUnlock)() = nullptr;
};
void MtMutex_SetFake(const MtMutexFake &fake);

#endif
