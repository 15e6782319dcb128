#include "zarnik/access/Uri.h"

#include "zarnik/core/Error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>
#include <ostream>
#include <string_view>
#include <uriparser/Uri.h>
#include <utility>

namespace zarnik {

namespace {

using std::string_view;

bool isControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7f; }

std::string lowerCase(string_view text) {
  std::string result(text);
  for (auto & character : result)
    if (character >= 'A' && character <= 'Z')
      character = static_cast<char>(character - 'A' + 'a');
  return result;
}

// Where the authority of a text begins, behind the two slashes; npos when it has none.
size_t findAuthority(string_view text) {
  auto const slashes = text.find("//");
  if (slashes == string_view::npos || text.substr(0, slashes).find_first_of("/?#") != string_view::npos)
    return string_view::npos;
  return slashes == 0 || text[slashes - 1] == ':' ? slashes + 2 : string_view::npos;
}

// What the grammar allows in encoded form only. Percent signs stay: what is encoded already is not encoded twice.
std::string encodeForbidden(string_view text) {
  auto const authority = findAuthority(text);
  auto const pathBegin =
      authority == string_view::npos ? 0 : std::min(text.find_first_of("/?#", authority), text.size());
  auto const fragmentBegin = text.find('#');
  std::string result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    auto const character = text[i];
    bool const isBracket = character == '[' || character == ']';
    if (static_cast<unsigned char>(character) >= 0x80 ||
        string_view(" \"<>\\^`{|}").find(character) != string_view::npos || (isBracket && i >= pathBegin) ||
        (character == '#' && i != fragmentBegin))
      result += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    else
      result += character;
  }
  return result;
}

std::string decode(string_view text) {
  std::string result(text);
  auto const * const end = uriUnescapeInPlaceExA(result.data(), URI_FALSE, URI_BR_DONT_TOUCH);
  result.resize(static_cast<size_t>(end - result.data()));
  return result;
}

uint16_t defaultPort(string_view scheme) {
  constexpr std::array<std::pair<string_view, uint16_t>, 8> ports = {
      {{"ftp", 21}, {"ssh", 22}, {"sftp", 22}, {"http", 80}, {"ws", 80}, {"https", 443}, {"wss", 443}, {"ftps", 990}}};
  auto const * const found = std::ranges::find(ports, scheme, &std::pair<string_view, uint16_t>::first);
  return found == ports.end() ? uint16_t{0} : found->second;
}

class ParsedUri {
public:
  explicit ParsedUri(string_view text) {
    char const * errorPosition = nullptr;
    auto const result = uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), &errorPosition);
    if (result == URI_ERROR_MALLOC)
      throw Error(fmt::format("cannot allocate memory for an URI of {} bytes", text.size()));
    // The text is not quoted: what cannot be taken apart may have a password anywhere.
    if (result != URI_SUCCESS)
      throw InvalidArgument(fmt::format("not a valid URI: unexpected text at byte {} of {}",
                                        errorPosition == nullptr ? 0 : errorPosition - text.data(), text.size()));
  }
  ParsedUri(ParsedUri const &) = delete;
  ParsedUri & operator=(ParsedUri const &) = delete;
  ~ParsedUri() { uriFreeUriMembersA(&uri_); }

  string_view scheme() const { return view(uri_.scheme); }
  string_view host() const { return view(uri_.hostText); }
  string_view port() const { return view(uri_.portText); }

private:
  static string_view view(UriTextRangeA const & range) {
    return range.first == nullptr ? string_view{}
                                  : string_view(range.first, static_cast<size_t>(range.afterLast - range.first));
  }

  UriUriA uri_{};
};

} // namespace

Uri::Uri(Uri const & other) = default;
Uri::Uri(Uri && other) noexcept = default;
Uri & Uri::operator=(Uri const & other) = default;
Uri & Uri::operator=(Uri && other) noexcept = default;
Uri::~Uri() = default;

Uri::Uri(std::string const & uri) {
  if (auto const control = std::ranges::find_if(uri, isControl); control != uri.end())
    throw InvalidArgument(
        fmt::format("not a valid URI: control character {:#04x} at byte {}", *control, control - uri.begin()));
  text_ = encodeForbidden(uri);
  ParsedUri const parsed(text_);
  scheme_ = lowerCase(parsed.scheme());
  host_ = lowerCase(parsed.host());

  queryEnd_ = std::min(text_.find('#'), text_.size());
  pathEnd_ = std::min(text_.find('?'), queryEnd_);
  if (auto const authority = findAuthority(text_); authority != std::string::npos) {
    authorityBegin_ = authority;
    authorityEnd_ = std::min(text_.find('/', authority), pathEnd_);
    auto const at = text_.rfind('@', authorityEnd_);
    userInfoEnd_ = at == std::string::npos || at < authority || at == authorityEnd_ ? authority : at;
  } else {
    authorityBegin_ = userInfoEnd_ = authorityEnd_ = scheme_.empty() ? 0 : scheme_.size() + 1;
  }

  port_ = defaultPort(scheme_);
  if (auto const digits = parsed.port(); !digits.empty()) {
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port_);
    if (error != std::errc{} || end != digits.data() + digits.size())
      throw InvalidArgument(fmt::format("port {} of an URI is out of range, allowed are 0 to 65535", digits));
  }
}

std::string Uri::scheme() const { return scheme_; }
std::string Uri::authority() const { return text_.substr(authorityBegin_, authorityEnd_ - authorityBegin_); }
std::string Uri::host() const { return host_; }
uint16_t Uri::port() const { return port_; }
std::string Uri::userInfo() const { return text_.substr(authorityBegin_, userInfoEnd_ - authorityBegin_); }
std::string Uri::path() const { return decode(string_view(text_).substr(authorityEnd_, pathEnd_ - authorityEnd_)); }
std::string Uri::pathAndQuery() const { return text_.substr(authorityEnd_, queryEnd_ - authorityEnd_); }
std::string Uri::toString() const { return text_; }

std::string Uri::query() const {
  return pathEnd_ == queryEnd_ ? std::string{}
                               : decode(string_view(text_).substr(pathEnd_ + 1, queryEnd_ - pathEnd_ - 1));
}

std::string Uri::withoutCredentials() const {
  auto result = text_;
  if (userInfoEnd_ != authorityBegin_)
    result.erase(authorityBegin_, userInfoEnd_ + 1 - authorityBegin_);
  return result;
}

std::ostream & operator<<(std::ostream & stream, Uri const & uri) { return stream << uri.toString(); }

} // namespace zarnik
