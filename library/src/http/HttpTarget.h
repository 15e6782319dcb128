#pragma once

#include "http/Curl.h"
#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/Uri.h"
#include "zarnik/http/HttpOptions.h"

#include <span>
#include <string>
#include <string_view>

namespace zarnik::http {

/// Where requests go and what they all have in common: URL, method, credentials, headers, trust, patience.
class HttpTarget {
public:
  /// \param ownHeaders names of headers that the access sees to itself; the caller must not send them
  /// \throws InvalidArgument if URI, method, headers or options cannot be used
  HttpTarget(Uri const & uri, std::string const & method, HTTPHeaders const & headers, HttpOptions const & options,
             std::span<std::string_view const> ownHeaders);

  /// Sets up a new request.
  void prepare(CURL * handle) const;

  /// Adds a header to those of all further requests.
  void addHeader(std::string const & line) { appendHeader(headers_, line.c_str()); }
  curl_slist * headers() const { return headers_.get(); }

  /// The URI for messages: neither credentials nor what looks like one in the query.
  std::string const & text() const { return text_; }
  std::string const & method() const { return method_; }
  bool secure() const { return secure_; }

private:
  // Where to find the authorities that are trusted; all empty for those of the system.
  struct Trust {
    std::string file;
    std::string folder;
    std::string certificates; // of two files
  };
  static Trust readTrust();

  std::string url_;
  std::string user_;
  std::string password_;
  std::string method_;
  std::string text_;
  HeaderList headers_;
  Trust trust_;
  HttpOptions options_;
  bool secure_ = false;
};

/// An URI as it may be shown to anybody.
ZARNIK_API std::string printable(Uri const & uri);

} // namespace zarnik::http
