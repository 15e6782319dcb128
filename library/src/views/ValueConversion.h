#pragma once

#include "layout/ConversionPlan.h"
#include "zarnik/values/DataType.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace zarnik {

/// How the bytes of an element are made up of components, the units that can be moved on their own.
struct ComponentFormat {
  /// Types whose components are no whole bytes count as one component.
  explicit ComponentFormat(DataType type)
      : count(type.bitDepth() % 8 == 0 && type.bitDepth() != 0 ? type.elementCount() : 1),
        bytes(count == 0 ? 0 : type.byteCount() / count) {}

  uint64_t count;
  uint64_t bytes;
};

/// One step of a conversion: a linear map, if there is one, and then the type of the result.
struct ValueStep {
  ScalarType type;
  std::optional<LinearMap> map;
};

/// What happens to each component of each sample on its way: nothing, or steps one after the other.
class ValueConversion {
public:
  /// Values are moved as they are, whatever their type.
  ValueConversion() = default;

  /// Values of this type are moved as they are, until steps are added.
  explicit ValueConversion(ScalarType from) : from_(from) {}

  /// Adds a step at the end. Steps that give the same bits when they are done as one are made one.
  void add(ValueStep step);

  bool isEmpty() const { return steps_.empty(); }
  ScalarType from() const { return from_; }
  std::vector<ValueStep> const & steps() const { return steps_; }

private:
  ScalarType from_ = ScalarType::U8;
  std::vector<ValueStep> steps_;
};

/// Returns the bytes of a value.
size_t byteCountOf(ScalarType type);

/// Whether each value of the one type is a value of the other.
bool holdsEveryValueOf(ScalarType wide, ScalarType narrow);

} // namespace zarnik
