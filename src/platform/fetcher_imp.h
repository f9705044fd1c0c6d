/// @file
/// Fetching for those who hold a loop that may be gone.
#ifndef KXCERT_SRC_PLATFORM_FETCHER_IMP_H_
#define KXCERT_SRC_PLATFORM_FETCHER_IMP_H_

#include "kxcert/platform/fetcher.h"
#include "platform/eventEnv_imp.h"

/// As kxFetch_Start; a loop that is null or closed is a bad request.
kxFetchResult kxFetch_StartOn(const std::shared_ptr<kxEventLoop> &loop, kxFetchRequest request, kxFetchDone done,
                              std::shared_ptr<kxFetchTask> *task);

#endif
