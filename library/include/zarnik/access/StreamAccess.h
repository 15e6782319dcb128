#pragma once

#include "zarnik/access/DataAccess.h"
#include "zarnik/access/SeekOrigin.h"
#include "zarnik/access/StreamAccessCapability.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

/// A sequence of bytes with a cursor, read and written in order.
///
/// What a stream can do, its capabilities tell; an operation that it cannot do raises NotImplemented and changes
/// nothing. A stream is used by one thread at a time.
class ZARNIK_API StreamAccess : public DataAccess {
public:
  /// Release the stream. What was written and not flushed is written; a failure is logged then, nobody is left to tell.
  ~StreamAccess() override;

  /// Return the capabilities of this stream.
  /// \return What the stream can do, one flag each.
  virtual StreamAccessCapabilitySet capabilities() const = 0;

  /// Checks if the stream supports the given capabilities.
  /// \param capabilities The capabilities, all of which are needed.
  /// \return True when none of them is missing.
  bool support(StreamAccessCapabilitySet capabilities) ZARNIK_QUERY;

  /// Default implementation returns true if nor 'end of file'
  /// nor 'fail' status is raised.
  /// \return True while the stream can go on.
  virtual bool good() ZARNIK_QUERY;

  /// Return the 'end of file' status, which the read that met the end raises and a seek clears.
  /// \return True once a read met the end.
  virtual bool eof() ZARNIK_QUERY = 0;

  /// Return the 'fail' status.
  /// \return True once an operation failed in a way that the stream cannot go on from.
  virtual bool fail() ZARNIK_QUERY = 0;

  /// Return a string representation of the stream.
  /// \return What the stream is over, in one line.
  virtual std::string toString() const = 0;

  /// Return the current byte without moving the cursor.
  /// \return The byte, 0 to 255.
  /// \throws Error if cursor is at EOF
  virtual uint8_t peek() = 0;

  /// Hand what was written to where the stream leads, a file for example.
  /// \throws Error if it cannot be written.
  virtual void flush() = 0;

  /// Return the position of the cursor.
  /// \return The offset from the first byte, in bytes.
  virtual size_t tell() = 0;

  /// Move the cursor; the new position is origin + offset.
  ///
  /// If new computed position is less than 0, previous current position is kept.
  /// Needs the capability SEEK. A stream that can grow may be left behind its end: a write there fills the gap with
  /// zeros.
  /// \param offset The offset from the origin, in bytes.
  /// \param origin Where the offset counts from.
  /// \throws Error When trying to set the cursor before BEGIN, or if the stream cannot seek.
  virtual void seek(int64_t offset, SeekOrigin origin) = 0;

#ifndef SWIG
  /// Read bytes at the cursor and move it behind them.
  /// Needs the capability READ.
  /// \param destination receives the bytes
  /// \param size        bytes wanted
  /// \return bytes read, fewer than wanted only at the end of the stream, where `eof` is raised
  /// \throws Error if they cannot be read
  virtual size_t read(void * destination, size_t size) = 0;

  /// Write bytes at the cursor and move it behind them.
  /// Needs the capability WRITE.
  /// \param source the bytes
  /// \param size   how many
  /// \return bytes written, fewer only where a stream of fixed size ends
  /// \throws Error if they cannot be written
  virtual size_t write(void const * source, size_t size) = 0;

  /// Return the memory of all bytes, null when the stream does not offer MEMORY_ACCESS.
  /// It is valid until the stream is written or released; its size is where a seek to END leads.
  virtual void * buffer();
#endif

protected:
  StreamAccess() = default;
};

} // namespace zarnik
