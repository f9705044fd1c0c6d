/// @file
/// OnThreads: the same work on several threads at once.
#ifndef KXCERT_TESTS_SUPPORT_ONTHREADS_H_
#define KXCERT_TESTS_SUPPORT_ONTHREADS_H_

#include <thread>
#include <vector>

/// Calls work(0), work(1), ... on a thread each, and waits for all of them.
template <class Work>
void OnThreads(int numThreads, const Work &work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < numThreads; ++i) threads.emplace_back([&work, i] { work(i); });
  for (std::thread &thread : threads) thread.join();
}

#endif
