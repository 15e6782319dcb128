#pragma once

#include "zarnik/access/DataAccess.h"
#include "zarnik/access/RandomAccessCapability.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace zarnik {

/// An array of bytes addressed by offset.
///
/// What an accessor can do, its capabilities tell; an operation that it cannot do raises NotImplemented and changes
/// nothing. An accessor that offers RESIZE grows when bytes are written behind its end, and a gap that is left reads as
/// zeros; all others are of fixed size and take what fits. Reads, and writes to bytes that are not shared, may run on
/// several threads at once; what changes the size may not.
class ZARNIK_API RandomAccess : public DataAccess {
public:
  /// Release the accessor.
  ~RandomAccess() override;

  /// Return the capabilities of this accessor.
  /// \return What the accessor can do, one flag each.
  virtual RandomAccessCapabilitySet capabilities() const = 0;

  /// Checks if the accessor supports the given capabilities.
  /// \param capabilities The capabilities, all of which are needed.
  /// \return True when none of them is missing.
  bool support(RandomAccessCapabilitySet capabilities) ZARNIK_QUERY;

  /// Return the number of bytes of the resource accessed.
  /// \return The size in bytes.
  virtual size_t size() ZARNIK_QUERY = 0;

  /// Return a string representation of the accessor.
  /// \return What the accessor is over, in one line.
  virtual std::string toString() const = 0;

#ifndef SWIG
  /// Read bytes at an offset.
  /// Needs the capability READ.
  /// \param offset      of the first byte; at or behind the end nothing is read
  /// \param destination receives the bytes
  /// \param size        bytes wanted
  /// \return Count of read bytes (can be zero or less than given size), short only at the end
  /// \throws Error if they cannot be read
  virtual size_t read(size_t offset, void * destination, size_t size) = 0;

  /// Write bytes at an offset.
  /// Needs the capability WRITE.
  /// \param offset of the first byte
  /// \param source the bytes
  /// \param size   how many
  /// \return bytes written, fewer only where an accessor of fixed size ends
  /// \throws Error if they cannot be written
  virtual size_t write(size_t offset, void const * source, size_t size) = 0;
#endif

  /// Change the number of bytes.
  ///
  /// Content of data is undefined after being resized.
  /// Needs the capability RESIZE.
  /// \param newSize The new size in bytes.
  /// \throws Error if there is no room for it; the accessor is then unchanged.
  virtual void resize(size_t newSize) = 0;

#ifndef SWIG
  /// One of several reads that are asked for at once.
  struct ReadRequest {
    size_t offset;
    void * destination;
    size_t size;
  };

  /// Read several parts at once, each whole.
  /// An accessor far away makes few round trips of it; by default they are read one after the other.
  /// \throws Error if a part cannot be read whole; what the destinations hold then is not specified
  virtual void readMany(std::span<ReadRequest const> requests);

  /// Return the memory of all bytes, null when the accessor does not offer MEMORY_ACCESS.
  /// It is valid until the accessor is resized or released. Without WRITE it must not be changed.
  virtual void * buffer();

  /// Return the memory of all bytes in a way that keeps it while the result is held, whatever becomes of the accessor;
  /// a resize moves the accessor to other memory then. By default null: nobody else can keep it.
  virtual std::shared_ptr<void> sharedBuffer();
#endif

protected:
  RandomAccess() = default;
};

} // namespace zarnik
