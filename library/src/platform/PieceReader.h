#pragma once

#include "zarnik/access/RandomAccess.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace zarnik::platform {

/// Reads a file through a read-only mapping, which is made when it first pays: small pieces where many of them lie
/// close together, which would take a call of the system each, and large parts that are to be converted or thinned out,
/// which a call would copy whole.
///
/// A part of 2 MiB is looked at through the mapping once 32 pieces of it were wanted. At most 128 MiB of all mappings
/// of the process are resident; when it would be more, all pages are given back, and the counting begins anew.
/// Large parts are resident as long as they are looked at. Everything else is read by calls: pieces of more than 16
/// KiB, and all where the file cannot be mapped, the address space is limited (RLIMIT_AS), or the file system is none
/// that is known to keep its bytes in this machine. What others write to the file is seen, as by calls.
///
/// The size of the file is asked for before pieces are copied, again every 512 pieces, and for each large part. What
/// remains is that another program cuts the file in the microseconds between, or that the drive fails under a page of
/// small pieces that is not in memory yet: the system ends the process then (SIGBUS).
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

  /// Bytes of a file that are looked at where the system keeps them, as long as this is there.
  class Look {
  public:
    /// \param pages the pages that are given back in the end
    Look(std::byte const * data, std::span<std::byte> pages) : data_(data), pages_(pages) {}
    Look(Look const &) = delete;
    Look & operator=(Look const &) = delete;
    ~Look();

    std::byte const * data() const { return data_; }

  private:
    std::byte const * data_;
    std::span<std::byte> pages_;
  };

  /// A part of the file, all of it in memory now; nothing where it is to be read by calls, which then tell the reason.
  std::optional<Look> look(uint64_t offset, uint64_t size);

  /// Reads all requests, from any number of threads at once.
  void read(std::span<Request const> requests, ByCalls const & byCalls);

  /// Bytes of all mappings of this process that may be resident.
  static uint64_t residentBytes();
  /// Bytes that this process has copied from mappings, or looked at.
  static uint64_t bytesRead();

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
