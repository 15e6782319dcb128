#include "platform/PieceReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#ifdef __linux__
#include <sys/vfs.h>
#endif

namespace zarnik::platform {
namespace {

constexpr size_t PIECES_BETWEEN_LOOKS = 512;
// The system allows a process some 65000 mappings, of which others need some.
constexpr size_t MOST_MAPPINGS = 4096;
constexpr uint64_t LARGEST_FILE = std::min<uint64_t>(uint64_t{1} << 42, std::numeric_limits<size_t>::max() / 4);
constexpr auto NO_WINDOW = std::numeric_limits<uint64_t>::max();
constexpr uint8_t MAPPED = 255;

std::atomic<uint64_t> bytesFromMappings = 0;

/// Whether a page that cannot be read means that this machine is broken, not that another one is far away. File systems
/// in memory are none of them: looking at what was never written takes memory there.
bool isOnLocalDrive(int descriptor) {
#ifdef __linux__
  struct statfs status {};
  if (::fstatfs(descriptor, &status) != 0)
    return false;
  switch (static_cast<uint32_t>(status.f_type)) {
  case 0xEF53:     // ext2 to ext4
  case 0x58465342: // XFS
  case 0x9123683E: // Btrfs
  case 0xF2F52010: // F2FS
  case 0x2FC12FC1: // ZFS
  case 0xCA451A4E: // bcachefs
  case 0x794C7630: // overlay
    return true;
  default:
    return false;
  }
#else
  (void)descriptor;
  return false;
#endif
}

/// A mapping may take what others need where the address space has a limit.
bool isAddressSpaceUnlimited() {
  struct rlimit limit {};
  return ::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY;
}

/// None when the system does not tell: calls will say why.
uint64_t sizeOf(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

void copyPiece(void * destination, std::byte const * source, size_t size) {
  // Single samples need no call.
  switch (size) {
  case 1:
    std::memcpy(destination, source, 1);
    break;
  case 2:
    std::memcpy(destination, source, 2);
    break;
  case 4:
    std::memcpy(destination, source, 4);
    break;
  case 8:
    std::memcpy(destination, source, 8);
    break;
  default:
    std::memcpy(destination, source, size);
  }
}

} // namespace

/// A file's mapping, and for each part of it how many pieces were read by calls, or that it is looked at.
struct PieceReader::Windows {
  explicit Windows(uint64_t fileBytes)
      : bytes(fileBytes), count((fileBytes + WINDOW_BYTES - 1) / WINDOW_BYTES),
        pieces(new std::atomic<uint8_t>[count] {}) {}
  Windows(Windows const &) = delete;
  Windows & operator=(Windows const &) = delete;
  ~Windows() {
    if (memory != nullptr)
      ::munmap(memory, bytes);
  }

  bool map(int descriptor) {
    auto * const mapped = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, descriptor, 0);
    if (mapped != MAP_FAILED)
      memory = static_cast<std::byte *>(mapped);
    return memory != nullptr;
  }
  /// Whether that many pieces more of a window are looked at; counts them otherwise.
  bool isWorth(uint64_t window, size_t more);
  void giveBack() {
    for (size_t window = 0; window < count; ++window)
      pieces[window].store(0, std::memory_order_relaxed);
    ::madvise(memory, bytes, MADV_DONTNEED);
  }
  uint64_t resident() const {
    auto const isMapped = [](std::atomic<uint8_t> const & state) { return state == MAPPED; };
    return WINDOW_BYTES * static_cast<uint64_t>(std::count_if(pieces.get(), pieces.get() + count, isMapped));
  }

  std::byte * memory = nullptr;
  uint64_t bytes;
  size_t count;
  std::unique_ptr<std::atomic<uint8_t>[]> pieces;
};

/// The mappings of the process, which share what may be resident.
class PieceReader::Residents {
public:
  static Residents & instance() {
    // Never destroyed: files may be closed while the process ends.
    static Residents & residents = *new Residents;
    return residents;
  }

  /// \return false when there are too many
  bool add(Windows & windows) {
    std::lock_guard const lock(mutex_);
    if (mappings_.size() == MOST_MAPPINGS)
      return false;
    mappings_.push_back(&windows);
    return true;
  }
  void remove(Windows & windows) {
    std::lock_guard const lock(mutex_);
    std::erase(mappings_, &windows);
    bytes_ -= std::min(bytes_.load(), windows.resident());
  }

  /// To be told before a window is looked at that was not yet.
  void grow() {
    if (bytes_.fetch_add(WINDOW_BYTES) + WINDOW_BYTES <= RESIDENT_BYTES)
      return;
    std::lock_guard const lock(mutex_);
    if (bytes_ <= RESIDENT_BYTES)
      return; // another thread was here
    for (auto * const mapping : mappings_)
      mapping->giveBack();
    bytes_ = WINDOW_BYTES;
  }

  void shrink() { bytes_ -= std::min(bytes_.load(), WINDOW_BYTES); }

