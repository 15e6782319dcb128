#pragma once

#include <cstddef>
#include <cstdint>

namespace zarnik::platform {

/// A block of memory, zeros at first. A large one is asked of the system in large pages, and grows without copying.
class GrowingMemory {
public:
  /// \param what whose memory it is, for the message
  /// \throws Error if there is not enough memory
  GrowingMemory(uint64_t bytes, char const * what);
  GrowingMemory(GrowingMemory const &) = delete;
  GrowingMemory & operator=(GrowingMemory const &) = delete;
  ~GrowingMemory();

  /// Never null; changes with growth.
  std::byte * data() const { return data_; }

  /// Grows by zeros. What the owner wrote stays, beyond what he counts too.
  /// \return whether it could; if not, nothing has changed
  bool grow(uint64_t bytes) noexcept;

private:
  bool keep(void * mapped, size_t bytes) noexcept;

  std::byte * data_ = nullptr;
  // 0 if it is not asked of the system directly.
  size_t mappedBytes_ = 0;
};

} // namespace zarnik::platform
