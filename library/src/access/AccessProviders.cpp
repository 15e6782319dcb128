#include "zarnik/access/RandomAccessProvider.h"
#include "zarnik/access/StreamAccessProvider.h"

namespace zarnik {

bool StreamAccessProvider::isStreamAccess(std::shared_ptr<DataAccess> access) { return toStream(access) != nullptr; }

std::shared_ptr<StreamAccess> StreamAccessProvider::toStream(std::shared_ptr<DataAccess> access) {
  return std::dynamic_pointer_cast<StreamAccess>(access);
}

bool RandomAccessProvider::isRandomAccess(std::shared_ptr<DataAccess> access) { return toRandom(access) != nullptr; }

std::shared_ptr<RandomAccess> RandomAccessProvider::toRandom(std::shared_ptr<DataAccess> access) {
  return std::dynamic_pointer_cast<RandomAccess>(access);
}

} // namespace zarnik
