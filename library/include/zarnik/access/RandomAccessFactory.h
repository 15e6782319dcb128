#pragma once

#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/access/Uri.h"
#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zarnik {

/// Makes random accessors.
class ZARNIK_API RandomAccessFactory {
public:
  /// Allocate an accessor in memory.
  ///
  /// Its bytes are zeros. It can be read, written and resized, and its memory used in place.
  /// \param size The size of the accessor, in bytes.
  /// \return The accessor.
  /// \throws Error if the memory cannot be had.
  static std::shared_ptr<RandomAccess> allocate(size_t size);

  /// Copy an accessor in memory.
  ///
  /// If the accessor is already in memory, it is returned and no copy are done.
  /// \param random The accessor to copy, which needs the capability READ.
  /// \return An accessor that offers its memory.
  /// \throws InvalidArgument if the accessor is null.
  /// \throws Error if the accessor can not be read.
  static std::shared_ptr<RandomAccess> copyInMemory(std::shared_ptr<RandomAccess> random);

  /// Map a file into memory, for reading and writing.
  ///
  /// The accessor has the size that the file has now. When somebody cuts the file meanwhile, reads and writes end where
  /// the file ends now; only who uses the memory in place, and touches bytes that are gone, is in danger: the system
  /// ends the process then.
  /// \param path The path of the file.
  /// \return The accessor.
  /// \throws Error if the file does not exist or can not be mapped.
  static std::shared_ptr<RandomAccess> mapFile(std::string const & path);

  /// Open a resource for reading by its URI.
  ///
  /// The scheme 'file' opens the file through StreamAccessFactory::openFileRead(); 'http' and 'https' call
  /// openHTTPRead() using the GET method and no headers.
  /// \param uri The address of the resource.
  /// \return The accessor.
  /// \throws InvalidArgument if the scheme is another one.
  /// \throws Error if the resource can not be opened.
  static std::shared_ptr<RandomAccess> openURIRead(Uri const & uri);

  /// Open a resource on a HTTP server for reading.
  ///
  /// HTTP server must support HTTP range requests.
  /// \param uri     The address of the resource.
  /// \param method  The method of the requests, as a rule GET.
  /// \param headers The headers to send with each request.
  /// \return The accessor, which can only be read.
  /// \throws InvalidArgument if an argument can not be used.
  /// \throws Error if the resource can not be read in ranges.
  static std::shared_ptr<RandomAccess> openHTTPRead(Uri const & uri, std::string const & method,
                                                    HTTPHeaders const & headers);

  /// Create an accessor over a part of another one, from an offset to its end.
  ///
  /// No bytes are copied; the part is of fixed size.
  /// \param src    The accessor, which the part keeps.
  /// \param offset The offset of the first byte, at most the size of the accessor.
  /// \return The part, whose offsets count from its first byte.
  /// \throws InvalidArgument if the accessor is null.
  /// \throws Error if the offset is out of range.
  static std::shared_ptr<RandomAccess> extractRegion(std::shared_ptr<RandomAccess> src, size_t offset);

  /// Create an accessor over a part of another one.
  ///
  /// No bytes are copied; the part is of fixed size.
  /// \param src    The accessor, which the part keeps.
  /// \param offset The offset of the first byte.
  /// \param size   The number of bytes.
  /// \return The part, whose offsets count from its first byte.
  /// \throws InvalidArgument if the accessor is null.
  /// \throws Error if the part is out of range.
  static std::shared_ptr<RandomAccess> extractRegion(std::shared_ptr<RandomAccess> src, size_t offset, size_t size);

  /// Create an accessor over a stream.
  ///
  /// It is of the size that the stream has, and does one transfer at a time; the cursor of the stream moves.
  /// \param stream The stream, which needs the capability SEEK. The accessor keeps it.
  /// \return The accessor.
  /// \throws InvalidArgument if the stream is null.
  /// \throws Error if the stream can not seek.
  static std::shared_ptr<RandomAccess> fromStream(std::shared_ptr<StreamAccess> stream);

#ifndef SWIG
  /// Create an accessor over memory of the caller's, which has to outlive it.
  /// \throws InvalidArgument if there are bytes but no buffer
  static std::shared_ptr<RandomAccess> fromBuffer(void * buffer, size_t size);

  /// Create an accessor over memory that somebody keeps.
  /// \param keeper  released with the accessor and all who share the memory
  /// \param canWrite false for memory that must not change
  static std::shared_ptr<RandomAccess> fromBuffer(void * buffer, size_t size, std::shared_ptr<void> keeper,
                                                  bool canWrite);

  /// Open a file for reading; its regions are read in place, without a cursor.
  /// Many small pieces that lie close together (readMany) are copied from a mapping, of which at most 128 MiB are
  /// resident, and images over the file convert large parts there, where the file is on a drive of this machine and
  /// RLIMIT_AS is not set. Whether the file still has them is looked at just before; that it is cut in between, or the
  /// drive fails under small pieces, ends the process by SIGBUS there.
  ///
  /// \throws Error if the file can not be opened
  static std::shared_ptr<RandomAccess> openFileRead(std::string const & path);

  /// Open a file that exists for reading and writing.
  /// \throws Error if the file can not be opened
  static std::shared_ptr<RandomAccess> openFile(std::string const & path);

  /// Return how many bytes of files this process has read from mappings, which the system does not count as read.
  static uint64_t bytesFromMappings();
#endif
};

} // namespace zarnik
