#include "zarnik/layout/VectorUnit.h"

#include "core/Guarded.h"
#include "layout/CopyKernels.h"

#include <fmt/format.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cstdint>

namespace zarnik {

namespace {

int64_t availableUnits() { return hwy::SupportedTargets() & HWY_TARGETS; }

} // namespace

std::vector<std::string> vectorUnits() {
  std::vector<std::string> names;
  // Of two units of one processor family the better one has the lower bit.
  for (int64_t left = availableUnits(); left != 0; left &= left - 1) {
    if (int64_t const unit = left & -left; unit != HWY_SCALAR && unit != HWY_EMU128) {
      names.emplace_back(hwy::TargetName(unit));
    }
  }
  return names;
}

void useVectorUnit(std::string const & name) {
  auto const names = vectorUnits();
  if (!name.empty() && name != "portable" && std::find(names.begin(), names.end(), name) == names.end()) {
    throw InvalidArgument(
        message("there is no vector unit '{}' here, only {} and portable", name, fmt::join(names, ", ")));
  }
  layout::portableOnly = name == "portable";
  int64_t chosen = layout::portableOnly ? 0 : availableUnits();
  for (int64_t left = chosen; !name.empty() && left != 0; left &= left - 1) {
    if (name == hwy::TargetName(left & -left)) {
      chosen = left & -left;
      break;
    }
  }
  hwy::GetChosenTarget().Update(chosen);
}

} // namespace zarnik
