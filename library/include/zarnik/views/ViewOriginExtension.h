#pragma once

#include "zarnik/views/Extension.h"
#include "zarnik/views/ViewDataOrigin.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#ifndef SWIG
#include <vector>
#endif

namespace zarnik {

#ifndef SWIG
class View;
#endif

/// How a view came about: where its data is, and which views it was made from.
///
/// It holds no view: it can be kept without keeping image data.
class ZARNIK_API ViewOriginExtension : public Extension {
public:
  /// Identifier of this extension.
  static constexpr size_t EXTENSION_ID = 3;

  /// Upcast a generic extension to this specific type.
  /// \param extension The extension, may be null.
  /// \return The same object. This will be null if no upcasting is possible.
  static std::shared_ptr<ViewOriginExtension> cast(std::shared_ptr<Extension> extension);

#ifndef SWIG
  /// Make the origin of a view that is made from no other view. It gets a new unique identifier.
  /// \param dataOrigin  where the data is
  /// \param displayName how the view was made, for people
  static std::shared_ptr<ViewOriginExtension> create(ViewDataOrigin dataOrigin, std::string displayName);

  /// Make the origin of a view that is made from others. It gets a new unique identifier.
  /// The data origin is that of the parents when they agree, else COMPOSITE.
  /// \param displayName how the view was made, for people
  /// \param parents     the views that it was made from; one without an origin is counted, its origin is null
  static std::shared_ptr<ViewOriginExtension> derive(std::string displayName,
                                                     std::vector<std::shared_ptr<View>> const & parents);
#endif

  /// Destroy the extension.
  ~ViewOriginExtension() override;

  /// Returns an unique identifier for current view
  /// \return 64 random bits, never UidGenerator::UNDEFINED_UID.
  virtual uint64_t uid() const = 0;

  /// Returns the count of parents used to create
  /// this view; 0 when it was made from no other view.
  /// \return The number of parents, whose indices begin at 0.
  virtual size_t parentCount() const = 0;

  /// Returns the origin of one of the views that this view was made from.
  /// \param index Index of the parent, below the count of parents.
  /// \return The origin, null when that parent does not tell it.
  /// \throws Error if the index is out of range.
  virtual std::shared_ptr<ViewOriginExtension> parent(size_t index) const = 0;

  /// Returns the data origin of current view
  /// \return One of the ViewDataOrigin constants.
  virtual ViewDataOrigin dataOrigin() const = 0;

  /// Returns the name of the current view to display
  /// \return How the view was made, for people.
  virtual std::string displayName() const = 0;

  /// String representation of the extension.
  /// \return Identifier, name, data origin and number of parents, in one line.
  std::string toString() const;
};

} // namespace zarnik
