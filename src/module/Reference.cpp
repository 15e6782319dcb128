#include "module/Reference.h"

#include <mutex>
#include <vector>

namespace zarnik::python {

namespace {

thread_local bool isLockGivenUp = false;

// Objects whose last holder went without the lock. Never destroyed: threads may end after the static objects.
struct Abandoned {
  std::mutex mutex;
  std::vector<PyObject *> objects;
  bool isReleaseDue = false;
};
Abandoned & abandoned() {
  static auto & all = *new Abandoned;
  return all;
}

// Called by the interpreter, with its lock, on its main thread.
int releaseAbandoned(void *) {
  std::vector<PyObject *> objects;
  {
    std::lock_guard const lock(abandoned().mutex);
    objects.swap(abandoned().objects);
    abandoned().isReleaseDue = false;
  }
  for (auto * const object : objects)
    Reference::steal(object);
  return 0;
}

void abandon(PyObject * object) noexcept {
  try {
    std::lock_guard const lock(abandoned().mutex);
    abandoned().objects.push_back(object);
    // Where the interpreter's own list is full the next one tries again.
    if (!abandoned().isReleaseDue)
      abandoned().isReleaseDue = Py_AddPendingCall(releaseAbandoned, nullptr) == 0;
  } catch (...) {
    // Without memory to remember it the object stays for good, which harms nobody.
    return;
  }
}

} // namespace

namespace {

// Objects of the library and of Python may hold each other in turn, in chains of any length. What an object that goes
// lets go waits until it is gone, so that the stack does not grow with the chain. To be called with the lock.
void letGo(PyObject * object) noexcept {
  thread_local std::vector<PyObject *> * running = nullptr;
  if (running) {
    try {
      running->push_back(object);
    } catch (...) {
      // Without memory for the queue it goes at once, on the stack.
      Reference::steal(object);
    }
    return;
  }
  std::vector<PyObject *> pending;
  running = &pending;
  Reference::steal(object);
  while (!pending.empty()) {
    auto * const next = pending.back();
    pending.pop_back();
    Reference::steal(next);
  }
  running = nullptr;
}

} // namespace

KeptObject::~KeptObject() {
  if (!object_ || !Py_IsInitialized())
    return;
  if (isLockGivenUp || !PyGILState_GetThisThreadState()) {
    abandon(object_);
    return;
  }
  auto const state = PyGILState_Ensure();
  letGo(object_);
  PyGILState_Release(state);
}

WithoutLock::WithoutLock() : state_(PyEval_SaveThread()) { isLockGivenUp = true; }

WithoutLock::~WithoutLock() {
  isLockGivenUp = false;
  PyEval_RestoreThread(state_);
}

} // namespace zarnik::python
