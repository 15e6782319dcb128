#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik::platform {

/// An open regular file, read and written at offsets: there is no cursor, so that threads do not disturb each other.
/// Interrupted and short transfers are continued. Every failure is an Error with path, operation and reason.
class File {
public:
  enum class Mode {
    READ,      ///< must exist
    WRITE,     ///< is made, or emptied
    READ_WRITE ///< must exist
  };

  /// Opens a file. Processes that are started later do not inherit it.
  /// \throws InvalidArgument if the path is empty or has a null character
  /// \throws Error if it cannot be opened, or is no regular file
  static File open(std::string const & path, Mode mode);

  /// Opens a file in a folder, and only there: a link on the way, or the file itself, may not lead out of it.
  /// \param name relative to the folder, without `..`
  static File openBeneath(std::string const & folder, std::string const & name, Mode mode);

  File(File && other) noexcept;
  File & operator=(File && other) noexcept;
  File(File const &) = delete;
  File & operator=(File const &) = delete;
  /// Closes the file; a failure to do so is logged.
  ~File();

  std::string const & path() const { return path_; }
  int descriptor() const { return descriptor_; }

  /// Bytes of the file now, which other processes may change.
  uint64_t size() const;

  /// \return bytes read, fewer than wanted only at the end of the file
  size_t readAt(uint64_t offset, void * destination, size_t size) const;

  /// Writes all bytes; the file grows as needed, a gap reads as zeros.
  void writeAt(uint64_t offset, void const * source, size_t size) const;

  /// Asks the system for the room of bytes that will be written, which then takes less time. They do not belong to the
  /// file before that; room that stays unused goes with the file, or when it is cut.
  void reserve(uint64_t offset, uint64_t size) const noexcept;

  /// Asks the system to begin to write these bytes to the disk, which it may do later anyway. Nothing waits for that,
  /// and what fails is told to who waits.
  void beginStoring(uint64_t offset, uint64_t size) const noexcept;

  /// Cuts the file, or lets it grow with zeros.
  void resize(uint64_t newSize) const;

private:
  File(int descriptor, std::string path);
  static File checked(int descriptor, std::string const & path, Mode mode);
  void close() noexcept;

  int descriptor_ = -1;
  std::string path_;
};

/// All bytes of a file in memory, shared with everybody who maps it; what is written there reaches the file.
/// Who follows the pointer after the file was cut by somebody else is sent SIGBUS.
class Mapping {
public:
  /// \throws Error if the system cannot map it
  Mapping(File const & file, size_t size);
  Mapping(Mapping const &) = delete;
  Mapping & operator=(Mapping const &) = delete;
  ~Mapping();

  /// Never null, also when there are no bytes.
  void * data() const { return data_; }
  size_t size() const { return size_; }

private:
  void * data_;
  size_t size_;
};

} // namespace zarnik::platform
