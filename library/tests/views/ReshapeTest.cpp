// Images of every kind that threads share: read and written at once, and reshaped before and during a transfer.
#include "access/AccessSupport.h"
#include "views/Samples.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/core/Waiting.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/SharedSamples.h"
#include "zarnik/views/TypedTransfer.h"

#include <atomic>
#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;

struct Kind {
  char const * name;
  std::function<Image(Image const &)> over;
  bool keepsType = false; // refuses to read what was reshaped, whoever asks
};

Kind const KINDS[] = {
    {"itself", [](Image const & image) { return image; }},
    {"restricted", ImageViewProvider::toReadOnly},
    {"relabelled", [](Image const & image) { return Factory::fromImageView(image, nullptr, nullptr); }},
    {"protected", Factory::makeThreadSafe},
    {"restricted protected",
     [](Image const & image) { return ImageViewProvider::toReadOnly(Factory::makeThreadSafe(image)); }},
    {"relabelled protected",
     [](Image const & image) { return Factory::fromImageView(Factory::makeThreadSafe(image), nullptr, nullptr); }},
    {"flipped", [](Image const & image) { return Factory::flip(image, ImageDimension::ROW); }, true},
    {"flipped protected",
     [](Image const & image) { return Factory::flip(Factory::makeThreadSafe(image), ImageDimension::ROW); }},
    {"converted", [](Image const & image) { return Factory::adaptDataType(image, DataTypeId::INT16); }, true},
    {"interlaced",
     [](Image const & image) { return Factory::interlace(MultiImageViewFactory::createFromList(&image, 1)); }, true},
    {"stacked",
     [](Image const & image) {
       return Factory::stack(MultiImageViewFactory::createFromList(&image, 1), ImageDimension::SLICE);
     },
     true}};

constexpr uint8_t UNTOUCHED = 7;

struct Source {
  char const * name;
  std::function<Image(VectorXu64 const &)> make;
};

/// Over an accessor, zeros at first.
auto over(std::shared_ptr<RandomAccess> (*open)(std::string const &), MemoryLayout layout) {
  return [=](VectorXu64 const & shape) {
    return Factory::fromRandomAccess(open(scratchFile(Bytes(elementCount(shape)))), layout, shape, DataTypeId::UINT8);
  };
}

Source const RESHAPED[] = {
    {"memory", [](VectorXu64 const & shape) { return Factory::allocate(shape, DataTypeId::UINT8); }},
    {"disk", [](VectorXu64 const & shape) { return Factory::createOnDisk(shape, DataTypeId::UINT8); }}};
Source const FIXED[] = {{"mapping", over(RandomAccessFactory::mapFile, MemoryLayout::FORTRAN)},
                        {"file", over(RandomAccessFactory::openFile, MemoryLayout::C)}};

/// Calls test(image, view of it, what that is) for every kind of view over each of the sources.
void forEachView(std::span<Source const> sources, VectorXu64 const & shape, auto test) {
  for (auto const & source : sources)
    for (auto const & kind : KINDS) {
      SCOPED_TRACE(std::string(kind.name) + " over " + source.name);
      auto const image = source.make(shape);
      test(image, kind.over(image), kind);
    }
}

/// Acts while another thread reshapes an image; errors are what is expected of it.
void whileReshaping(Image const & image, auto act) {
  std::atomic<bool> isOver = false;
  std::thread reshaping([&, shape = image->shape()] {
    for (int round = 0; round < 60; ++round) {
      image->reshape({40, 30, 4}, DataTypeId::VEC3_UINT16);
      image->reshape(shape, DataTypeId::DOUBLE);
      image->reshape(shape, DataTypeId::UINT8);
    }
    isOver = true;
  });
  while (!isOver)
    try {
      act();
    } catch (Error const &) {
    }
  reshaping.join();
}

TEST(Sharing, RowsAreReadAndWrittenAtOnceWhereViewsSayThatTheyMay) {
  using enum ParallelAccessCapability;
  auto const test = [](Image const & image, Image const & view, Kind const &) {
    auto const parallel = view->parallelAccess();
    ASSERT_NE(parallel, nullptr);
    EXPECT_TRUE(view->support(ImageCapability::WRITE) || !parallel->support(PARALLEL_WRITE));
    auto const rows = view->shape()[1], size = elementCount(view->shape()) / rows * view->dataType().byteCount();
    std::atomic<size_t> wrong = 0;
    onThreads(4, [&](size_t first) {
      Bytes samples(size, UNTOUCHED);
      for (auto row = first; row < rows; row += 4) {
        auto extent = view->shape();
        VectorXu64 origin(extent.size());
        origin[1] = row;
        extent[1] = 1;
        if (parallel->support(PARALLEL_READ)) {
          view->readRegion({origin, extent}, samples.data());
          wrong += samples != Bytes(size);
        }
        if (parallel->support(PARALLEL_WRITE))
          view->writeRegion({origin, extent}, Bytes(size, 1).data());
      }
    });
    EXPECT_EQ(wrong, 0u);
    if (parallel->support(PARALLEL_WRITE)) {
      auto const samples = valuesOf(*image);
      EXPECT_TRUE(samples[0] != 0 && samples == Bytes(samples.size(), samples[0]));
    }
  };
  forEachView(RESHAPED, {64, 48}, test);
  forEachView(FIXED, {64, 48}, test);
}

