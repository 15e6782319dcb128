#pragma once

#include <cstdint>
#include <functional>

namespace zarnik {

/// Told how far a long operation is, in units of the operation, such as bytes. Called from the thread that runs the
/// operation, about once per MiB.
/// \return false to cancel: the operation then throws Error and leaves nothing half-made
using Progress = std::function<bool(uint64_t done, uint64_t total)>;

} // namespace zarnik
