#pragma once

#include "zarnik/access/HTTPHeaders.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/access/Uri.h"
#include "zarnik/core/Export.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zarnik {

/// Makes streams. Paths are those of regular files; others, such as folders and pipes, are refused.
class ZARNIK_API StreamAccessFactory {
public:
  /// Allocate a stream in memory.
  ///
  /// The returned stream supports `read`, `write` and `seek` operations. Its bytes are zeros, and it stays of that
  /// size. \param size The size of the stream, in bytes. \return The stream, its cursor at the beginning. \throws Error
  /// if the memory cannot be had.
  static std::shared_ptr<StreamAccess> allocate(size_t size);

  /// Allocate a stream in memory that grows as it is written.
  ///
  /// The returned stream supports `read`, `write` and `seek` operations.
  /// \return The stream, empty.
  static std::shared_ptr<StreamAccess> allocate();

  /// Copy a stream in memory.
  ///
  /// All bytes are copied, from the first to the last; the cursor of the stream is back at its position then.
  /// \param stream The stream to copy, which needs the capabilities READ and SEEK.
  /// \return A new stream in memory that grows as it is written, its cursor at the beginning.
  /// \throws InvalidArgument if the stream is null.
  /// \throws Error if the stream can not be read or seek.
  static std::shared_ptr<StreamAccess> copyInMemory(std::shared_ptr<StreamAccess> stream);

  /// Open a file for reading.
  /// \param path The path of the file, which must exist.
  /// \return The stream, its cursor at the beginning.
  /// \throws Error if the file can not be opened.
  static std::shared_ptr<StreamAccess> openFileRead(std::string const & path);

  /// Open a file for writing.
  ///
  /// The file is made if it does not exist, and emptied if it does.
  /// \param path The path of the file.
  /// \return The stream.
  /// \throws Error if the file can not be opened.
  static std::shared_ptr<StreamAccess> openFileWrite(std::string const & path);

  /// Open a file for reading and writing.
  /// \param path The path of the file, which must exist. Its content is kept.
  /// \return The stream, its cursor at the beginning.
  /// \throws Error if the file can not be opened.
  static std::shared_ptr<StreamAccess> openFile(std::string const & path);

  /// Open a resource for writing by its URI.
  ///
  /// The scheme 'file' calls openFileWrite(); 'http' and 'https' call openHTTPWrite()
  /// using the POST method and no headers.
  /// \param uri The address of the resource.
  /// \return The stream.
  /// \throws InvalidArgument if the scheme is another one.
  /// \throws Error if the resource can not be opened.
  static std::shared_ptr<StreamAccess> openURIWrite(Uri const & uri);

  /// Open a resource on a HTTP server for writing.
  ///
  /// What is written is sent as the body of one request. Releasing the stream ends the body.
  /// HTTP server must support chunked transfer encoding.
  /// \param uri     The address of the resource.
  /// \param method  The method of the request, such as POST or PUT.
  /// \param headers The headers to send with the request.
  /// \return The stream, which can only be written.
  /// \throws InvalidArgument if an argument can not be used.
  /// \throws Error if the server can not be reached.
  static std::shared_ptr<StreamAccess> openHTTPWrite(Uri const & uri, std::string const & method,
                                                     HTTPHeaders const & headers);

  /// Create a stream over a random accessor.
  ///
  /// It can do what the accessor can, and grows where that grows.
  /// \param random The accessor, which the stream keeps.
  /// \return The stream, its cursor at the beginning.
  /// \throws InvalidArgument if the accessor is null.
  static std::shared_ptr<StreamAccess> fromRandomAccess(std::shared_ptr<RandomAccess> random);
};

} // namespace zarnik
