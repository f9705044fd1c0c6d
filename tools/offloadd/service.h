// The service: one request and one answer a connection; no key outlives its answer.
#ifndef KXCERT_TOOLS_OFFLOADD_SERVICE_H_
#define KXCERT_TOOLS_OFFLOADD_SERVICE_H_

/// Serves at pkxl_socket_path() until SIGTERM or SIGINT; then it ends within a second, whatever the workers do.
/// @return the exit status; the process may also end within
int Serve(int numThreads);

#endif
