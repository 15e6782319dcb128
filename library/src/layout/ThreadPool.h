#pragma once

#include <cstddef>
#include <cstdint>

namespace zarnik::layout {

/// Bytes below which an operation stays on the calling thread: waking others takes as long as copying this much.
constexpr uint64_t USUAL_PARALLEL_BYTES = uint64_t{2} << 20;

/// Sets these bytes, so that tests can cut small operations too. At least 1.
void setParallelBytes(uint64_t bytes);

/// Returns in how many parts to cut an operation on `bytes` bytes, 1 when it is to stay on the calling thread.
size_t partsFor(uint64_t bytes);

/// Calls work(context, part) for all parts, on the calling thread and on those of the pool. The work must not throw.
/// While the pool is in use by another caller, or cannot be had, everything runs on the calling thread.
void runParts(size_t parts, void (*work)(void const *, size_t), void const * context);

template <typename Work> void runParts(size_t parts, Work const & work) {
  runParts(
      parts, [](void const * context, size_t part) { (*static_cast<Work const *>(context))(part); }, &work);
}

} // namespace zarnik::layout
