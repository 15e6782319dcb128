#include "platform/File.h"

#include "core/Guarded.h"
#include "core/Logging.h"
#include "platform/SystemError.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#ifdef __linux__
#include <linux/openat2.h>
#include <sys/syscall.h>
#endif

namespace zarnik::platform {

namespace {

// Some systems refuse to transfer more at once.
constexpr size_t LARGEST_TRANSFER = size_t{1} << 30;
constexpr auto LARGEST_OFFSET = static_cast<uint64_t>(std::numeric_limits<off_t>::max());

template <typename Call> auto retryInterrupted(Call const & call) {
  decltype(call()) result = 0;
  do
    result = call();
  while (result < 0 && errno == EINTR);
  return result;
}

// Not to block: what waits for another process, such as a pipe, is no regular file and refused below.
int flagsOf(File::Mode mode) {
  constexpr int always = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  switch (mode) {
  case File::Mode::WRITE:
    return always | O_WRONLY | O_CREAT | O_TRUNC;
  case File::Mode::READ_WRITE:
    return always | O_RDWR;
  case File::Mode::READ:
    break;
  }
  return always | O_RDONLY;
}

char const * purposeOf(File::Mode mode) {
  switch (mode) {
  case File::Mode::WRITE:
    return " for writing";
  case File::Mode::READ_WRITE:
    return " for reading and writing";
  case File::Mode::READ:
    break;
  }
  return " for reading";
}

void checkPath(std::string const & path) {
  if (path.empty())
    throw InvalidArgument("the path of a file must not be empty");
  if (auto const place = path.find('\0'); place != std::string::npos)
    throw InvalidArgument(
        message("the path of a file must not have a null character, \"{}\" is followed by one", path.substr(0, place)));
}

// For systems that cannot confine a path themselves: between the check and the opening a link may still be changed.
int openCanonical(std::string const & folder, std::string const & name, int flags, mode_t permissions) {
  std::error_code error;
  auto const root = std::filesystem::canonical(folder, error);
  auto const target = error ? root : std::filesystem::weakly_canonical(root / name, error);
  if (error) {
    errno = error.value();
    return -1;
  }
  auto const [rootEnd, ignored] = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
  if (rootEnd != root.end()) {
    errno = EXDEV;
    return -1;
  }
  return ::open(target.c_str(), flags | O_NOFOLLOW, permissions);
}

int openConfined(std::string const & folder, std::string const & name, int flags) {
  constexpr mode_t permissions = 0666;
#if defined(__linux__) && defined(SYS_openat2)
  auto const parent = retryInterrupted([&] { return ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); });
  if (parent < 0)
    return -1;
  open_how how{};
  how.flags = static_cast<uint64_t>(flags);
  how.mode = (flags & O_CREAT) ? permissions : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  // EAGAIN tells that something was renamed on the way.
  long result = 0;
  int attempts = 0;
  do
    result = retryInterrupted([&] { return ::syscall(SYS_openat2, parent, name.c_str(), &how, sizeof(how)); });
  while (result < 0 && errno == EAGAIN && ++attempts < 100);
  auto const code = errno;
  ::close(parent);
  errno = code;
  // Old kernels do not know the call, and some sandboxes forbid what they do not know.
  if (result >= 0 || (code != ENOSYS && code != EPERM))
    return static_cast<int>(result);
#endif
  return retryInterrupted([&] { return openCanonical(folder, name, flags, permissions); });
}

} // namespace

File::File(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}
File::File(File && other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_)) {}
File & File::operator=(File && other) noexcept {
  if (this != &other) {
    close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    path_ = std::move(other.path_);
  }
  return *this;
}
File::~File() { close(); }

void File::close() noexcept {
  // Not repeated after EINTR: the descriptor is gone, and its number may be another file's by then.
  if (auto const descriptor = std::exchange(descriptor_, -1); descriptor >= 0 && ::close(descriptor) != 0) {
    try {
      if (errno != EINTR)
        logger().error("cannot close \"{}\": {}", path_, systemText(errno));
    } catch (...) { // there is nobody left to tell
    }
  }
}

