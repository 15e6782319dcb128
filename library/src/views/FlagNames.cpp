#include "views/FlagNames.h"

#include <fmt/format.h>
#include <span>
#include <string_view>

namespace zarnik {
namespace {

struct FlagName {
  uint64_t bit;
  std::string_view name;
};

constexpr FlagName IMAGE_CAPABILITIES[] = {{1, "READ"}, {2, "WRITE"}, {4, "RESHAPE"}, {8, "MEMORY_ACCESS"}};
constexpr FlagName MULTI_IMAGE_CAPABILITIES[] = {{1, "READ"}, {2, "WRITE"}};
constexpr FlagName PARALLEL_ACCESS_CAPABILITIES[] = {{1, "THREAD_SAFE"},
                                                     {2, "PARALLEL_TILE_READ"},
                                                     {4, "PARALLEL_TILE_WRITE"},
                                                     {8, "PARALLEL_READ"},
                                                     {16, "PARALLEL_WRITE"}};

std::string joinNames(uint64_t mask, std::span<FlagName const> names) {
  std::string text;
  auto const append = [&text](std::string_view name) { text.append(text.empty() ? "" : " | ").append(name); };
  for (auto const & [bit, name] : names) {
    if (mask & bit)
      append(name);
    mask &= ~bit;
  }
  if (mask != 0)
    append(fmt::format("{:#x}", mask));
  return text.empty() ? "none" : text;
}

} // namespace

std::string flagNames(ImageCapabilitySet capabilities) { return joinNames(capabilities.value(), IMAGE_CAPABILITIES); }

std::string flagNames(MultiImageCapabilitySet capabilities) {
  return joinNames(capabilities.value(), MULTI_IMAGE_CAPABILITIES);
}

std::string flagNames(ParallelAccessCapabilitySet capabilities) {
  return joinNames(capabilities.value(), PARALLEL_ACCESS_CAPABILITIES);
}

} // namespace zarnik
