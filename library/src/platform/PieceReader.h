#pragma once

#include "zarnik/access/RandomAccess.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace zarnik::platform {

/// Reads small pieces of a file where many of them lie close together: not by a call of the system each, but through a
/// read-only mapping of the file, which is made when it first pays.
///
/// A part of 2 MiB is looked at through the mapping once 32 pieces of it were wanted. At most 128 MiB of all mappings
/// of the process are resident; when it would be more, all pages are given back, and the counting begins anew.
/// Everything else is read by calls: pieces of more than 16 KiB, and all pieces where the file cannot be mapped, the
/// address space is limited (RLIMIT_AS), or the file system is none that is known to keep its bytes in this machine.
/// What others write to the file is seen, as by calls.
///
/// The size of the file is asked for before pieces are copied, and again every 512 pieces. What remains is that another
/// program cuts the file in the microseconds between, or that the drive fails under a page that is not in memory yet:
/// the system ends the process then (SIGBUS).
class PieceReader {
public:
  using Request = RandomAccess::ReadRequest;
  /// Reads requests, all of which are whole or an error, by calls.
  using ByCalls = std::function<void(std::span<Request const>)>;

  static constexpr uint64_t WINDOW_BYTES = uint64_t{1} << 21;
  static constexpr uint64_t RESIDENT_BYTES = uint64_t{1} << 27;
  static constexpr uint64_t LARGEST_PIECE = uint64_t{1} << 14;
  static constexpr size_t FEWEST_PIECES = 32;

  /// \param descriptor an open regular file, which stays open as long as the reader is there
  explicit PieceReader(int descriptor) : descriptor_(descriptor) {}
  PieceReader(PieceReader const &) = delete;
  PieceReader & operator=(PieceReader const &) = delete;
  ~PieceReader();

  /// Reads all requests, from any number of threads at once.
  void read(std::span<Request const> requests, ByCalls const & byCalls);

  /// Bytes of all mappings of this process that may be resident.
  static uint64_t residentBytes();
  /// Bytes that this process has copied from mappings.
  static uint64_t copiedBytes();

private:
  struct Windows;
  class Residents;

  Windows * windows();
  std::unique_ptr<Windows> makeWindows() const;

  int descriptor_;
  std::atomic<Windows *> windows_ = nullptr;
  std::atomic<bool> isRefused_ = false;
};

} // namespace zarnik::platform
