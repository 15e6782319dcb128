#include "access/CheckCapability.h"
#include "core/Guarded.h"
#include "zarnik/access/DataStorage.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/core/Error.h"

namespace zarnik {

DataAccess::~DataAccess() = default;
std::shared_ptr<DataStorage> DataAccess::storage() const { return nullptr; }
std::string DataAccess::resourceId() const { return {}; }

DataStorage::~DataStorage() = default;

StreamAccess::~StreamAccess() = default;
bool StreamAccess::support(StreamAccessCapabilitySet capabilities) const {
  return this->capabilities().has(capabilities);
}
bool StreamAccess::good() const { return !eof() && !fail(); }
void * StreamAccess::buffer() { return nullptr; }

RandomAccess::~RandomAccess() = default;
bool RandomAccess::support(RandomAccessCapabilitySet capabilities) const {
  return this->capabilities().has(capabilities);
}
void * RandomAccess::buffer() { return nullptr; }
std::shared_ptr<void> RandomAccess::sharedBuffer() { return nullptr; }

void RandomAccess::readMany(std::span<ReadRequest const> requests) {
  for (auto const & request : requests) {
    if (auto const count = read(request.offset, request.destination, request.size); count != request.size)
      throw Error(
          message("{} of {} bytes at offset {} could be read of {}", count, request.size, request.offset, toString()));
  }
}

void requireCapability(RandomAccess const & access, RandomAccessCapability capability, char const * cannot) {
  if (!access.support(capability))
    throw NotImplemented(message("{} cannot {}", access.toString(), cannot));
}

void requireCapability(StreamAccess const & stream, StreamAccessCapability capability, char const * cannot) {
  if (!stream.support(capability))
    throw NotImplemented(message("{} cannot {}", stream.toString(), cannot));
}

} // namespace zarnik
