// Images of every kind that are reshaped between a look at their type and a transfer, and during one.
#include "zarnik/core/Error.h"
#include "zarnik/core/Waiting.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"
#include "zarnik/views/TypedTransfer.h"

#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <thread>
#include <vector>

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;
using Image = std::shared_ptr<ImageView>;
using testing::HasSubstr;
using testing::ThrowsMessage;

struct Kind {
  char const * name;
  std::function<Image(Image const &)> over;
};

Kind const KINDS[] = {
    {"itself", [](Image const & image) { return image; }},
    {"restricted", [](Image const & image) { return ImageViewProvider::toReadOnly(image); }},
    {"relabelled", [](Image const & image) { return Factory::fromImageView(image, nullptr, nullptr); }},
    {"protected", [](Image const & image) { return Factory::makeThreadSafe(image); }},
    {"restricted protected",
     [](Image const & image) { return ImageViewProvider::toReadOnly(Factory::makeThreadSafe(image)); }},
    {"relabelled protected",
     [](Image const & image) { return Factory::fromImageView(Factory::makeThreadSafe(image), nullptr, nullptr); }},
    {"flipped", [](Image const & image) { return Factory::flip(image, ImageDimension::ROW); }},
    {"flipped protected",
     [](Image const & image) { return Factory::flip(Factory::makeThreadSafe(image), ImageDimension::ROW); }},
    {"converted", [](Image const & image) { return Factory::adaptDataType(image, DataTypeId::INT16); }},
    {"stacked", [](Image const & image) {
       return Factory::stack(MultiImageViewFactory::createFromList(&image, 1), ImageDimension::SLICE);
     }}};

struct Source {
  char const * name;
  std::function<Image(VectorXu64 const &)> make;
};
Source const SOURCES[] = {{"memory", [](auto const & shape) { return Factory::allocate(shape, DataTypeId::UINT8); }},
                          {"disk", [](auto const & shape) { return Factory::createOnDisk(shape, DataTypeId::UINT8); }}};

constexpr uint8_t UNTOUCHED = 7;

TEST(Reshape, RefusesTransfersOfTheTypeOfBefore) {
  for (auto const & source : SOURCES)
    for (auto const & kind : KINDS) {
      SCOPED_TRACE(std::string(kind.name) + " over " + source.name);
      auto const image = source.make({6, 5});
      auto const view = kind.over(image);
      auto const type = view->dataType();
      auto const region = RegionXu64::createFullRegion(view->shape());
      std::vector<uint8_t> samples(region.elementCount() * type.byteCount(), UNTOUCHED);
      image->reshape({6, 5}, DataTypeId::DOUBLE);
      EXPECT_THROW(readRegionAs(*view, region, type, samples.data()), Error);
      EXPECT_THROW(writeRegionAs(*view, region, type, samples.data()), Error);
      EXPECT_THAT(samples, testing::Each(UNTOUCHED));
      image->reshape({6, 5}, DataTypeId::UINT8);
      readRegionAs(*view, region, type, samples.data());
      EXPECT_THAT(samples, testing::Each(0));
    }
}

TEST(Reshape, DuringTransfersGivesErrorsOrSamplesOfOneMoment) {
  VectorXu64 const shape{70, 60};
  for (auto const & source : SOURCES)
    for (auto const & kind : KINDS) {
      SCOPED_TRACE(std::string(kind.name) + " over " + source.name);
      auto const image = source.make(shape);
      auto const view = kind.over(image);
      auto const type = view->dataType();
      auto const region = RegionXu64::createFullRegion(view->shape());
      auto const bytes = region.elementCount() * type.byteCount();
      std::atomic<bool> isOver = false;
      std::thread reshaping([&] {
        for (int round = 0; round < 60; ++round) {
          image->reshape({40, 30, 4}, DataTypeId::VEC3_UINT16);
          image->reshape(shape, DataTypeId::DOUBLE);
          image->reshape(shape, DataTypeId::UINT8);
        }
        isOver = true;
      });
      // Outside of what is transferred.
      std::vector<uint8_t> samples(bytes + 1, UNTOUCHED);
      while (!isOver)
        try {
          readRegionAs(*view, region, type, samples.data());
          EXPECT_EQ(samples[bytes / 2], 0);
          view->shape().toString();
          view->properties()->imageInfo();
          if (view->support(ImageCapability::WRITE))
            writeRegionAs(*view, region, type, std::vector<uint8_t>(bytes).data());
        } catch (Error const &) {
        }
      reshaping.join();
      EXPECT_EQ(samples.back(), UNTOUCHED);
    }
}

TEST(Reshape, LeavesCopiesWhole) {
  auto const image = Factory::allocate({300, 200}, DataTypeId::UINT8);
  auto const flipped = Factory::adaptDataType(image, DataTypeId::INT16);
  std::atomic<bool> isOver = false;
  std::thread reshaping([&] {
    for (int round = 0; round < 100; ++round) {
      image->reshape({300, 200}, DataTypeId::DOUBLE);
      image->reshape({300, 200}, DataTypeId::UINT8);
    }
    isOver = true;
  });
  while (!isOver)
    for (auto const & copy : {&Factory::copyInMemory, static_cast<Image (*)(Image)>(&Factory::copyOnDisk)})
      try {
        copy(flipped);
      } catch (Error const &) {
      }
  reshaping.join();
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
