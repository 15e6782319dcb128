#pragma once

#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ViewDataOrigin.h"

#include <mutex>
#include <string>

namespace zarnik {

/// An image over memory that something else owns: an array, a caller's buffer, a mapping, a part of another image.
///
/// Any strides are taken, negative and zero ones included. Different regions may be transferred on several threads at
/// the same time.
class ZARNIK_API BorrowedMemoryView : public ImageView {
public:
  enum class Protection {
    /// Samples can be changed: READ, WRITE and MEMORY_ACCESS.
    NONE,
    /// READ only; the memory is handed out for reading.
    READ_ONLY,
    /// As NONE, but writing samples is an Error at the write: for memory that is handed out by its owner's rules.
    SEALED
  };

  /// Where the memory is and who keeps it.
  struct Memory {
    /// The element with index 0 along every dimension.
    void * first = nullptr;
    /// Shape, type and strides.
    Indexer indexer;
    /// Held as long as the view lives; may be null.
    std::shared_ptr<void> owner;
    Protection protection = Protection::NONE;
    ViewDataOrigin dataOrigin = ViewDataOrigin::CPU_MEMORY;
    /// How the view came about, for people.
    std::string name = "memory of a caller";
  };

  /// \param memory     the memory, which the view does not copy
  /// \param properties the properties, of which the view keeps a copy; null for the default ones
  /// \param metadata   the root node of the metadata, of which the view keeps a copy; may be null
  /// \throws InvalidArgument if the properties do not fit, or if there are samples but no memory
  BorrowedMemoryView(Memory memory, std::shared_ptr<ImageProperties const> properties,
                     std::shared_ptr<MetadataNode const> metadata);
  ~BorrowedMemoryView() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  ImageCapabilitySet capabilities() const override;
  VectorXu64 const & shape() const override;
  DataType dataType() const override;
  std::shared_ptr<ImageProperties const> properties() const override;
  std::shared_ptr<MetadataNode const> metadata() const override;
  void read(VectorXu64 const & index, void * destination) override;
  void readRegion(RegionXu64 const & region, void * destination) override;
  void setProperties(std::shared_ptr<ImageProperties const> properties) override;
  void setMetadata(std::shared_ptr<MetadataNode const> metadata) override;
  void write(VectorXu64 const & index, void const * source) override;
  void writeRegion(RegionXu64 const & region, void const * source) override;
  Indexer const & indexer() const override;
  void * buffer() override;
  void const * buffer() const override;
  size_t bufferSize() const override;

  /// What keeps the memory, null if nothing does.
  std::shared_ptr<void> const & owner() const { return memory_.owner; }
  Protection protection() const { return memory_.protection; }

  /// \throws Error if the memory may not be changed
  virtual void requireWritable() const;

private:
  Memory memory_;
  mutable std::mutex describing_; // guards the next two
  std::shared_ptr<ImageProperties const> properties_;
  std::shared_ptr<MetadataNode const> metadata_;
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
