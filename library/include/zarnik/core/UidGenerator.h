#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>

namespace zarnik {

/// Source of unique identifiers.
class ZARNIK_API UidGenerator {
public:
  /// The identifier that no object has.
  static uint64_t const UNDEFINED_UID;

  /// Generate a random unique identifier.
  ///
  /// This function will never return a value equal to UNDEFINED_UID.
  /// The bits come from the operating system's random source.
  /// \return 64 random bits.
  /// \throws Error if the random source fails.
  static uint64_t generate();
};

} // namespace zarnik
