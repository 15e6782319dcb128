#pragma once

#include "zarnik/core/Error.h"
#include "zarnik/core/Versioning.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// Objects that the library does not have, for the tests to hand to _zarnik through the shared type table.
namespace zarnik::testing {

/// An image in memory of any type and capabilities, which counts how many of its kind are alive.
class CountingView : public ImageView {
public:
  static int alive() { return count_; }

  /// \param axes the value of an image type, 0 for unknown axes
  CountingView(zarnik::VectorX<uint64_t> const & shape, uint64_t dataType, uint64_t axes, uint64_t capabilities)
      : shape_(shape), dataType_(dataType), properties_(ImageProperties::fromDataType(dataType_)),
        capabilities_(capabilities), indexer_(shape_, dataType_), memory_(indexer_.byteCount()) {
    properties_->imageInfo().setAxesInterpretation(ImageType(axes));
    ++count_;
  }
  ~CountingView() override { --count_; }

  /// Breaks the promise that an image has properties.
  void forgetProperties() { properties_.reset(); }

#ifndef SWIG
  ImageCapabilitySet capabilities() const override { return ImageCapabilitySet(capabilities_); }
  VectorXu64 const & shape() const override { return shape_; }
  DataType dataType() const override { return dataType_; }
  std::shared_ptr<ImageProperties const> properties() const override { return properties_; }
  std::shared_ptr<MetadataNode const> metadata() const override { return nullptr; }
  Indexer const & indexer() const override { return indexer_; }
  void * buffer() override { return memory_.data(); }
  void const * buffer() const override { return memory_.data(); }
  size_t bufferSize() const override { return memory_.size(); }
#endif

private:
  inline static int count_ = 0;
  VectorXu64 shape_;
  DataType dataType_;
  std::shared_ptr<ImageProperties> properties_;
  uint64_t capabilities_;
  Indexer indexer_;
  std::vector<uint8_t> memory_;
};

/// An image in tiles whose memory nobody sees. It counts the elements that are read and written.
class TiledView : public ImageView {
public:
  static uint64_t touched() { return count(); }

  TiledView(zarnik::VectorX<uint64_t> const & shape, uint64_t dataType, zarnik::VectorX<uint64_t> const & tileSize)
      : image_(ImageViewFactory::allocate(shape, DataType(dataType))),
        tiling_(std::make_shared<GridTiling>(image_, tileSize)) {}

#ifndef SWIG
  ImageCapabilitySet capabilities() const override { return ImageCapability::READ_WRITE; }
  VectorXu64 const & shape() const override { return image_->shape(); }
  DataType dataType() const override { return image_->dataType(); }
  std::shared_ptr<ImageProperties const> properties() const override { return image_->properties(); }
  std::shared_ptr<MetadataNode const> metadata() const override { return nullptr; }
  std::shared_ptr<Extension> extension(size_t id) const override {
    return id == TilingInfoExtension::EXTENSION_ID ? tiling_ : nullptr;
  }
  void setProperties(std::shared_ptr<ImageProperties const> properties) override { image_->setProperties(properties); }
  void readRegion(RegionXu64 const & region, void * destination) override {
    count() += region.elementCount();
    image_->readRegion(region, destination);
  }
  void writeRegion(RegionXu64 const & region, void const * source) override {
    count() += region.elementCount();
    image_->writeRegion(region, source);
  }
#endif

private:
  static uint64_t & count() {
    static uint64_t number = 0;
    return number;
  }

  std::shared_ptr<ImageView> image_;
  std::shared_ptr<GridTiling> tiling_;
};

/// An image far away, whose regions come when the gate is opened; after ten seconds there is an error instead. Any
/// number of threads may wait at the gate.
class GatedView : public ImageView {
public:
  /// How many are waiting.
  static int waiting() { return gate().waiting; }
  static void open(bool isOpen) {
    std::lock_guard const lock(gate().mutex);
    gate().isOpen = isOpen;
    gate().changed.notify_all();
  }

  GatedView(zarnik::VectorX<uint64_t> const & shape, uint64_t dataType)
      : image_(ImageViewFactory::allocate(shape, DataType(dataType))) {}

#ifndef SWIG
  ImageCapabilitySet capabilities() const override { return ImageCapability::READ_WRITE; }
  VectorXu64 const & shape() const override { return image_->shape(); }
  DataType dataType() const override { return image_->dataType(); }
  std::shared_ptr<ImageProperties const> properties() const override { return image_->properties(); }
  std::shared_ptr<MetadataNode const> metadata() const override { return nullptr; }
  std::shared_ptr<Extension> extension(size_t id) const override {
    if (id == ParallelAccessExtension::EXTENSION_ID)
      return ParallelAccessExtension::create(ParallelAccessCapability::THREAD_SAFE);
    return id == ViewOriginExtension::EXTENSION_ID ? ViewOriginExtension::create(ViewDataOrigin::NETWORK, "far away")
                                                   : nullptr;
  }
  void readRegion(RegionXu64 const & region, void * destination) override {
    pass();
    image_->readRegion(region, destination);
  }
  void writeRegion(RegionXu64 const & region, void const * source) override {
    pass();
    image_->writeRegion(region, source);
  }
#endif

private:
  struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    std::atomic<int> waiting = 0;
  };
  static Gate & gate() {
    static auto & all = *new Gate;
    return all;
  }
  static void pass() {
    std::unique_lock lock(gate().mutex);
    ++gate().waiting;
    auto const passed = gate().changed.wait_for(lock, std::chrono::seconds(10), [] { return gate().isOpen; });
    --gate().waiting;
    if (!passed)
      throw Error("nobody opened the gate");
  }

