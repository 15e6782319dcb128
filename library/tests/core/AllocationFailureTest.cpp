// What is left when memory runs out anywhere within an operation.
#include "core/FailingAllocations.h"
#include "layout/CopyPlan.h"
#include "layout/StridedCases.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNodeFactory.h"
#include "zarnik/metadata/MetadataNodeHelper.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"

#include <algorithm>
#include <memory>

namespace zarnik::test {

namespace {

// Made before, so that only the library's own allocations fail.
std::string const LONG_KEY = "a key that needs memory of its own";
std::string const LONG_PATH = "some path/along nodes/that do not exist yet";

struct Pool : WithThreads {};

TEST_F(Pool, DoesWithoutTheThreadsThatItCannotStart) {
  auto const from = noise(1 << 16, 1);
  std::vector<uint64_t> const size{256, 256}, rows{256, 1}, columns{1, 256};
  std::vector<std::byte> to(from.size());
  auto const copy = [&](size_t threads) {
    cutForThreads(threads);
    std::ranges::fill(to, std::byte{0});
    copyStrided(size, rows, columns, 1, from.data(), to.data());
    return to;
  };
  auto const expected = copy(1);
  bool happened = true;
  for (int number = 1; happened; ++number) {
    // Another number each time, so that the threads are ended and started anew.
    copy(number % 2 == 0 ? 3 : 5);
    setThreadCount(number % 2 == 0 ? 5 : 3);
    std::ranges::fill(to, std::byte{0});
    {
      FailingAllocation const failing(number);
      copyStrided(size, rows, columns, 1, from.data(), to.data());
      happened = failing.happened();
    }
    ASSERT_TRUE(to == expected) << "allocation " << number;
    ASSERT_TRUE(copy(threadCount()) == expected) << "after allocation " << number;
  }
}

std::shared_ptr<MetadataNode> family() {
  auto const root = MetadataNodeFactory::create("the root of a tree of some nodes", nullptr);
  for (int child = 0; child < 12; ++child)
    root->addChild(MetadataNodeFactory::create("a child whose key needs memory " + std::to_string(child), nullptr));
  root->addChild(root->begin()->clone());
  return root;
}

auto const told = [](auto const & object) { return object->toString(); };

TEST(AllocationFailure, OfMetadata) {
  auto const change = [](char const * name, auto act) { withEachAllocationFailing(name, family, act, told); };
  withEachAllocationFailing("create", [] { MetadataNodeFactory::create(LONG_KEY, nullptr); });
  change("clone", [](auto & node) { node->clone(); });
  change("text", [](auto & node) { (void)node->toString(); });
  change("addChild", [](auto & node) { node->addChild(MetadataNodeFactory::create(LONG_KEY, nullptr)); });
  change("no such child", [](auto & node) { EXPECT_THROW(node->child("nobody"), Error); });
  change("createPath", [](auto & node) { MetadataNodeHelper::createPath(node, LONG_PATH, nullptr); });
  change("iterate", [](auto & node) { auto const copy = node->begin(); });
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
  auto const change = [&](char const * name, auto act) { withEachAllocationFailing(name, make, act, told); };
  change("all", [](auto & properties) {
    properties->clone();
    (void)properties->toString();
    (void)properties->incompatibilityWith({3, 4}, DataTypeId::UINT8);
    ImageProperties::fromProperties(*properties, properties->calibration());
  });
  change("setUnit", [](auto & properties) { properties->calibration().setUnit(LONG_KEY); });
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
  auto const make = [] { return std::make_shared<ArrayXf>(VectorXu64{9, 9}); };
  auto const reshape = [](auto & array) {
    EXPECT_THROW(array->reshape({9, 10}), Error);
    array->reshape({81});
  };
  withEachAllocationFailing("reshape", make, reshape, told);
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
  auto const change = [&](char const * name, auto act) { withEachAllocationFailing(name, make, act, all); };
  withEachAllocationFailing("allocate", [] { ImageViewFactory::allocate({4, 3}, DataTypeId::UINT8); });
  change("restrict", [](auto & image) { ImageViewProvider::toReadOnly(image); });
  change("reshape", [](auto & image) { image->reshape({5, 6, 7}, DataTypeId::FLOAT); });
  change("set", [](auto & image) { image->setSpatialUnit(LONG_KEY); });
  change("text", [](auto & image) { (void)image->toString(); });
}

} // namespace

} // namespace zarnik::test
