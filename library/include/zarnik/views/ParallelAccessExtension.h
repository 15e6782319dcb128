#pragma once

#include "zarnik/views/Extension.h"
#include "zarnik/views/ParallelAccessCapability.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zarnik {

/// What several threads may do with a view at the same time.
class ZARNIK_API ParallelAccessExtension : public Extension {
public:
  /// Identifier of this extension.
  static constexpr size_t EXTENSION_ID = 2;

  /// Upcast a generic extension to this specific type.
  /// \param extension The extension, may be null.
  /// \return The same object. This will be null if no upcasting is possible.
  static std::shared_ptr<ParallelAccessExtension> cast(std::shared_ptr<Extension> extension);

#ifndef SWIG
  /// Make the extension of a view with fixed capabilities.
  static std::shared_ptr<ParallelAccessExtension> create(ParallelAccessCapabilitySet capabilities);
#endif

  /// Destroy the extension.
  ~ParallelAccessExtension() override;

  /// Return the parallel-access capabilities of this view.
  /// \return What several threads may do at the same time, one flag each.
  virtual ParallelAccessCapabilitySet capabilities() const = 0;

  /// Checks if the view supports the given capabilities.
  /// \param capabilities The capabilities, all of which are needed.
  /// \return True when none of them is missing.
  bool support(ParallelAccessCapabilitySet capabilities) const;

  /// String representation of the extension.
  /// \return The names of the capabilities.
  std::string toString() const;
};

} // namespace zarnik