File File::checked(int descriptor, std::string const & path, Mode mode) {
  if (descriptor < 0)
    throwSystemError("cannot open", path, purposeOf(mode), errno);
  File file(descriptor, path);
  struct stat status {};
  if (::fstat(descriptor, &status) != 0)
    throwSystemError("cannot open", path, purposeOf(mode), errno);
  if (S_ISDIR(status.st_mode))
    throwSystemError("cannot open", path, purposeOf(mode), EISDIR);
  if (!S_ISREG(status.st_mode))
    throw Error(message("cannot open \"{}\"{}: not a regular file", path, purposeOf(mode)));
  return file;
}

File File::open(std::string const & path, Mode mode) {
  checkPath(path);
  return checked(retryInterrupted([&] { return ::open(path.c_str(), flagsOf(mode), mode_t{0666}); }), path, mode);
}

File File::openBeneath(std::string const & folder, std::string const & name, Mode mode) {
  checkPath(name);
  auto const path = (std::filesystem::path(folder) / name).string();
  auto const descriptor = openConfined(folder, name, flagsOf(mode));
  if (descriptor < 0 && errno == EXDEV)
    throw InvalidArgument(message("resource \"{}\" leads out of the folder \"{}\"", name, folder));
  return checked(descriptor, path, mode);
}

uint64_t File::size() const {
  struct stat status {};
  if (::fstat(descriptor_, &status) != 0)
    throwSystemError("cannot tell the size of", path_, "", errno);
  return static_cast<uint64_t>(status.st_size);
}

size_t File::readAt(uint64_t offset, void * destination, size_t size) const {
  if (offset >= LARGEST_OFFSET)
    return 0;
  auto * const bytes = static_cast<uint8_t *>(destination);
  size_t done = 0;
  while (done < size && offset + done < LARGEST_OFFSET) {
    auto const most = std::min({size - done, LARGEST_TRANSFER, size_t{LARGEST_OFFSET - offset - done}});
    auto const count =
        retryInterrupted([&] { return ::pread(descriptor_, bytes + done, most, static_cast<off_t>(offset + done)); });
    if (count < 0)
      throwSystemError("cannot read", path_, description(" at offset {}", offset + done), errno);
    if (count == 0)
      break;
    done += static_cast<size_t>(count);
  }
  return done;
}

void File::writeAt(uint64_t offset, void const * source, size_t size) const {
  if (offset > LARGEST_OFFSET || size > LARGEST_OFFSET - offset)
    throwSystemError("cannot write", path_, description(" at offset {}", offset), EFBIG);
  auto const * const bytes = static_cast<uint8_t const *>(source);
  size_t done = 0;
  while (done < size) {
    auto const most = std::min(size - done, LARGEST_TRANSFER);
    auto const count =
        retryInterrupted([&] { return ::pwrite(descriptor_, bytes + done, most, static_cast<off_t>(offset + done)); });
    if (count <= 0)
      throwSystemError("cannot write", path_, description(" at offset {}", offset + done), count < 0 ? errno : ENOSPC);
    done += static_cast<size_t>(count);
  }
}

void File::reserve([[maybe_unused]] uint64_t offset, [[maybe_unused]] uint64_t size) const noexcept {
#ifdef FALLOC_FL_KEEP_SIZE
  // What it cannot do is found when the bytes are written.
  static_cast<void>(
      ::fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset), static_cast<off_t>(size)));
#endif
}

void File::beginStoring([[maybe_unused]] uint64_t offset, [[maybe_unused]] uint64_t size) const noexcept {
#ifdef SYNC_FILE_RANGE_WRITE
  static_cast<void>(
      ::sync_file_range(descriptor_, static_cast<off_t>(offset), static_cast<off_t>(size), SYNC_FILE_RANGE_WRITE));
#endif
}

void File::resize(uint64_t newSize) const {
  auto const code = newSize > LARGEST_OFFSET ? EFBIG
                    : retryInterrupted([&] { return ::ftruncate(descriptor_, static_cast<off_t>(newSize)); }) != 0
                        ? errno
                        : 0;
  if (code != 0)
    throwSystemError("cannot resize", path_, description(" to {} bytes", newSize), code);
}

} // namespace zarnik::platform
