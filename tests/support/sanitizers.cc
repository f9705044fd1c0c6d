// What the sanitizers are told about the tests.

#if defined(__SANITIZE_THREAD__)
// Refusing to unlock what is not held is the contract of MtMutexUnLock, so its tests do just that.
extern "C" const char *__tsan_default_suppressions();
extern "C" const char *__tsan_default_suppressions() { return "mutex:MtMutexUnLock\n"; }
#endif
