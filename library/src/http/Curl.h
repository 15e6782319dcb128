#pragma once

#include "http/CurlFunctions.h"

#include <memory>

namespace zarnik::http {

struct EasyDeleter {
  void operator()(CURL * handle) const { curl_easy_cleanup(handle); }
};
struct MultiDeleter {
  void operator()(CURLM * handles) const { curl_multi_cleanup(handles); }
};
struct ListDeleter {
  void operator()(curl_slist * list) const { curl_slist_free_all(list); }
};

/// One request at a time, used again for the next.
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
/// The connections that are kept, and the requests that are under way on them.
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;
using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;

/// \throws Error when there is no memory
EasyHandle newEasyHandle();
MultiHandle newMultiHandle(unsigned connections);
void appendHeader(HeaderList & list, char const * line);

void checkOption(CURLcode code, CURLoption option);

/// Sets an option of a request.
/// \throws Error if the installed libcurl refuses it
template <typename T> void setOption(CURL * handle, CURLoption option, T value) {
  checkOption(curl_easy_setopt(handle, option, value), option);
}

/// While it lives, a connection that breaks raises no signal on this thread: TLS writes to sockets in the ordinary way.
class BrokenPipeGuard {
public:
  BrokenPipeGuard();
  ~BrokenPipeGuard();
  BrokenPipeGuard(BrokenPipeGuard const &) = delete;
  BrokenPipeGuard & operator=(BrokenPipeGuard const &) = delete;

private:
  bool blocked_ = false;
};

} // namespace zarnik::http
