#pragma once

#include "http/RangeTransfer.h"
#include "zarnik/core/Export.h"

#include <span>
#include <string>
#include <string_view>

namespace zarnik::http {

/// The boundary in the value of a Content-Type header, empty unless it is one of multipart/byteranges.
ZARNIK_API std::string boundaryOf(std::string_view contentType);

/// Takes apart the body of an answer that has several ranges of bytes, each behind a head of its own. It has to have
/// those asked for, in their order.
class ZARNIK_API MultipartReader {
public:
  /// \param boundary  stands between the parts
  /// \param ranges    those asked for; must live on
  /// \param total     the size of the resource
  MultipartReader(std::string const & boundary, std::span<ByteRange const> ranges, uint64_t total, ByteSink & sink);

  /// Takes the next bytes of the body. \return false if they are not what was asked for; nothing wrong has reached the
  /// sink, and no more may be given
  bool take(char const * data, size_t size);

  /// How many of the ranges have reached the sink whole.
  size_t done() const { return done_; }

private:
  enum class Place { BOUNDARY, HEAD, BYTES, END };

  bool endLine();

  std::string delimiter_;
  std::span<ByteRange const> ranges_;
  uint64_t total_;
  ByteSink & sink_;
  Place place_ = Place::BOUNDARY;
  std::string line_;
  AnswerHead head_;      // of the part
  uint64_t arrived_ = 0; // bytes of the part
  size_t done_ = 0;
};

} // namespace zarnik::http
