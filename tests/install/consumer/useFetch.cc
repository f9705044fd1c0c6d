// Asks the installed component for what it refuses.
#include <kxcert/fetch/fetch.h>

#include <cstdio>

int main() {
  const auto service = kxFetchService::Make(kxFetchSettings());
  kxFetcher_Set(service->Fetcher());
  kxFetchRequest request;
  request.url = "http://127.0.0.1/";
  request.limits = {1, 5000};
  kxFetchResult result = kxFetch_OK;
  kxFetch_Wait(request, [&result](const kxFetchAnswer &answer) { result = answer.result; });
  kxFetcher_Set(nullptr);
  std::printf("%d\n", result);
  return result == kxFetch_refused ? 0 : 1;
}
