#pragma once

#include "zarnik/core/Export.h"

namespace zarnik {

/// What a program does around a wait of one of its threads for another one: it calls wait(argument), once. An
/// interpreter whose code the library calls gives up its lock meanwhile, which the other thread may need to end.
using AroundWait = void (*)(void (*wait)(void *), void * argument);

/// Sets what is done around the waits of all threads that have to do with views; null for nothing, which is the
/// default. The library itself throws nothing from a wait.
ZARNIK_API void setAroundWait(AroundWait around) noexcept;

} // namespace zarnik
