#pragma once

#include "serialization/Format.h"
#include "serialization/Hash.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

namespace zarnik::test {

/// The bytes of a stored object with the hashes that they should have, as far as they make sense: what was mutated
/// would go no further than to the first hash.
inline std::vector<uint8_t> repaired(std::span<uint8_t const> object) {
  using format::hashOf;
  std::vector<uint8_t> bytes(object.begin(), object.end());
  auto const put = [&](size_t place, uint64_t hash) { std::memcpy(bytes.data() + place, &hash, sizeof hash); };
  format::ObjectHeader header{};
  if (bytes.size() < sizeof header)
    return bytes;
  put(offsetof(format::ObjectHeader, hash), hashOf(bytes.data(), offsetof(format::ObjectHeader, hash)));
  std::memcpy(&header, bytes.data(), sizeof header);
  auto const isHashed = (header.flags & format::OBJECT_HASHED) != 0;
  for (auto place = sizeof header; bytes.size() - place >= sizeof(format::SectionHeader);) {
    format::SectionHeader section{};
    put(place + offsetof(format::SectionHeader, hash),
        hashOf(bytes.data() + place, offsetof(format::SectionHeader, hash)));
    std::memcpy(&section, bytes.data() + place, sizeof section);
    place += sizeof section;
    if (section.length > bytes.size() - place)
      break;
    auto content = place;
    auto const end = place += section.length;
    for (; isHashed && header.blockBytes > 0 && content < end && bytes.size() - place >= sizeof(uint64_t);
         place += sizeof(uint64_t)) {
      auto const size = std::min<uint64_t>(header.blockBytes, end - content);
      put(place, hashOf(bytes.data() + content, size));
      content += size;
    }
  }
  return bytes;
}

} // namespace zarnik::test
