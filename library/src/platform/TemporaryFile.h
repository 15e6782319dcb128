#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace zarnik {

/// A file of its own that goes with its object.
///
/// It has a name in its folder, `zarnik-` and 16 hexadecimal digits and `.raw`, and is readable by its user only. The
/// object holds a lock on it: what a killed process left behind has none, and goes when the next file is made in that
/// folder. Bytes that were never written read as zeros and take no room.
class TemporaryFile {
public:
  /// \param folder where to make it; empty for the usual folder of temporary files
  /// \throws InvalidArgument if there is no such folder
  /// \throws Error if the file cannot be made, or not of that size
  TemporaryFile(std::filesystem::path const & folder, uint64_t size);
  ~TemporaryFile();
  TemporaryFile(TemporaryFile const &) = delete;
  TemporaryFile & operator=(TemporaryFile const &) = delete;

  std::filesystem::path const & path() const { return path_; }
  uint64_t size() const { return size_; }
  int descriptor() const { return file_; }

  /// Reads or writes bytes at an offset; several threads may do so at a time.
  /// \return bytes read, fewer only at the end of the file
  /// \throws Error if they cannot be read
  size_t read(uint64_t offset, void * destination, size_t size) const;
  /// \throws Error if they cannot be written, such as when there is no space left
  void write(uint64_t offset, void const * source, size_t size);

  /// \throws Error if the file cannot have that size; it is then unchanged
  void resize(uint64_t size);

private:
  void open(std::filesystem::path const & folder);
  void remove() noexcept;

  std::filesystem::path path_;
  uint64_t size_ = 0;
  int file_ = -1;
  long owner_ = 0; // a child of fork has the object, too, but the file is not its own
};

} // namespace zarnik
