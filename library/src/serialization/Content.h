#pragma once

#include "zarnik/core/Error.h"

#include <cstring>
#include <fmt/format.h>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zarnik::format {

/// Puts together the content of a small section.
class ContentBuilder {
public:
  template <typename T> void put(T value) {
    static_assert(std::is_arithmetic_v<T>);
    putBytes(&value, sizeof value);
  }
  void putBytes(void const * bytes, size_t size) {
    auto const * const first = static_cast<std::byte const *>(bytes);
    bytes_.insert(bytes_.end(), first, first + size);
  }
  /// A text: the number of its bytes, then the bytes.
  void putText(std::string_view text) {
    put(uint64_t{text.size()});
    putBytes(text.data(), text.size());
  }

  std::span<std::byte const> bytes() const { return bytes_; }

private:
  std::vector<std::byte> bytes_;
};

/// Takes apart the content of a section; nothing is believed that the bytes left cannot hold.
class ContentReader {
public:
  ContentReader(std::span<std::byte const> bytes, char const * section) : bytes_(bytes), section_(section) {}

  template <typename T> T get(char const * what) {
    static_assert(std::is_arithmetic_v<T>);
    T value{};
    std::memcpy(&value, getBytes(sizeof value, what).data(), sizeof value);
    return value;
  }
  std::span<std::byte const> getBytes(uint64_t size, char const * what) {
    if (size > bytes_.size() - position_)
      throw Error(fmt::format("{} of {} bytes at byte {} of section {}, which has {} bytes", what, size, position_,
                              section_, bytes_.size()));
    auto const part = bytes_.subspan(position_, size);
    position_ += size;
    return part;
  }
  std::string getText(char const * what) {
    auto const part = getBytes(get<uint64_t>(what), what);
    return {reinterpret_cast<char const *>(part.data()), part.size()};
  }
  /// A number of things that take at least so many bytes each.
  uint64_t getCount(uint64_t bytesEach, char const * what) {
    auto const count = get<uint64_t>(what);
    if (count > left() / bytesEach)
      throw Error(fmt::format("{} {} at byte {} of section {}, in which {} bytes are left", count, what,
                              position_ - sizeof count, section_, left()));
    return count;
  }
  size_t left() const { return bytes_.size() - position_; }
  size_t position() const { return position_; }
  void requireEnd() const {
    if (left() != 0)
      throw Error(fmt::format("section {} has {} bytes behind its content", section_, left()));
  }

private:
  std::span<std::byte const> bytes_;
  char const * section_;
  size_t position_ = 0;
};

} // namespace zarnik::format
