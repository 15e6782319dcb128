#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zarnik::http {

/// What a Content-Range header says: which bytes an answer holds, of how many.
struct ContentRange {
  /// The first and the last byte; none where the range asked for does not exist.
  std::optional<uint64_t> first;
  std::optional<uint64_t> last;
  /// The size of the resource, none when the server does not know it.
  std::optional<uint64_t> total;
};

/// Reads the value of a Content-Range header; nothing unless it is one of bytes, in the only form that is allowed:
/// `bytes 0-9/100`, `bytes 0-9/*` or `bytes */100`, with ranges that make sense.
ZARNIK_API std::optional<ContentRange> parseContentRange(std::string_view value);

/// Reads a number of digits only; nothing if there is anything else or it does not fit.
ZARNIK_API std::optional<uint64_t> parseDigits(std::string_view text);

/// Whether a text can be a method or the name of a header.
ZARNIK_API bool isToken(std::string_view text);

/// Whether two names or values are the same but for the case of letters.
ZARNIK_API bool equalIgnoringCase(std::string_view left, std::string_view right);

/// The head of an answer, gathered line by line: what deciding about its body takes.
class ZARNIK_API AnswerHead {
public:
  /// Takes a line with or without its end. A status line begins a new head: those of redirects and interim answers come
  /// before the one that counts.
  void addLine(std::string_view line);

  int status = 0;
  std::string entityTag;
  std::string lastModified;
  std::string contentEncoding;
  std::string contentType;
  std::string contentRange;
  std::string retryAfter;
  std::optional<uint64_t> contentLength;
  /// Headers that must not differ came twice and did, or one of them cannot be read.
  bool contradictory = false;

  /// The validator to send with If-Range: the entity tag unless it is a weak one, else the time; empty without either.
  std::string const & validator() const;
};

} // namespace zarnik::http