  uint64_t bytes() const { return bytes_; }

private:
  // A forked process has no other threads that could unlock it.
  Residents() {
    ::pthread_atfork([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                     [] { instance().mutex_.unlock(); });
  }

  std::mutex mutex_;
  std::vector<Windows *> mappings_;
  std::atomic<uint64_t> bytes_ = 0;
};

bool PieceReader::Windows::isWorth(uint64_t window, size_t more) {
  auto & state = pieces[window];
  auto const before = state.load(std::memory_order_relaxed);
  if (before == MAPPED)
    return true;
  if (before + more < FEWEST_PIECES) {
    state.store(static_cast<uint8_t>(before + more), std::memory_order_relaxed);
    return false;
  }
  Residents::instance().grow();
  if (state.exchange(MAPPED) == MAPPED)
    Residents::instance().shrink();
  return true;
}

PieceReader::~PieceReader() {
  if (std::unique_ptr<Windows> const windows(windows_.load()); windows)
    Residents::instance().remove(*windows);
}

uint64_t PieceReader::bytesRead() { return bytesFromMappings; }
uint64_t PieceReader::residentBytes() { return Residents::instance().bytes(); }

std::unique_ptr<PieceReader::Windows> PieceReader::makeWindows() const {
  auto const size = sizeOf(descriptor_);
  if (size == 0 || size > LARGEST_FILE || !isAddressSpaceUnlimited() || !isOnLocalDrive(descriptor_))
    return nullptr;
  auto windows = std::make_unique<Windows>(size);
  return windows->map(descriptor_) && Residents::instance().add(*windows) ? std::move(windows) : nullptr;
}

PieceReader::Windows * PieceReader::windows() {
  auto * ready = windows_.load(std::memory_order_acquire);
  if (ready != nullptr || isRefused_.load(std::memory_order_relaxed))
    return ready;
  auto made = makeWindows();
  if (!made)
    isRefused_.store(true, std::memory_order_relaxed);
  else if (windows_.compare_exchange_strong(ready, made.get(), std::memory_order_acq_rel))
    ready = made.release();
  else
    Residents::instance().remove(*made);
  return ready;
}

PieceReader::Look::~Look() { ::madvise(pages_.data(), pages_.size(), MADV_DONTNEED); }

std::optional<PieceReader::Look> PieceReader::look(uint64_t offset, uint64_t size) {
#ifdef MADV_POPULATE_READ
  auto const * const windows = this->windows();
  if (windows == nullptr || size == 0 || offset >= windows->bytes || size > windows->bytes - offset ||
      offset + size > sizeOf(descriptor_))
    return std::nullopt;
  static auto const pageBytes = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
  auto const begin = offset / pageBytes * pageBytes;
  std::span const pages(windows->memory + begin, offset + size - begin);
  // Unlike a look at a page, this reports what cannot be read.
  if (::madvise(pages.data(), pages.size(), MADV_POPULATE_READ) != 0)
    return std::nullopt;
  bytesFromMappings.fetch_add(size, std::memory_order_relaxed);
  return std::optional<Look>(std::in_place, windows->memory + offset, pages);
#else
  (void)offset, (void)size;
  return std::nullopt;
#endif
}

void PieceReader::read(std::span<Request const> requests, ByCalls const & byCalls) {
  // What reads a piece at a time does not make a mapping, but uses the one that is there.
  auto * const windows = requests.size() < FEWEST_PIECES ? windows_.load(std::memory_order_acquire) : this->windows();
  if (windows == nullptr)
    return byCalls(requests);
  auto const windowOf = [&](Request const & request) {
    bool const isPiece = request.size > 0 && request.size <= LARGEST_PIECE && request.offset < windows->bytes &&
                         request.size <= windows->bytes - request.offset;
    auto const window = request.offset / WINDOW_BYTES;
    return isPiece && (request.offset + request.size - 1) / WINDOW_BYTES == window ? window : NO_WINDOW;
  };
  uint64_t fileSize = 0;
  size_t untilLook = 0;
  size_t calls = 0; // requests before the current one that are left to calls
  auto const callUntil = [&](size_t end) {
    if (calls != 0)
      byCalls(requests.subspan(end - calls, calls));
    calls = 0;
  };
  for (size_t first = 0, next = 0; first < requests.size(); first = next) {
    auto const window = windowOf(requests[first]);
    next = first + 1;
    while (window != NO_WINDOW && next < requests.size() && windowOf(requests[next]) == window)
      ++next;
    auto const count = next - first;
    if (window == NO_WINDOW || !windows->isWorth(window, count)) {
      calls += count;
      continue;
    }
    callUntil(first);
    uint64_t bytes = 0;
    for (auto const & request : requests.subspan(first, count)) {
      if (untilLook-- == 0) {
        fileSize = sizeOf(descriptor_);
        untilLook = PIECES_BETWEEN_LOOKS;
      }
      if (request.offset + request.size > fileSize) {
        byCalls({&request, 1});
        continue;
      }
      copyPiece(request.destination, windows->memory + request.offset, request.size);
      bytes += request.size;
    }
    bytesFromMappings.fetch_add(bytes, std::memory_order_relaxed);
  }
  callUntil(requests.size());
}

} // namespace zarnik::platform