TEST(Reshape, RefusesTransfersOfTheTypeOfBefore) {
  forEachView(RESHAPED, {6, 5}, [](Image const & image, Image const & view, Kind const &) {
    auto const type = view->dataType();
    auto const region = whole(*view);
    Bytes samples(region.elementCount() * type.byteCount(), UNTOUCHED);
    image->reshape({6, 5}, DataTypeId::DOUBLE);
    EXPECT_THROW(readRegionAs(*view, region, type, samples.data()), Error);
    EXPECT_THROW(writeRegionAs(*view, region, type, samples.data()), Error);
    EXPECT_THAT(samples, testing::Each(UNTOUCHED));
    image->reshape({6, 5}, DataTypeId::UINT8);
    readRegionAs(*view, region, type, samples.data());
    EXPECT_THAT(samples, testing::Each(0));
  });
}

TEST(Reshape, DuringTransfersGivesErrorsOrSamplesOfOneMoment) {
  forEachView(RESHAPED, {70, 60}, [](Image const & image, Image const & view, Kind const & kind) {
    auto const type = view->dataType();
    auto const region = whole(*view);
    auto const bytes = region.elementCount() * type.byteCount();
    // The last one is outside of what is transferred.
    Bytes samples(bytes + 1, UNTOUCHED);
    whileReshaping(image, [&] {
      samples[bytes / 2] = UNTOUCHED;
      if (kind.keepsType)
        view->readRegion(region, samples.data());
      else
        readRegionAs(*view, region, type, samples.data());
      EXPECT_EQ(samples[bytes / 2], 0);
      readRegionAs(*view, region, type, samples.data());
      view->shape().toString();
      view->properties()->imageInfo();
      if (view->support(ImageCapability::WRITE))
        writeRegionAs(*view, region, type, Bytes(bytes).data());
    });
    EXPECT_EQ(samples.back(), UNTOUCHED);
  });
}

TEST(Reshape, LeavesCopiesAndSharedSamplesWhole) {
  auto const image = Factory::allocate({300, 200}, DataTypeId::UINT8);
  auto const converted = Factory::adaptDataType(image, DataTypeId::INT16);
  whileReshaping(image, [&] {
    auto const shared = shareSamples(image);
    std::vector<std::byte> samples(shared.indexer.byteCount());
    readDense(shared.indexer, shared.data, RegionXu64::createFullRegion(shared.indexer.shape()), samples.data());
    Factory::copyInMemory(converted);
    Factory::copyOnDisk(converted);
  });
}

// ---- waiting --------------------------------------------------------------------------------------------------------

std::atomic<int> waits = 0;

/// Of a program with a lock that a thread gives up while it waits, and that the image asks for.
class Interpreter {
public:
  static std::mutex & lock() {
    static std::mutex only;
    return only;
  }
  static void giveUpLock(void (*wait)(void *), void * argument) {
    ++waits;
    bool const isHolder = hasLock;
    if (isHolder)
      lock().unlock();
    wait(argument);
    if (isHolder)
      lock().lock();
  }
  static inline thread_local bool hasLock = false;
};

class CallingImage : public BorrowedMemoryView {
public:
  using BorrowedMemoryView::BorrowedMemoryView;
  void readRegion(RegionXu64 const & region, void * destination) override {
    isReading = true;
    if (!Interpreter::hasLock)
      std::lock_guard const callback(Interpreter::lock());
    BorrowedMemoryView::readRegion(region, destination);
  }
  std::shared_ptr<Extension> extension(size_t) const override { return nullptr; }
  std::atomic<bool> isReading = false;
};

TEST(Waiting, GivesUpWhatTheOtherThreadNeeds) {
  setAroundWait(Interpreter::giveUpLock);
  std::vector<uint8_t> memory(4, 9), samples(4);
  auto const calling = std::make_shared<CallingImage>(
      BorrowedMemoryView::Memory{memory.data(), Indexer({4}, DataTypeId::UINT8), nullptr}, nullptr, nullptr);
  auto const image = Factory::makeThreadSafe(calling);
  std::thread reader;
  {
    std::lock_guard const held(Interpreter::lock());
    Interpreter::hasLock = true;
    reader = std::thread([&] { image->readRegion({{0}, {4}}, samples.data()); });
    while (!calling->isReading)
      std::this_thread::yield();
    EXPECT_EQ(image->shape(), VectorXu64{4});
    Interpreter::hasLock = false;
  }
  reader.join();
  setAroundWait(nullptr);
  EXPECT_GE(waits, 1);
  EXPECT_EQ(samples, memory);
}

TEST(Release, OfViewsThatHoldEachOtherTakesNoStack) {
  static uint8_t sample = 0;
  Image image;
  for (int depth = 0; depth < 300000; ++depth)
    image = std::make_shared<BorrowedMemoryView>(
        BorrowedMemoryView::Memory{&sample, Indexer({1}, DataTypeId::UINT8), image}, nullptr, nullptr);
  std::weak_ptr<ImageView> const last = image;
  image.reset();
  EXPECT_TRUE(last.expired());
}

} // namespace
} // namespace zarnik::test
