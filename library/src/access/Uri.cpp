#include "zarnik/access/Uri.h"

#include "core/Guarded.h"
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

std::string decode(std::string result) {
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

struct Uri::Parts {
  std::string text; // encoded
  std::string scheme;
  std::string host;
  // Where the parts stand in the text.
  size_t authorityBegin = 0;
  size_t userInfoEnd = 0;
  size_t authorityEnd = 0; // the path begins there
  size_t pathEnd = 0;
  size_t queryEnd = 0;
  uint16_t port = 0;

  explicit Parts(std::string const & uri);

  std::string between(size_t begin, size_t end) const {
    return guarded([&] { return text.substr(begin, end - begin); });
  }
};

Uri::Parts::Parts(std::string const & uri) {
  if (auto const control = std::ranges::find_if(uri, isControl); control != uri.end())
    throw InvalidArgument(
        fmt::format("not a valid URI: control character {:#04x} at byte {}", *control, control - uri.begin()));
  text = encodeForbidden(uri);
  ParsedUri const parsed(text);
  scheme = lowerCase(parsed.scheme());
  host = lowerCase(parsed.host());

  queryEnd = std::min(text.find('#'), text.size());
  pathEnd = std::min(text.find('?'), queryEnd);
  if (auto const authority = findAuthority(text); authority != std::string::npos) {
    authorityBegin = authority;
    authorityEnd = std::min(text.find('/', authority), pathEnd);
    auto const at = text.rfind('@', authorityEnd);
    userInfoEnd = at == std::string::npos || at < authority || at == authorityEnd ? authority : at;
  } else {
    authorityBegin = userInfoEnd = authorityEnd = scheme.empty() ? 0 : scheme.size() + 1;
  }

  port = defaultPort(scheme);
  if (auto const digits = parsed.port(); !digits.empty()) {
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc{} || end != digits.data() + digits.size())
      throw InvalidArgument(fmt::format("port {} of an URI is out of range, allowed are 0 to 65535", digits));
  }
}

Uri::Uri(std::string const & uri) : parts_(guarded([&] { return std::make_shared<Parts const>(uri); })) {}
Uri::Uri(Uri const & other) = default;
Uri & Uri::operator=(Uri const & other) = default;
Uri::~Uri() = default;

std::string Uri::scheme() const {
  return guarded([&] { return parts_->scheme; });
}
std::string Uri::authority() const { return parts_->between(parts_->authorityBegin, parts_->authorityEnd); }
std::string Uri::host() const {
  return guarded([&] { return parts_->host; });
}
uint16_t Uri::port() const { return parts_->port; }
std::string Uri::userInfo() const { return parts_->between(parts_->authorityBegin, parts_->userInfoEnd); }
std::string Uri::path() const {
  return guarded([&] { return decode(parts_->between(parts_->authorityEnd, parts_->pathEnd)); });
}
std::string Uri::pathAndQuery() const { return parts_->between(parts_->authorityEnd, parts_->queryEnd); }
std::string Uri::toString() const { return parts_->between(0, parts_->text.size()); }

std::string Uri::query() const {
  // Behind the question mark, if there is one.
  auto const begin = std::min(parts_->pathEnd + 1, parts_->queryEnd);
  return guarded([&] { return decode(parts_->between(begin, parts_->queryEnd)); });
}

std::string Uri::withoutCredentials() const {
  auto result = toString();
  if (parts_->userInfoEnd != parts_->authorityBegin)
    result.erase(parts_->authorityBegin, parts_->userInfoEnd + 1 - parts_->authorityBegin);
  return result;
}

std::ostream & operator<<(std::ostream & stream, Uri const & uri) { return stream << uri.toString(); }

} // namespace zarnik
