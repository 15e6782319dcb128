#include "http/HttpTarget.h"

#include "http/CheckOptions.h"
#include "http/HttpFields.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

namespace zarnik::http {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    auto const high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    auto const low = high < 0 ? -1 : hexDigit(text[i + 2]);
    if (low < 0) {
      result += text[i];
    } else {
      result += static_cast<char>(high * 16 + low);
      i += 2;
    }
  }
  return result;
}

std::string hostAndPort(Uri const & uri) {
  auto const host = uri.host();
  auto const brackets = host.find(':') != std::string::npos;
  auto const usual = uri.scheme() == "https" ? 443 : 80;
  auto text = brackets ? "[" + host + "]" : host;
  if (uri.port() != usual)
    text += fmt::format(":{}", uri.port());
  return text;
}

// Signed addresses carry their right of access in the query.
bool looksSecret(std::string_view name) {
  constexpr std::array<std::string_view, 7> parts = {"sig", "token", "key", "secret", "pass", "auth", "cred"};
  std::string small(name);
  std::transform(small.begin(), small.end(), small.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return std::any_of(parts.begin(), parts.end(),
                     [&](std::string_view part) { return small.find(part) != std::string::npos; });
}

std::string withoutSecrets(std::string const & pathAndQuery) {
  auto const mark = pathAndQuery.find('?');
  auto result = pathAndQuery.substr(0, mark);
  auto separator = '?';
  for (size_t begin = mark; begin != std::string::npos;) {
    auto const end = pathAndQuery.find('&', begin + 1);
    auto const field =
        std::string_view(pathAndQuery).substr(begin + 1, end == std::string::npos ? end : end - begin - 1);
    auto const equals = field.find('=');
    result += separator;
    separator = '&';
    if (equals != std::string_view::npos && looksSecret(percentDecoded(field.substr(0, equals))))
      result.append(field.substr(0, equals)).append("=***");
    else
      result.append(field);
    begin = end;
  }
  return result;
}

std::string environment(char const * name) {
  auto const * const value = std::getenv(name);
  return value ? value : "";
}

std::string fileContents(std::string const & path) {
  std::ifstream file(path, std::ios::binary);
  std::string contents((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file)
    throw Error(fmt::format("cannot read the certificates in {}", path));
  return contents + "\n";
}

void checkLine(char const * what, std::string_view text) {
  if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
    throw InvalidArgument(fmt::format("{} holds a line break or a null character", what));
}

} // namespace

std::string printable(Uri const & uri) {
  return fmt::format("{}://{}{}", uri.scheme(), hostAndPort(uri), withoutSecrets(uri.pathAndQuery()));
}

HttpTarget::HttpTarget(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                       HttpOptions const & options, std::span<std::string_view const> ownHeaders)
    : method_(method), options_(options) {
  checkOptions(options);
  auto const scheme = uri.scheme();
  if (scheme != "http" && scheme != "https")
    throw InvalidArgument(fmt::format("the scheme of {} is '{}', allowed are http and https", printable(uri), scheme));
  if (uri.host().empty())
    throw InvalidArgument(fmt::format("{} names no host", printable(uri)));
  if (!isToken(method))
    throw InvalidArgument("an HTTP method consists of letters, digits and !#$%&'*+-.^_`|~");
  secure_ = scheme == "https";
  url_ = fmt::format("{}://{}{}", scheme, hostAndPort(uri), uri.pathAndQuery());
  text_ = printable(uri);
  checkLine("the URI", url_);

  auto const userInfo = uri.userInfo();
  auto const colon = userInfo.find(':');
  user_ = percentDecoded(std::string_view(userInfo).substr(0, colon));
  if (colon != std::string::npos)
    password_ = percentDecoded(std::string_view(userInfo).substr(colon + 1));
  checkLine("the user of the URI", user_);
  checkLine("the password of the URI", password_);

  for (size_t i = 0; i < headers.size(); ++i) {
    auto const & [name, value] = headers.at(i);
    if (!isToken(name))
      throw InvalidArgument("the name of an HTTP header consists of letters, digits and !#$%&'*+-.^_`|~");
    checkLine("the value of an HTTP header", value);
    for (auto const & own : ownHeaders)
      if (equalIgnoringCase(own, name))
        throw InvalidArgument(fmt::format("the header {} is left to the access itself", name));
    // libcurl's way to send a header without a value.
    appendHeader(headers_, (value.empty() ? fmt::format("{};", name) : fmt::format("{}: {}", name, value)).c_str());
  }
  if (secure_)
    trust_ = readTrust();
}

HttpTarget::Trust HttpTarget::readTrust() {
  Trust trust;
  trust.folder = environment("SSL_CERT_DIR");
  auto const bundle = environment("CURL_CA_BUNDLE");
  trust.file = environment("SSL_CERT_FILE");
  if (trust.file.empty())
    trust.file = bundle;
  else if (!bundle.empty() && bundle != trust.file)
    trust.certificates = fileContents(bundle) + fileContents(trust.file);
  return trust;
}

void HttpTarget::prepare(CURL * handle) const {
  setOption(handle, CURLOPT_URL, url_.c_str());
  setOption(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  // What was asked for over a protected connection is not fetched over an open one.
  setOption(handle, CURLOPT_REDIR_PROTOCOLS_STR, secure_ ? "https" : "http,https");
  setOption(handle, CURLOPT_NOSIGNAL, 1L);
  setOption(handle, CURLOPT_NOPROGRESS, 1L);
  setOption(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L); // a proxy's answer is not the server's
  setOption(handle, CURLOPT_USERAGENT, "libzarnik/1.11");
  setOption(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options_.connectSeconds * 1000));
  setOption(handle, CURLOPT_PIPEWAIT, secure_ ? 1L : 0L);
  setOption(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  if (!user_.empty() || !password_.empty()) {
    setOption(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    setOption(handle, CURLOPT_USERNAME, user_.c_str());
    setOption(handle, CURLOPT_PASSWORD, password_.c_str());
  }
  if (trust_.file.empty() && trust_.folder.empty())
    return;
  setOption(handle, CURLOPT_CAPATH, trust_.folder.empty() ? nullptr : trust_.folder.c_str());
  if (!trust_.certificates.empty()) {
    // The blob is not changed, only its type says that it could be.
    curl_blob blob{const_cast<char *>(trust_.certificates.data()), trust_.certificates.size(), CURL_BLOB_NOCOPY};
    setOption(handle, CURLOPT_CAINFO_BLOB, &blob);
  } else if (!trust_.file.empty()) {
    setOption(handle, CURLOPT_CAINFO, trust_.file.c_str());
  }
}

} // namespace zarnik::http
