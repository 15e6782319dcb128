%header %{
#include "zarnik/values/ArrayX.h"
#include "zarnik/views/ColumnUnitExtension.h"
#include "zarnik/views/ExtensionProvider.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"
%}

%held_by_shared_pointer(zarnik::Extension)
%held_by_shared_pointer(zarnik::TilingInfoExtension)
%held_by_shared_pointer(zarnik::ParallelAccessExtension)
%held_by_shared_pointer(zarnik::ViewOriginExtension)
%held_by_shared_pointer(zarnik::ColumnUnitExtension)

%rename(get_capabilities) zarnik::ParallelAccessExtension::capabilities;

%include "zarnik/views/Extension.h"
%include "zarnik/views/TilingInfoExtension.h"

%extend zarnik::TilingInfoExtension {
  /// Read data from a tile into a memory buffer.
  ///
  /// \param tileIndex Index of the tile, below the tile count.
  /// \param dst Receives the samples, the first dimension fastest. Its size, which is not checked, is the element
  /// count of tile_region(tileIndex) times the byte count of the image's data type.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented if the image cannot be read.
  void readTile(size_t tileIndex, uint8_t *dst, size_t size) { (void)size; $self->readTile(tileIndex, dst); }

  /// Write data from a memory buffer into a tile.
  ///
  /// \param tileIndex Index of the tile, below the tile count.
  /// \param src The samples, the first dimension fastest. Its size, which is not checked, is the element
  /// count of tile_region(tileIndex) times the byte count of the image's data type.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented if the image cannot be written.
  void writeTile(size_t tileIndex, uint8_t const *src, size_t size) { (void)size; $self->writeTile(tileIndex, src); }
}

%flag_set(views, ParallelAccessCapability)
// The method, as against the parameter of that name.
%typemap(doctype) zarnik::FlagSet<zarnik::ParallelAccessCapability> zarnik::ParallelAccessExtension::capabilities
  ":py:class:`ParallelAccessCapabilitySet`"
%include "zarnik/views/ParallelAccessExtension.h"
%include "zarnik/views/ViewDataOrigin.h"
%include "zarnik/views/ViewOriginExtension.h"
%include "zarnik/views/ColumnUnitExtension.h"
%include "zarnik/views/ExtensionProvider.h"
