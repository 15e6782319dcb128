// One program of libFuzzer for all targets: ZARNIK_FUZZ_TARGET names the one to run.
#include "fuzz/Targets.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

zarnik::test::FuzzTarget const * chosen = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  auto const * const name = std::getenv("ZARNIK_FUZZ_TARGET");
  for (auto const & target : zarnik::test::fuzzTargets())
    if (name && std::string_view(name) == target.name)
      chosen = &target;
  if (chosen)
    return 0;
  std::fputs("ZARNIK_FUZZ_TARGET must name one of these:", stderr);
  for (auto const & target : zarnik::test::fuzzTargets())
    std::fprintf(stderr, " %s", target.name);
  std::fputs("\n", stderr);
  std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const * data, size_t size) {
  chosen->run({data, size});
  return 0;
}
