#include "core/Utf8.h"

#include <cstddef>
#include <cstring>

namespace zarnik {
namespace {

// Bytes of the well-formed character at the beginning of the text, 0 if there is none.
size_t characterLength(unsigned char const * bytes, size_t available) {
  auto const lead = bytes[0];
  if (lead < 0x80)
    return 1;
  // The second byte is what tells overlong forms, surrogates and values that are too large.
  size_t length = 0;
  unsigned char least = 0x80;
  unsigned char greatest = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    least = lead == 0xE0 ? 0xA0 : 0x80;
    greatest = lead == 0xED ? 0x9F : 0xBF;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    least = lead == 0xF0 ? 0x90 : 0x80;
    greatest = lead == 0xF4 ? 0x8F : 0xBF;
  }
  if (length == 0 || length > available || bytes[1] < least || bytes[1] > greatest)
    return 0;
  for (size_t i = 2; i < length; ++i)
    if (bytes[i] < 0x80 || bytes[i] > 0xBF)
      return 0;
  return length;
}

} // namespace

bool isUtf8(std::string_view text) {
  auto const * bytes = reinterpret_cast<unsigned char const *>(text.data());
  auto left = text.size();
  while (left != 0) {
    // Most texts are ASCII for long stretches.
    for (uint64_t word = 0; left >= sizeof word; bytes += sizeof word, left -= sizeof word) {
      std::memcpy(&word, bytes, sizeof word);
      if (word & 0x8080808080808080u)
        break;
    }
    if (left == 0)
      break;
    auto const length = characterLength(bytes, left);
    if (length == 0)
      return false;
    bytes += length;
    left -= length;
  }
  return true;
}

} // namespace zarnik
