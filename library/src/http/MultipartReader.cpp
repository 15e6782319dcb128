#include "http/MultipartReader.h"

#include <algorithm>

namespace zarnik::http {

namespace {

constexpr size_t MOST_LINE_BYTES = 8192;

} // namespace

std::string boundaryOf(std::string_view contentType) {
  constexpr std::string_view type = "multipart/byteranges";
  if (!equalIgnoringCase(contentType.substr(0, type.size()), type))
    return {};
  for (auto rest = contentType.substr(type.size()); !rest.empty();) {
    if (rest.front() != ';')
      return {};
    rest.remove_prefix(1);
    auto field = rest.substr(0, rest.find(';'));
    rest.remove_prefix(field.size());
    field.remove_prefix(std::min(field.find_first_not_of(" \t"), field.size()));
    auto const equals = field.find('=');
    if (equals == std::string_view::npos || !equalIgnoringCase(field.substr(0, equals), "boundary"))
      continue;
    auto value = field.substr(equals + 1);
    if (value.size() > 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    return std::string(value);
  }
  return {};
}

MultipartReader::MultipartReader(std::string const & boundary, std::span<ByteRange const> ranges, uint64_t total,
                                 ByteSink & sink)
    : delimiter_("--" + boundary), ranges_(ranges), total_(total), sink_(sink) {}

bool MultipartReader::take(char const * data, size_t size) {
  while (size > 0) {
    if (place_ == Place::END)
      return true; // an epilogue, which means nothing
    size_t count = 0;
    if (place_ == Place::BYTES) {
      auto const & range = ranges_[done_];
      count = static_cast<size_t>(std::min<uint64_t>(size, range.size - arrived_));
      sink_.accept(range.offset + arrived_, reinterpret_cast<uint8_t const *>(data), count);
      arrived_ += count;
      if (arrived_ == range.size) {
        ++done_;
        place_ = Place::BOUNDARY;
      }
    } else {
      auto const * const end = std::find(data, data + size, '\n');
      bool const isWhole = end != data + size;
      count = static_cast<size_t>(end - data) + (isWhole ? 1 : 0);
      line_.append(data, count);
      if (line_.size() > MOST_LINE_BYTES || (isWhole && !endLine()))
        return false;
    }
    data += count;
    size -= count;
  }
  return true;
}

bool MultipartReader::endLine() {
  std::string_view line(line_);
  line.remove_suffix(line.ends_with("\r\n") ? 2 : 1);
  if (place_ == Place::BOUNDARY) {
    if (line == delimiter_ + "--")
      place_ = Place::END;
    else if (line == delimiter_)
      place_ = Place::HEAD;
    else if (!line.empty())
      return false;
    head_ = AnswerHead();
  } else if (!line.empty()) {
    head_.addLine(line);
  } else {
    auto const range = parseContentRange(head_.contentRange);
    if (done_ == ranges_.size() || !range || !range->first || *range->first != ranges_[done_].offset ||
        *range->last - *range->first != ranges_[done_].size - 1 || range->total != total_ || head_.contradictory)
      return false;
    arrived_ = 0;
    place_ = Place::BYTES;
  }
  line_.clear();
  return true;
}

} // namespace zarnik::http
