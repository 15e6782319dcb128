#include "zarnik/metadata/VariantDataValueFactory.h"

#include "core/Guarded.h"

#include <fmt/format.h>
#include <string_view>
#include <vector>

namespace zarnik {

namespace {

template <typename Char> constexpr DataTypeId stringTypeIdOf = sizeof(Char) == 1   ? DataTypeId::UTF8_STRING
                                                               : sizeof(Char) == 2 ? DataTypeId::UTF16_STRING
                                                                                   : DataTypeId::UTF32_STRING;

template <typename T> class NumericValue final : public VariantDataValue {
public:
  NumericValue(T const * values, size_t count) : values_(values, values + count) {}

  std::shared_ptr<VariantDataValue> clone() const override {
    return guarded([&] { return std::make_shared<NumericValue>(*this); });
  }
  DataType type() const override { return dataTypeIdOf<T>; }
  size_t count() const override { return values_.size(); }
  void const * raw() const override { return values_.data(); }

private:
  std::vector<T> values_;
};

template <typename Char> class StringValue final : public VariantDataValue {
public:
  StringValue(Char const * const * values, size_t count) {
    std::vector<std::basic_string_view<Char>> texts(values, values + count);
    size_t length = texts.size();
    for (auto const & text : texts)
      length += text.size();
    characters_.reserve(length);
    for (auto const & text : texts) {
      characters_.insert(characters_.end(), text.begin(), text.end());
      characters_.push_back(Char{});
    }
    // All texts stand in one block that is never reallocated from here on.
    starts_.reserve(count);
    Char const * start = characters_.data();
    for (auto const & text : texts) {
      starts_.push_back(start);
      start += text.size() + 1;
    }
  }
  StringValue(StringValue const & other) : StringValue(other.starts_.data(), other.starts_.size()) {}
  StringValue & operator=(StringValue const &) = delete;

  std::shared_ptr<VariantDataValue> clone() const override {
    return guarded([&] { return std::make_shared<StringValue>(*this); });
  }
  DataType type() const override { return stringTypeIdOf<Char>; }
  size_t count() const override { return starts_.size(); }
  void const * raw() const override { return starts_.data(); }

private:
  std::vector<Char> characters_;
  std::vector<Char const *> starts_;
};

void requireElements(void const * values, size_t count) {
  if (values == nullptr || count == 0)
    throw InvalidArgument(message("a metadata value needs at least one element, got {} at {}", count,
                                  values == nullptr ? "a null pointer" : "a valid address"));
}

template <typename T> std::shared_ptr<VariantDataValue> createNumeric(T const * values, size_t count) {
  return guarded([&] {
    requireElements(values, count);
    return std::make_shared<NumericValue<T>>(values, count);
  });
}

template <typename Char> std::shared_ptr<VariantDataValue> createStrings(Char const ** values, size_t count) {
  return guarded([&] {
    requireElements(values, count);
    for (size_t i = 0; i < count; ++i)
      if (values[i] == nullptr)
        throw InvalidArgument(message("string {} of {} for a metadata value is a null pointer", i, count));
    return std::make_shared<StringValue<Char>>(values, count);
  });
}

} // namespace

#define ZARNIK_CREATE_NUMERIC(T)                                                                                       \
  std::shared_ptr<VariantDataValue> VariantDataValueFactory::create(T const * values, size_t count) {                  \
    return createNumeric(values, count);                                                                               \
  }
ZARNIK_CREATE_NUMERIC(uint8_t)
ZARNIK_CREATE_NUMERIC(uint16_t)
ZARNIK_CREATE_NUMERIC(uint32_t)
ZARNIK_CREATE_NUMERIC(uint64_t)
ZARNIK_CREATE_NUMERIC(int8_t)
ZARNIK_CREATE_NUMERIC(int16_t)
ZARNIK_CREATE_NUMERIC(int32_t)
ZARNIK_CREATE_NUMERIC(int64_t)
ZARNIK_CREATE_NUMERIC(float)
ZARNIK_CREATE_NUMERIC(double)
#undef ZARNIK_CREATE_NUMERIC

#define ZARNIK_CREATE_STRINGS(Char)                                                                                    \
  std::shared_ptr<VariantDataValue> VariantDataValueFactory::create(Char const ** values, size_t count) {              \
    return createStrings(values, count);                                                                               \
  }                                                                                                                    \
  std::shared_ptr<VariantDataValue> VariantDataValueFactory::create(Char const * value) {                              \
    return createStrings(&value, 1);                                                                                   \
  }
ZARNIK_CREATE_STRINGS(char)
ZARNIK_CREATE_STRINGS(char16_t)
ZARNIK_CREATE_STRINGS(char32_t)
#undef ZARNIK_CREATE_STRINGS

std::shared_ptr<VariantDataValue> VariantDataValueFactory::create(int value) {
  int32_t const element = value;
  return createNumeric(&element, 1);
}

std::shared_ptr<VariantDataValue> VariantDataValueFactory::create(double value) { return createNumeric(&value, 1); }

} // namespace zarnik
