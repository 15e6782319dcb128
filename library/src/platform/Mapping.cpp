#include "core/Guarded.h"
#include "platform/File.h"
#include "platform/SystemError.h"

#include <cerrno>
#include <sys/mman.h>

namespace zarnik::platform {

namespace {

// What a mapping of no bytes points to: the system makes no such mappings.
char nothing = 0;

} // namespace

Mapping::Mapping(File const & file, size_t size) : data_(&nothing), size_(size) {
  if (size == 0)
    return;
  data_ = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.descriptor(), 0);
  if (data_ == MAP_FAILED)
    throwSystemError("cannot map", file.path(), description(", {} bytes, into memory", size), errno);
}

Mapping::~Mapping() {
  if (size_ != 0)
    ::munmap(data_, size_);
}

} // namespace zarnik::platform
