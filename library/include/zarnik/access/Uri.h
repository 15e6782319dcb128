#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

namespace zarnik {

/// Address of a resource, such as `https://user@example.org:8443/scans/a%20b.raw?part=1#top`, taken apart.
///
/// The grammar is that of RFC 3986. Characters that it allows only in their encoded form, such as blanks and letters
/// beyond ASCII, are encoded; control characters are refused. Relative references have an empty scheme.
class ZARNIK_API Uri {
public:
  /// Create an URI from its string representation.
  /// \param uri The text to take apart.
  /// \throws InvalidArgument if the text is no URI
  Uri(std::string const & uri);

  /// Copy an URI.
  Uri(Uri const & other);

#ifndef SWIG
  Uri & operator=(Uri const & other);
#endif

  /// Destroy the URI.
  ~Uri();

  /// Scheme or protocol e.g. http, https, ftp
  /// \return The scheme in lower case, empty when there is none.
  std::string scheme() const;

  /// Returns the authority part (userInfo, host and port) of the URI.
  /// \return The part as it was written, empty when there is none.
  std::string authority() const;

  /// Returns the host part of the URI.
  /// \return The name or address in lower case, an IPv6 address without its brackets.
  std::string host() const;

  /// Returns the port number part of the URI.
  /// \return The port; where none is given the usual one of the scheme, 0 when it has none.
  uint16_t port() const;

  /// Returns the user-info part of the URI.
  /// \return The part as it was written, such as `user:password`, empty when there is none.
  std::string userInfo() const;

  /// Returns the decoded path part of the URI.
  /// \return The path; `%20` has become a blank.
  std::string path() const;

  /// Returns the decoded query part of the URI.
  /// \return What stands between `?` and `#`; a plus sign stays one.
  std::string query() const;

  /// Returns the encoded path and query parts of the URI.
  /// \return The path and, if there is one, the query behind a question mark.
  std::string pathAndQuery() const;

  /// Returns a string representation of the URI.
  /// \return The URI in its encoded form, the user-info part included.
  std::string toString() const;

#ifndef SWIG
  /// The URI for messages and logs: without the user-info part, which may be a password.
  std::string withoutCredentials() const;
#endif

private:
  struct Parts;

  std::shared_ptr<Parts const> parts_; // never null; shared by copies, so that they cannot fail
};

// Writes the string representation of an URI to a text stream. The flat operators carry no docstrings.
ZARNIK_API std::ostream & operator<<(std::ostream & stream, Uri const & uri);

} // namespace zarnik
