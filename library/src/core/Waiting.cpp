#include "core/Waiting.h"

#include <atomic>

namespace zarnik {
namespace {

std::atomic<AroundWait> aroundWait = nullptr;

} // namespace

void setAroundWait(AroundWait around) noexcept { aroundWait = around; }

void callAroundWait(void (*wait)(void *), void * argument) {
  if (auto const around = aroundWait.load())
    around(wait, argument);
  else
    wait(argument);
}

} // namespace zarnik
