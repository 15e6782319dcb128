#pragma once

#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/metadata/VariantDataValueFactory.h"

#include <cstdint>
#include <limits>
#include <memory>

// Values that cannot be made from Python objects, for the tests to hand to _zarnik through the shared type table.
namespace zarnik::testing {

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
inline std::shared_ptr<VariantDataValue> utf16Value() {
  char16_t const * texts[] = {u"ab", u"\u4E2D\u6587"};
  return VariantDataValueFactory::create(texts, 2);
}
inline std::shared_ptr<VariantDataValue> utf32Value() {
  char32_t const * texts[] = {U"ab", U"\u4E2D\u6587"};
  return VariantDataValueFactory::create(texts, 2);
}

/// A value of any type, which counts how many of its kind are alive.
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

} // namespace zarnik::testing
