#pragma once

#include <curl/curl.h>

namespace zarnik::http {

/// What is used of libcurl. It is loaded when HTTP is first used, since it brings three dozen libraries with it, of
/// which a program that reads files needs none. These pointers stand before its own names in all code of this
/// namespace.
#define ZARNIK_CURL_FUNCTIONS(USE)                                                                                     \
  USE(curl_easy_cleanup)                                                                                               \
  USE(curl_easy_getinfo)                                                                                               \
  USE(curl_easy_init)                                                                                                  \
  USE(curl_easy_pause)                                                                                                 \
  USE(curl_easy_setopt)                                                                                                \
  USE(curl_easy_strerror)                                                                                              \
  USE(curl_global_init)                                                                                                \
  USE(curl_multi_add_handle)                                                                                           \
  USE(curl_multi_cleanup)                                                                                              \
  USE(curl_multi_info_read)                                                                                            \
  USE(curl_multi_init)                                                                                                 \
  USE(curl_multi_perform)                                                                                              \
  USE(curl_multi_poll)                                                                                                 \
  USE(curl_multi_remove_handle)                                                                                        \
  USE(curl_multi_setopt)                                                                                               \
  USE(curl_multi_strerror)                                                                                             \
  USE(curl_slist_append)                                                                                               \
  USE(curl_slist_free_all)                                                                                             \
  USE(curl_version_info)

#define ZARNIK_DECLARE_CURL_FUNCTION(name) extern decltype(&::name) name;
ZARNIK_CURL_FUNCTIONS(ZARNIK_DECLARE_CURL_FUNCTION)
#undef ZARNIK_DECLARE_CURL_FUNCTION

/// Sets the pointers, once; whatever makes a first object of libcurl calls it before.
/// \throws Error if there is no libcurl, with the name of its file and what the system says
void loadCurl();

} // namespace zarnik::http
