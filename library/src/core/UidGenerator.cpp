#include "zarnik/core/UidGenerator.h"

#include "core/Guarded.h"

#include <exception>
#include <fmt/format.h>
#include <random>

namespace zarnik {

uint64_t const UidGenerator::UNDEFINED_UID = 0;

uint64_t UidGenerator::generate() {
  try {
    thread_local std::random_device source;
    static_assert(std::random_device::min() == 0 && std::random_device::max() == 0xFFFFFFFFu);
    while (true) {
      auto const high = uint64_t{source()};
      auto const uid = high << 32 | source();
      if (uid != UNDEFINED_UID)
        return uid;
    }
  } catch (std::exception const & failure) {
    throw Error(message("cannot read the system's random source: {}", failure.what()));
  }
}

} // namespace zarnik