  std::shared_ptr<ImageView> image_;
};

#ifndef SWIG
/// Throws what the kind names: "foreign" is no exception class at all.
[[noreturn]] inline void throwKind(std::string const & kind) {
  if (kind == "Error")
    throw Error("thrown as Error");
  if (kind == "InvalidArgument")
    throw InvalidArgument("thrown as InvalidArgument");
  if (kind == "NotImplemented")
    throw NotImplemented("thrown as NotImplemented");
  if (kind == "bad_alloc")
    throw std::bad_alloc();
  if (kind == "runtime_error")
    throw std::runtime_error("thrown as runtime_error");
  throw 42;
}
#endif

/// A view that throws whatever it is asked.
class ThrowingView : public ImageView {
public:
  explicit ThrowingView(std::string const & kind) : kind_(kind) {}

#ifndef SWIG
  ImageCapabilitySet capabilities() const override { throwKind(kind_); }
  VectorXu64 const & shape() const override { throwKind(kind_); }
  DataType dataType() const override { throwKind(kind_); }
  std::shared_ptr<ImageProperties const> properties() const override { throwKind(kind_); }
  std::shared_ptr<MetadataNode const> metadata() const override { throwKind(kind_); }
#endif

private:
  std::string kind_;
};

/// A version that Python never owns.
inline VersionInfo * lentVersion() {
  static VersionInfo version{7, 8, 9};
  return &version;
}

inline VersionInfo copyVersion(VersionInfo const & version) { return version; }

/// An error whose text is no UTF-8.
inline Error * undecodableError() { return new Error("caf\xe9"); }

/// Texts as wrapped pointers instead of str.
inline std::string * wrappedString() {
  static std::string text = "wrapped string";
  return &text;
}
inline char * wrappedCharacters() {
  static char text[] = "wrapped characters";
  return text;
}

inline std::shared_ptr<ImageView> sameView(std::shared_ptr<ImageView> view) { return view; }
inline std::shared_ptr<ImageView> emptyView() { return nullptr; }
/// How many share the view, besides this call's own copy.
inline long useCount(std::shared_ptr<ImageView> view) { return view.use_count() - 1; }

/// What views offer to C++ only.
inline Indexer indexerOf(std::shared_ptr<ImageView> view) { return view->indexer(); }
inline uint64_t bufferAddress(std::shared_ptr<ImageView> view) { return reinterpret_cast<uintptr_t>(view->buffer()); }
inline uint64_t bufferSize(std::shared_ptr<ImageView> view) { return view->bufferSize(); }

/// A metadata value of any type, which counts how many of its kind are alive.
class CountingValue : public VariantDataValue {
public:
  static int alive() { return count_; }

  explicit CountingValue(uint64_t type) : type_(type) { ++count_; }
  ~CountingValue() override { --count_; }

#ifndef SWIG
  std::shared_ptr<VariantDataValue> clone() const override { return std::make_shared<CountingValue>(type_.id()); }
  DataType type() const override { return type_; }
  size_t count() const override { return 1; }
  void const * raw() const override { return &element_; }
#endif

private:
  inline static int count_ = 0;
  DataType type_;
  double element_ = 0;
};

/// The smallest and the largest number of each element type, as a pointer to the first of them.
#define ZARNIK_TEST_LIMITS(type, suffix)                                                                               \
  inline type const * limits_##suffix() {                                                                              \
    static type const values[] = {std::numeric_limits<type>::lowest(), std::numeric_limits<type>::max()};              \
    return values;                                                                                                     \
  }
ZARNIK_TEST_LIMITS(uint8_t, u8)
ZARNIK_TEST_LIMITS(uint16_t, u16)
ZARNIK_TEST_LIMITS(uint32_t, u32)
ZARNIK_TEST_LIMITS(uint64_t, u64)
ZARNIK_TEST_LIMITS(int8_t, i8)
ZARNIK_TEST_LIMITS(int16_t, i16)
ZARNIK_TEST_LIMITS(int32_t, i32)
ZARNIK_TEST_LIMITS(int64_t, i64)
ZARNIK_TEST_LIMITS(float, f)
ZARNIK_TEST_LIMITS(double, d)

/// "ab" and the Chinese for Chinese, whose characters have no zero byte but in UTF-32.
template <typename Character> std::shared_ptr<VariantDataValue> wideValue() {
  static Character const latin[] = {'a', 'b', 0}, chinese[] = {0x4E2D, 0x6587, 0};
  Character const * texts[] = {latin, chinese};
  return VariantDataValueFactory::create(texts, 2);
}
inline std::shared_ptr<VariantDataValue> utf16Value() { return wideValue<char16_t>(); }
inline std::shared_ptr<VariantDataValue> utf32Value() { return wideValue<char32_t>(); }

/// Drops a shared pointer on the heap on a thread that Python knows nothing of.
inline void dropOnAnotherThread(uint64_t address) {
  std::thread([=] { delete reinterpret_cast<std::shared_ptr<ImageView> *>(address); }).join();
}

/// The address of a shared pointer on the heap, which whoever takes the address owns.
inline uint64_t pointerAddress(std::shared_ptr<ImageView> view) {
  return reinterpret_cast<uintptr_t>(new std::shared_ptr<ImageView>(std::move(view)));
}

} // namespace zarnik::testing
