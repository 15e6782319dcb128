#include "module/Waiting.h"

#include "module/Python.h"
#include "zarnik/core/Waiting.h"

#if __has_include(<dlfcn.h>)
#include <dlfcn.h>
#endif

namespace zarnik::python {

namespace {

using Check = int (*)();

// Every interpreter has it, but it is no part of the stable ABI. Nobody else can tell: other modules give up the lock
// on their own. Where it cannot be found, waits keep the lock.
Check findCheck() {
#if __has_include(<dlfcn.h>)
  return reinterpret_cast<Check>(dlsym(RTLD_DEFAULT, "PyGILState_Check"));
#else
  return nullptr;
#endif
}

void waitWithoutLock(void (*wait)(void *), void * argument) {
  static auto const isHeld = findCheck();
  // Of threads without a state of their own the answer would be that of the process.
  if (!isHeld || !Py_IsInitialized() || !PyGILState_GetThisThreadState() || isHeld() == 0) {
    wait(argument);
    return;
  }
  auto * const state = PyEval_SaveThread();
  wait(argument);
  PyEval_RestoreThread(state);
}

} // namespace

void giveUpLockInWaits() { setAroundWait(waitWithoutLock); }

} // namespace zarnik::python
