#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace zarnik {

/// Names and values that are sent with a HTTP request, in the order in which they were added.
class ZARNIK_API HTTPHeaders {
public:
  /// A name with its value.
  struct Entry {
    std::string name;
    std::string value;
  };

  /// Create an empty headers set.
  HTTPHeaders();

  /// Create a headers set from an array.
  /// \param entries    The first entry; may be null when there are none.
  /// \param entryCount The number of entries.
  /// \throws InvalidArgument as `add` does, or if there are entries but no array
  HTTPHeaders(Entry const * entries, size_t entryCount);

#ifndef SWIG
  HTTPHeaders(std::initializer_list<Entry> entries);
#endif

  /// Copy a headers set.
  HTTPHeaders(HTTPHeaders const & other);

#ifndef SWIG
  HTTPHeaders(HTTPHeaders && other) noexcept;
  HTTPHeaders & operator=(HTTPHeaders const & other);
  HTTPHeaders & operator=(HTTPHeaders && other) noexcept;
#endif

  /// Destroy the headers set.
  ~HTTPHeaders();

  /// Return the number of entries in this headers set.
  /// \return The number of entries.
  size_t size() const;

  /// Return an entry of this headers set.
  /// \param index The index of the entry, below the size.
  /// \return The entry.
  /// \throws InvalidArgument if the index is out of range
  Entry const & at(size_t index) const;

  /// Add a new entry in the header set.
  /// \param entry The entry.
  /// \throws InvalidArgument if its name is no header name, or its value would break out of its line
  void add(Entry const & entry);

  /// Add a new entry in the hedaer set by giving its name and value.
  /// \param name  The name, of letters, digits and !#$%&'*+-.^_`|~
  /// \param value The value, without line breaks and null characters.
  /// \throws InvalidArgument if the name is no header name, or the value would break out of its line
  void add(std::string const & name, std::string const & value);

private:
  std::vector<Entry> entries_;
};

} // namespace zarnik
