#pragma once

#include "zarnik/core/Export.h"

#include <string>

namespace zarnik {

/// A library version: major.minor.patch.
struct VersionInfo {
  /// Incompatible changes of the interface.
  int major = 0;
  /// Compatible additions.
  int minor = 0;
  /// Corrections.
  int patch = 0;
};

#ifndef SWIG
/// Version of the headers that a program is compiled with.
inline constexpr VersionInfo HEADER_VERSION{1, 11, 0};
#endif

/// Version of the library and the rule of compatibility.
class ZARNIK_API Versioning {
public:
  /// Return the version of the currently loaded Zarnik library.
  /// \return Its numbers.
  static VersionInfo version();

  /// Return a description string of the currently loaded Zarnik library.
  /// \return The numbers of its version, joined by dots.
  static std::string versionString();

  /// Check if the loaded library'version is compatible with the given one.
  ///
  /// The library is compatible if:
  ///  - The major version is the same
  ///  - The library minor version is greater than the given one.
  ///
  /// A minor version that is equal is compatible too; the patch number is not looked at.
  /// \param version The version that a program needs.
  /// \return True when the loaded library can serve it.
  static bool checkCompatibility(VersionInfo const & version);

#ifdef SWIG
  /// Check if the loaded library is compatible with the one defined in the header.
  /// \return True when the loaded library can serve it.
  static bool checkCompatibility();
#else
  /// Check if the loaded library is compatible with the one defined in the header.
  /// \return True when the loaded library can serve it.
  // Inline, so that the numbers are those of the caller's headers and not those of the library.
  static bool checkCompatibility() { return checkCompatibility(HEADER_VERSION); }
#endif
};

} // namespace zarnik
