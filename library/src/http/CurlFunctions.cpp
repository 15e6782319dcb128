#include "http/CurlFunctions.h"

#include "zarnik/core/Error.h"

#include <fmt/format.h>
#include <mutex>

#ifdef ZARNIK_CURL_FILE
#include <dlfcn.h>
#endif

namespace zarnik::http {

#ifdef ZARNIK_CURL_FILE

#define ZARNIK_DEFINE_CURL_FUNCTION(name) decltype(&::name) name = nullptr;
ZARNIK_CURL_FUNCTIONS(ZARNIK_DEFINE_CURL_FUNCTION)

namespace {

[[noreturn]] void refuse() {
  throw Error(fmt::format("HTTP needs libcurl, install it from the system's packages (apt-get install libcurl4, "
                          "dnf install libcurl): {}",
                          dlerror()));
}

template <typename Function> void load(void * library, char const * name, Function & function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (!function)
    refuse();
}

} // namespace

void loadCurl() {
  static std::once_flag once;
  std::call_once(once, [] {
    // It stays: what it registers to be called at exit would otherwise be gone by then.
    void * const library = dlopen(ZARNIK_CURL_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library)
      refuse();
#define ZARNIK_LOAD_CURL_FUNCTION(name) load(library, #name, name);
    ZARNIK_CURL_FUNCTIONS(ZARNIK_LOAD_CURL_FUNCTION)
  });
}

#else

#define ZARNIK_DEFINE_CURL_FUNCTION(name) decltype(&::name) name = &::name;
ZARNIK_CURL_FUNCTIONS(ZARNIK_DEFINE_CURL_FUNCTION)

void loadCurl() {}

#endif

} // namespace zarnik::http
