/// @file
/// Fetching for those who hold a loop that may be gone, and what their URLs are.
#ifndef KXCERT_SRC_PLATFORM_FETCHER_IMP_H_
#define KXCERT_SRC_PLATFORM_FETCHER_IMP_H_

#include <string_view>

#include "kxcert/platform/fetcher.h"
#include "platform/eventEnv_imp.h"

/// Whether a URL begins with a scheme, "http://", in either case, and goes on.
bool kxFetch_HasScheme(std::string_view url, std::string_view scheme);

/// As kxFetch_Start; a loop that is null or closed is a bad request.
kxFetchResult kxFetch_StartOn(const std::shared_ptr<kxEventLoop> &loop, kxFetchRequest request, kxFetchDone done,
                              std::shared_ptr<kxFetchTask> *task);

#endif
