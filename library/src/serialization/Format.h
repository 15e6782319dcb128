#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// The binary format, as docs/format.md tells it. All numbers are little endian.
namespace zarnik::format {

// Numbers are moved as they lie in memory.
static_assert(std::endian::native == std::endian::little,
              "a big-endian machine has to turn the bytes of numbers around");

/// 0x89 and the ends of lines show a file that went through a program for text.
inline constexpr std::array<unsigned char, 8> MAGIC{0x89, 'Z', 'R', 'N', '\r', '\n', 0x1A, '\n'};

/// Readers accept their own major version, with any minor one: that only adds sections which may be skipped.
inline constexpr uint16_t MAJOR_VERSION = 1;
inline constexpr uint16_t MINOR_VERSION = 0;

enum class Kind : uint32_t { VECTOR = 1, ARRAY = 2, MATRIX = 3, IMAGE = 4, DATA_FRAME = 5 };

enum ObjectFlags : uint64_t { OBJECT_HASHED = 1 };

struct ObjectHeader {
  std::array<unsigned char, 8> magic;
  uint16_t majorVersion;
  uint16_t minorVersion;
  uint32_t kind;
  uint64_t dataType;
  uint64_t flags;
  uint64_t blockBytes;
  uint64_t hash; ///< of the bytes before it
};
static_assert(sizeof(ObjectHeader) == 48);

/// A section's name, its first letter in the lowest byte.
constexpr uint32_t tagOf(char const (&name)[5]) {
  uint32_t tag = 0;
  for (size_t i = 0; i != 4; ++i)
    tag |= uint32_t{static_cast<unsigned char>(name[i])} << (8 * i);
  return tag;
}

enum Tag : uint32_t {
  VALUES = tagOf("VALS"),
  ARRAY_SHAPE = tagOf("ARRY"),
  IMAGE_HEADER = tagOf("IMAG"),
  METADATA = tagOf("META"),
  PIXELS = tagOf("PIXL"),
  COLUMNS = tagOf("COLS"),
  NUMBERS = tagOf("NCOL"),
  TEXTS = tagOf("TCOL"),
  PADDING = tagOf("PAD "),
  END = tagOf("END "),
};

/// Stands before every section; a reader that does not find it has lost its place.
inline constexpr uint32_t SYNC = tagOf("ZSYN");

enum SectionFlags : uint32_t { SECTION_OPTIONAL = 1 };

struct SectionHeader {
  uint32_t sync;
  uint32_t tag;
  uint32_t flags;
  uint32_t reserved; ///< 0
  uint64_t length;   ///< bytes of the content
  uint64_t hash;     ///< of the bytes before it
};
static_assert(sizeof(SectionHeader) == 32);

/// Each block of a section's content has a hash, the last block may be short.
inline constexpr uint64_t BLOCK_BYTES = uint64_t{1} << 20;
inline constexpr uint64_t MINIMUM_BLOCK_BYTES = 1024;
inline constexpr uint64_t MAXIMUM_BLOCK_BYTES = uint64_t{1} << 30;
/// Where pixels start, counted from the object's first byte, so that a mapped file can be used as it lies.
inline constexpr uint64_t ALIGNMENT = 64;

} // namespace zarnik::format
