#include "views/ValueConversion.h"

#include <cstdint>

namespace zarnik {
namespace {

struct ScalarFormat {
  size_t bytes;
  bool isSigned;
  int digits; // bits of the greatest integer up to which all are values
  bool isFloat;
};

ScalarFormat formatOf(ScalarType type) {
  constexpr ScalarFormat formats[] = {
      {1, false, 8, false}, {1, true, 7, false},   {2, false, 16, false}, {2, true, 15, false}, {4, false, 32, false},
      {4, true, 31, false}, {8, false, 64, false}, {8, true, 63, false},  {4, true, 24, true},  {8, true, 53, true}};
  return formats[static_cast<size_t>(type)];
}

} // namespace

size_t byteCountOf(ScalarType type) { return formatOf(type).bytes; }

bool holdsEveryValueOf(ScalarType wide, ScalarType narrow) {
  auto const to = formatOf(wide), from = formatOf(narrow);
  return to.digits >= from.digits && (to.isSigned || !from.isSigned) && (to.isFloat || !from.isFloat);
}

void ValueConversion::add(ValueStep step) {
  auto const type = steps_.empty() ? from_ : steps_.back().type;
  if (step.type == type && !step.map)
    return;
  if (!steps_.empty()) {
    auto & last = steps_.back();
    auto const before = steps_.size() == 1 ? from_ : steps_[steps_.size() - 2].type;
    // The first leaves every value as it is, so that the second may as well take it where the first found it.
    if (!last.map && holdsEveryValueOf(last.type, before)) {
      steps_.pop_back();
      return add(step);
    }
    // Maps are computed in doubles, from which the type of the second follows directly.
    if (last.map && last.type == ScalarType::F64 && !step.map) {
      last.type = step.type;
      return;
    }
  }
  steps_.push_back(step);
}

} // namespace zarnik
