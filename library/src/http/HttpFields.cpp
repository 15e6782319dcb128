#include "http/HttpFields.h"

#include <algorithm>
#include <charconv>

namespace zarnik::http {

namespace {

char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  auto const begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos)
    return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

bool isToken(std::string_view text) {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [marks](char c) {
    auto const small = lower(c);
    return (small >= 'a' && small <= 'z') || (c >= '0' && c <= '9') || marks.find(c) != std::string_view::npos;
  });
}

std::optional<uint64_t> parseDigits(std::string_view text) {
  uint64_t value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

std::optional<ContentRange> parseContentRange(std::string_view value) {
  value = trimmed(value);
  constexpr std::string_view unit = "bytes";
  if (value.size() <= unit.size() || !equalIgnoringCase(value.substr(0, unit.size()), unit) ||
      value[unit.size()] != ' ')
    return std::nullopt;
  value = trimmed(value.substr(unit.size()));
  auto const slash = value.find('/');
  if (slash == std::string_view::npos)
    return std::nullopt;
  auto const range = value.substr(0, slash);
  auto const total = value.substr(slash + 1);

  ContentRange result;
  if (total != "*" && !(result.total = parseDigits(total)))
    return std::nullopt;
  if (range == "*")
    return result.total ? std::optional(result) : std::nullopt;
  auto const dash = range.find('-');
  if (dash == std::string_view::npos || !(result.first = parseDigits(range.substr(0, dash))) ||
      !(result.last = parseDigits(range.substr(dash + 1))))
    return std::nullopt;
  if (*result.first > *result.last || (result.total && *result.last >= *result.total))
    return std::nullopt;
  return result;
}

void AnswerHead::addLine(std::string_view line) {
  if (line.starts_with("HTTP/")) {
    *this = AnswerHead();
    auto const blank = line.find(' ');
    if (blank != std::string_view::npos)
      status = static_cast<int>(parseDigits(trimmed(line.substr(blank + 1)).substr(0, 3)).value_or(0));
    return;
  }
  auto const colon = line.find(':');
  if (colon == std::string_view::npos)
    return;
  auto const name = line.substr(0, colon);
  auto const value = trimmed(line.substr(colon + 1));
  auto const take = [&](std::string & field) {
    contradictory = contradictory || (!field.empty() && field != value);
    field = value;
  };
  if (equalIgnoringCase(name, "etag")) {
    take(entityTag);
  } else if (equalIgnoringCase(name, "last-modified")) {
    // Sent back, what is no time would be taken for an entity tag.
    if (value.find('"') == std::string_view::npos && !value.starts_with("W/"))
      take(lastModified);
  } else if (equalIgnoringCase(name, "content-range")) {
    take(contentRange);
  } else if (equalIgnoringCase(name, "content-type")) {
    contentType = value;
  } else if (equalIgnoringCase(name, "retry-after")) {
    retryAfter = value;
  } else if (equalIgnoringCase(name, "content-encoding")) {
    if (!equalIgnoringCase(value, "identity") && !value.empty())
      contentEncoding = value;
  } else if (equalIgnoringCase(name, "content-length")) {
    auto const length = parseDigits(value);
    contradictory = contradictory || !length || (contentLength && contentLength != length);
    contentLength = length;
  }
}

std::string const & AnswerHead::validator() const {
  // A weak tag may stay the same while bytes change, so it must not be sent.
  return entityTag.empty() || entityTag.starts_with("W/") ? lastModified : entityTag;
}

} // namespace zarnik::http
