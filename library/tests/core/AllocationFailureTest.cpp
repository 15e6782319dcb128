// What is left when memory runs out anywhere within an operation.
#include "core/FailingAllocations.h"
#include "layout/CopyPlan.h"
#include "layout/StridedCases.h"
#include "layout/ThreadPool.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/metadata/MetadataNodeFactory.h"
#include "zarnik/metadata/MetadataNodeHelper.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace zarnik::test {

namespace {

// Made before, so that only the library's own allocations fail.
std::string const LONG_KEY = "a key that needs memory of its own";
std::string const LONG_PATH = "some path/along nodes/that do not exist yet";

struct FewParallelBytes : testing::Test {
  size_t const threads = threadCount();
  FewParallelBytes() { layout::setParallelBytes(1); }
  ~FewParallelBytes() override {
    layout::setParallelBytes(layout::USUAL_PARALLEL_BYTES);
    setThreadCount(threads);
  }
};

TEST_F(FewParallelBytes, PoolDoesWithoutTheThreadsThatItCannotStart) {
  auto const from = noise(1 << 16, 1);
  std::vector<uint64_t> const size{256, 256};
  std::vector<uint64_t> const rows{256, 1};
  std::vector<uint64_t> const columns{1, 256};
  std::vector<std::byte> to(from.size());
  auto const copy = [&] {
    copyStrided(size, rows, columns, 1, from.data(), to.data());
    return to;
  };
  setThreadCount(1);
  auto const expected = copy();
  bool happened = true;
  for (int number = 1; happened; ++number) {
    // Another number each time, so that the threads are ended and started anew.
    setThreadCount(static_cast<size_t>(number % 2 == 0 ? 3 : 5));
    copy();
    setThreadCount(static_cast<size_t>(number % 2 == 0 ? 5 : 3));
    std::fill(to.begin(), to.end(), std::byte{0});
    {
      FailingAllocation const failing(number);
      copyStrided(size, rows, columns, 1, from.data(), to.data());
      happened = failing.happened();
    }
    ASSERT_TRUE(to == expected) << "allocation " << number;
    ASSERT_TRUE(copy() == expected) << "after allocation " << number;
  }
}

std::shared_ptr<MetadataNode> family() {
  auto const root = MetadataNodeFactory::create("the root of a tree of some nodes", nullptr);
  for (int child = 0; child < 12; ++child) {
    root->addChild(MetadataNodeFactory::create("a child whose key needs memory " + std::to_string(child), nullptr));
  }
  root->addChild(root->begin()->clone());
  return root;
}

auto const told = [](auto const & object) { return object->toString(); };

TEST(AllocationFailure, OfMetadata) {
  withEachAllocationFailing("create", [] { MetadataNodeFactory::create(LONG_KEY, nullptr); });
  withEachAllocationFailing(
      "clone", family, [](auto & node) { node->clone(); }, told);
  withEachAllocationFailing(
      "text", family, [](auto & node) { (void)node->toString(); }, told);
  withEachAllocationFailing(
      "addChild", family, [](auto & node) { node->addChild(MetadataNodeFactory::create(LONG_KEY, nullptr)); }, told);
  withEachAllocationFailing(
      "no such child", family,
      [](auto & node) {
        try {
          node->child("nobody");
          FAIL() << "found nobody";
        } catch (InvalidArgument const &) {
          // whatever its text
        }
      },
      told);
  withEachAllocationFailing(
      "createPath", family, [](auto & node) { MetadataNodeHelper::createPath(node, LONG_PATH, nullptr); }, told);
  withEachAllocationFailing(
      "iterate", family, [](auto & node) { auto const copy = node->begin(); }, told);
  char const * texts[] = {"one text", "and another one"};
  double const numbers[] = {1, 2, 3};
  withEachAllocationFailing("value", [&] {
    VariantDataValueFactory::create(texts, 2)->clone();
    VariantDataValueFactory::create(numbers, 3)->clone();
  });
}

TEST(AllocationFailure, OfProperties) {
  auto const make = [] {
    auto const properties = ImageProperties::fromDataType(DataTypeId::UINT8);
    properties->calibration().setUnit("a unit of many letters");
    return properties;
  };
  withEachAllocationFailing(
      "all", make,
      [](auto & properties) {
        properties->clone();
        (void)properties->toString();
        (void)properties->incompatibilityWith({3, 4}, DataTypeId::UINT8);
        ImageProperties::fromProperties(*properties, properties->calibration());
      },
      told);
  withEachAllocationFailing(
      "setUnit", make, [](auto & properties) { properties->calibration().setUnit(LONG_KEY); }, told);
}

TEST(AllocationFailure, OfValues) {
  withEachAllocationFailing("texts", [] {
    (void)VectorXd({0.123456, 1.23456, 2.3456}).toString();
    (void)Matrix4d::identity().toString();
    (void)RegionXu64({100, 200}, {300, 400}).toString();
    (void)ImageTypeId::MULTISPECTRAL_VOLUME_SEQUENCE.toString();
    (void)DataType(DataTypeId::MATRIX3_DOUBLE).toString();
    (void)ArrayXf({9, 9}).toString();
  });
  withEachAllocationFailing(
      "reshape",
      [] {
        return std::make_shared<ArrayXf>(VectorXu64{9, 9});
      },
      [](auto & array) {
        try {
          array->reshape({9, 10});
        } catch (InvalidArgument const &) {
        }
        array->reshape({81});
      },
      [](auto const & array) { return array->toString(); });
}

TEST(AllocationFailure, OfRegions) {
  Indexer const from({30, 20}, DataTypeId::UINT16);
  Indexer const to({20, 30}, DataTypeId::FLOAT);
  std::vector<uint16_t> const source(600, 7);
  std::vector<float> destination(600);
  withEachAllocationFailing("convert", [&] {
    RegionConverter(from, to, {1, 2}, {3, 4}, {5, 6}).convert(source.data(), destination.data());
    RegionCopier(from, from, {1, 2}, {1, 2}, {5, 6}, DataTypeId::UINT16).copy(source.data(), destination.data());
  });
}

TEST(AllocationFailure, OfViews) {
  auto const make = [] {
    auto image = ImageViewFactory::allocate({4, 3}, DataTypeId::UINT8);
    image->setSpatialUnit("a unit of many letters");
    return image;
  };
  auto const all = [](auto const & image) { return image->toString() + image->properties()->toString(); };
  withEachAllocationFailing("allocate", [] { ImageViewFactory::allocate({4, 3}, DataTypeId::UINT8); });
  withEachAllocationFailing(
      "restrict", make, [](auto & image) { ImageViewProvider::toReadOnly(image); }, all);
  withEachAllocationFailing(
      "reshape", make,
      [](auto & image) {
        image->reshape({5, 6, 7}, DataTypeId::FLOAT);
      },
      all);
  withEachAllocationFailing(
      "set", make, [](auto & image) { image->setSpatialUnit(LONG_KEY); }, all);
  withEachAllocationFailing(
      "text", make, [](auto & image) { (void)image->toString(); }, all);
}

} // namespace

} // namespace zarnik::test
