#pragma once

#include "core/Support.h"
#include "zarnik/views/ImageView.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace zarnik::test {

/// A view to be tested, and a way to its samples that does not go through it.
struct ImageViewUnderTest {
  std::shared_ptr<ImageView> view;
  /// All samples, dense, the first dimension fastest.
  std::function<std::vector<uint8_t>()> samples;
};

/// One implementation of ImageView. To hold a new one to the contract, instantiate the suite with it:
/// INSTANTIATE_TEST_SUITE_P(Mine, ImageViewContract, testing::Values(ImageViewImplementation{...}),
/// nameOf);
struct ImageViewImplementation {
  std::string name;
  ImageCapabilitySet capabilities;
  /// Makes a view of that shape and type which shows the samples (dense, the first dimension fastest).
  std::function<ImageViewUnderTest(VectorXu64 const & shape, DataType, std::vector<uint8_t> const & samples)> make;
};

/// What every ImageView does, whatever stands behind it; the tests are in ImageViewContract.cpp.
class ImageViewContract : public testing::TestWithParam<ImageViewImplementation> {
protected:
  bool offers(ImageCapability capability) const { return GetParam().capabilities.has(capability); }

  /// Makes a view whose samples are the bytes 1, 2, 3, ... the one under test.
  void make(VectorXu64 const & shape, DataType dataType);

  std::shared_ptr<ImageView> view;
  std::function<std::vector<uint8_t>()> samples;
};

} // namespace zarnik::test
