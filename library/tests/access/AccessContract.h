#pragma once

#include "core/Support.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace zarnik::test {

/// A new folder for the running test; removed when the test process ends.
std::filesystem::path scratchFolder();

/// Writes a file into the scratch folder and returns its path.
std::string scratchFile(Bytes const & content);

/// All bytes of an accessor.
Bytes readAll(RandomAccess & access);

/// A stream of which the library knows nothing, over the bytes given.
std::shared_ptr<StreamAccess> foreignStream(Bytes content, StreamAccessCapabilitySet capabilities);

/// One implementation of RandomAccess. To hold a new one to the contract, instantiate the suite with it:
/// INSTANTIATE_TEST_SUITE_P(Mine, RandomAccessContract, testing::Values(RandomAccessImplementation{...}),
/// nameOf);
struct RandomAccessImplementation {
  std::string name;
  RandomAccessCapabilitySet capabilities;
  /// Makes an accessor over these bytes.
  std::function<std::shared_ptr<RandomAccess>(Bytes const & content)> make;
};

/// One implementation of StreamAccess, as above.
struct StreamAccessImplementation {
  std::string name;
  StreamAccessCapabilitySet capabilities;
  bool grows;
  /// Makes a stream over these bytes, its cursor at the beginning.
  std::function<std::shared_ptr<StreamAccess>(Bytes const & content)> make;
};

/// What every RandomAccess does, whatever stands behind it.
class RandomAccessContract : public testing::TestWithParam<RandomAccessImplementation> {
protected:
  bool offers(RandomAccessCapability capability) const { return GetParam().capabilities.has(capability); }
  std::shared_ptr<RandomAccess> make(size_t size = 10) const { return GetParam().make(ramp(size)); }
};

/// What every StreamAccess does.
class StreamAccessContract : public testing::TestWithParam<StreamAccessImplementation> {
protected:
  bool offers(StreamAccessCapability capability) const { return GetParam().capabilities.has(capability); }
  std::shared_ptr<StreamAccess> make(size_t size = 10) const { return GetParam().make(ramp(size)); }
};

} // namespace zarnik::test
