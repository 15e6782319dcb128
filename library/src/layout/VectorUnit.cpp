#include "zarnik/layout/VectorUnit.h"

#include "core/Guarded.h"
#include "layout/CopyKernels.h"
#include "layout/VectorDispatch.h"

#include <fmt/format.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cstdint>

namespace zarnik {

namespace {

#if HWY_ARCH_X86 && defined(__GNUC__)

// Each unit is compiled with the instructions of those before it and its own.
int64_t supportedUnits() {
  int64_t units = HWY_ENABLED_BASELINE;
  if (!__builtin_cpu_supports("ssse3"))
    return units;
  units |= HWY_SSSE3;
  if (!__builtin_cpu_supports("sse4.1") || !__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("pclmul") ||
      !__builtin_cpu_supports("aes"))
    return units;
  units |= HWY_SSE4;
  if (!__builtin_cpu_supports("avx") || !__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") ||
      !__builtin_cpu_supports("bmi2") || !__builtin_cpu_supports("fma"))
    return units;
  units |= HWY_AVX2;
  if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512vl") ||
      !__builtin_cpu_supports("avx512dq") || !__builtin_cpu_supports("avx512bw"))
    return units;
  units |= HWY_AVX3;
  if (__builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx512vbmi") &&
      __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vnni") &&
      __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("avx512vpopcntdq"))
    units |= HWY_AVX3_DL;
  return units;
}

#else

int64_t supportedUnits() { return hwy::SupportedTargets(); }

#endif

int64_t availableUnits() { return supportedUnits() & HWY_TARGETS; }

struct ChosenUnit : hwy::ChosenTarget {
  ChosenUnit() { Update(availableUnits()); }
};

hwy::ChosenTarget & chosenUnit() {
  static ChosenUnit chosen;
  return chosen;
}

} // namespace

size_t layout::placeOfVectorUnit() { return chosenUnit().GetIndex(); }

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
  chosenUnit().Update(chosen);
}

} // namespace zarnik
