#include "http/Curl.h"

#include "zarnik/core/Error.h"

#include <fmt/format.h>
#include <mutex>

#ifndef _WIN32
#include <csignal>
#include <ctime>
#endif

namespace zarnik::http {

namespace {

void initialize() {
  loadCurl();
  static std::once_flag once;
  std::call_once(once, [] {
    if (auto const code = curl_global_init(CURL_GLOBAL_DEFAULT); code != CURLE_OK)
      throw Error(fmt::format("cannot start libcurl: {}", curl_easy_strerror(code)));
  });
}

} // namespace

EasyHandle newEasyHandle() {
  initialize();
  EasyHandle handle(curl_easy_init());
  if (!handle)
    throw Error("no memory for an HTTP request");
  return handle;
}

MultiHandle newMultiHandle(unsigned connections) {
  initialize();
  MultiHandle handles(curl_multi_init());
  if (!handles)
    throw Error("no memory for HTTP connections");
  auto const most = static_cast<long>(connections);
  for (auto const option : {CURLMOPT_MAX_HOST_CONNECTIONS, CURLMOPT_MAXCONNECTS})
    if (auto const code = curl_multi_setopt(handles.get(), option, most); code != CURLM_OK)
      throw Error(fmt::format("libcurl refuses to limit connections: {}", curl_multi_strerror(code)));
  return handles;
}

void appendHeader(HeaderList & list, char const * line) {
  loadCurl();
  auto * const extended = curl_slist_append(list.get(), line);
  if (!extended)
    throw Error("no memory for the headers of an HTTP request");
  // The head of the list stays the same once there is one.
  (void)list.release();
  list.reset(extended);
}

void checkOption(CURLcode code, CURLoption option) {
  if (code != CURLE_OK)
    throw Error(fmt::format("libcurl {} refuses option {}: {}", curl_version_info(CURLVERSION_NOW)->version,
                            static_cast<int>(option), curl_easy_strerror(code)));
}

#ifdef _WIN32

BrokenPipeGuard::BrokenPipeGuard() = default;
BrokenPipeGuard::~BrokenPipeGuard() = default;

#else

BrokenPipeGuard::BrokenPipeGuard() {
  sigset_t pending;
  sigset_t pipe;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  // One that is pending already is somebody else's.
  if (sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 0 &&
      pthread_sigmask(SIG_BLOCK, &pipe, &before) == 0)
    blocked_ = sigismember(&before, SIGPIPE) == 0;
}

BrokenPipeGuard::~BrokenPipeGuard() {
  if (!blocked_)
    return;
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  timespec const now{};
  while (sigtimedwait(&pipe, nullptr, &now) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
}

#endif

} // namespace zarnik::http
