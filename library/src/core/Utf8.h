#pragma once

#include <cstdint>
#include <string_view>

namespace zarnik {

/// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view bytes);

/// Whether a byte continues a character, so that no text can begin with it.
inline bool isUtf8Continuation(char byte) { return (static_cast<uint8_t>(byte) & 0xC0) == 0x80; }

} // namespace zarnik
