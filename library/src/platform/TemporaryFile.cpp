#include "platform/TemporaryFile.h"

#include "core/Guarded.h"
#include "platform/SystemError.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zarnik {
namespace {

constexpr std::string_view PREFIX = "zarnik-";
constexpr std::string_view SUFFIX = ".raw";
constexpr size_t DIGITS = 16;
// What the kernel moves at most in one call.
constexpr size_t LARGEST_TRANSFER = size_t{1} << 30;

[[noreturn]] void throwFailed(char const * what, std::filesystem::path const & path, uint64_t bytes, int error) {
  throw Error(message("cannot {} {} bytes of the temporary file '{}': {}", what, bytes, path.native(),
                      platform::systemText(error)));
}

std::string newName() { return fmt::format("{}{:016x}{}", PREFIX, UidGenerator::generate(), SUFFIX); }

bool isName(std::string_view name) {
  if (name.size() != PREFIX.size() + DIGITS + SUFFIX.size() || !name.starts_with(PREFIX) || !name.ends_with(SUFFIX))
    return false;
  auto const digits = name.substr(PREFIX.size(), DIGITS);
  return digits.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// The names of this process's files: they need not be tried to be locked.
class OwnNames {
public:
  void add(std::string const & name) {
    std::lock_guard const lock(mutex_);
    names_.insert(name);
  }
  void remove(std::string const & name) {
    std::lock_guard const lock(mutex_);
    names_.erase(name);
  }
  bool has(std::string const & name) {
    std::lock_guard const lock(mutex_);
    return names_.contains(name);
  }

private:
  std::mutex mutex_;
  std::set<std::string> names_;
};

OwnNames & ownNames() {
  static auto * const names = new OwnNames; // images may go after static objects
  return *names;
}

class Descriptor {
public:
  explicit Descriptor(int file) : file_(file) {}
  ~Descriptor() {
    if (file_ >= 0)
      ::close(file_);
  }
  Descriptor(Descriptor const &) = delete;
  Descriptor & operator=(Descriptor const &) = delete;
  int get() const { return file_; }

private:
  int file_;
};

/// Removes a file unless somebody holds a lock on it.
void removeIfAbandoned(std::filesystem::path const & path) {
  Descriptor const file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (file.get() >= 0 && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
      ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
    ::unlink(path.c_str());
}

void sweep(std::filesystem::path const & folder) {
  auto const close = [](DIR * opened) { ::closedir(opened); };
  std::unique_ptr<DIR, decltype(close)> const entries(::opendir(folder.c_str()));
  if (!entries)
    return;
  while (auto const * const entry = ::readdir(entries.get()))
    if (isName(entry->d_name) && !ownNames().has(entry->d_name))
      removeIfAbandoned(folder / entry->d_name);
}

std::filesystem::path existing(std::filesystem::path const & folder) {
  std::error_code error;
  auto const chosen = folder.empty() ? std::filesystem::temp_directory_path(error) : folder;
  if (error)
    throw InvalidArgument(fmt::format("the folder of temporary files cannot be used: {}", error.message()));
  if (!std::filesystem::is_directory(chosen, error))
    throw InvalidArgument(fmt::format("the folder '{}' does not exist", chosen.string()));
  return std::filesystem::absolute(chosen);
}

/// Moves all of a range, in as many calls as it takes.
/// \return bytes moved, fewer than wanted when `call` moved none
template <typename Call>
size_t moveAll(char const * what, std::filesystem::path const & path, size_t size, Call const & call) {
  size_t done = 0;
  while (done != size) {
    auto const count = call(done, std::min(size - done, LARGEST_TRANSFER));
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      throwFailed(what, path, size, errno);
    if (count == 0)
      break;
    done += static_cast<size_t>(count);
  }
  return done;
}

off_t offsetOf(uint64_t value) { return static_cast<off_t>(value); }

} // namespace

TemporaryFile::TemporaryFile(std::filesystem::path const & folder, uint64_t size) : owner_(::getpid()) {
  auto const chosen = existing(folder);
  sweep(chosen);
  open(chosen);
  try {
    resize(size);
  } catch (...) {
    remove();
    throw;
  }
}

TemporaryFile::~TemporaryFile() { remove(); }

void TemporaryFile::open(std::filesystem::path const & folder) {
  // Between its making and its locking, another process may take the file for one that was left behind.
  while (true) {
    auto const name = newName();
    path_ = folder / name;
    ownNames().add(name);
    file_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file_ < 0) {
      auto const error = errno;
      ownNames().remove(name);
      if (error == EEXIST || error == EINTR)
        continue;
      throw Error(message("cannot create the temporary file '{}': {}", path_.native(), platform::systemText(error)));
    }
    // Where files cannot be locked, nobody else can lock this one either.
    while (::flock(file_, LOCK_EX) != 0 && errno == EINTR)
      ;
    struct stat status {};
    if (::fstat(file_, &status) == 0 && status.st_nlink != 0)
      return;
    remove();
  }
}

void TemporaryFile::remove() noexcept {
  if (::getpid() == owner_)
    ::unlink(path_.c_str());
  ::close(file_);
  try {
    ownNames().remove(path_.filename().string());
  } catch (...) {
    // The name stays known as one of this process, which is of no consequence.
  }
}

size_t TemporaryFile::read(uint64_t offset, void * destination, size_t size) const {
  return moveAll("read", path_, size, [&](size_t done, size_t count) {
    return ::pread(file_, static_cast<std::byte *>(destination) + done, count, offsetOf(offset + done));
  });
}

void TemporaryFile::write(uint64_t offset, void const * source, size_t size) {
  auto const done = moveAll("write", path_, size, [&](size_t start, size_t count) {
    return ::pwrite(file_, static_cast<std::byte const *>(source) + start, count, offsetOf(offset + start));
  });
  if (done != size)
    throwFailed("write", path_, size, ENOSPC);
}

void TemporaryFile::resize(uint64_t size) {
  auto const fits = size <= static_cast<uint64_t>(std::numeric_limits<off_t>::max());
  int error = fits ? 0 : EFBIG;
  while (fits && ::ftruncate(file_, offsetOf(size)) != 0) {
    error = errno;
    if (error != EINTR)
      break;
    error = 0;
  }
  if (error != 0)
    throw Error(message("cannot give the temporary file '{}' a size of {} bytes: {}", path_.native(), size,
                        platform::systemText(error)));
  size_ = size;
}

} // namespace zarnik
