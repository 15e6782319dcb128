#include "module/Exports.h"

#include <memory>
#include <unordered_map>
#include <utility>

namespace zarnik::python {

namespace {

struct Shown {
  long arrays = 0;
  Reference owner;
};

// Never destroyed: it holds Python objects, and the interpreter ends before the static objects do.
std::unordered_map<void const *, Shown> & shown() {
  static auto & all = *new std::unordered_map<void const *, Shown>;
  return all;
}

} // namespace

/// One array: a weak reference to it, whose callback owns this.
struct Watch {
  void const * pointer;
  Reference reference;

  static void end(Watch & watch) {
    // Keeps this, by way of the callback, until the end of the call.
    auto const last = std::move(watch.reference);
    auto const found = shown().find(watch.pointer);
    if (found == shown().end() || --found->second.arrays > 0)
      return;
    auto const owner = std::move(found->second.owner);
    shown().erase(found);
    --Exports::count;
  }
};

namespace {

constexpr char WATCH_NAME[] = "zarnik.Watch";

void deleteWatch(PyObject * capsule) { delete static_cast<Watch *>(PyCapsule_GetPointer(capsule, WATCH_NAME)); }

PyObject * endOfArray(PyObject * capsule, PyObject *) {
  Watch::end(*static_cast<Watch *>(PyCapsule_GetPointer(capsule, WATCH_NAME)));
  return Reference::share(Py_None).release();
}

PyMethodDef callbackMethod = {"end_of_array", endOfArray, METH_O, nullptr};

} // namespace

bool Exports::add(void const * pointer, PyObject * array) {
  auto watch = std::make_unique<Watch>(Watch{pointer, {}});
  auto * const kept = watch.get();
  auto const capsule = Reference::steal(PyCapsule_New(kept, WATCH_NAME, deleteWatch));
  if (!capsule)
    return false;
  watch.release();
  auto const callback = Reference::steal(PyCFunction_New(&callbackMethod, capsule.get()));
  auto reference = callback ? Reference::steal(PyWeakref_NewRef(array, callback.get())) : Reference();
  if (!reference)
    return false;
  if (++shown()[pointer].arrays == 1)
    ++count;
  kept->reference = std::move(reference);
  return true;
}

bool Exports::contains(void const * pointer) { return shown().contains(pointer); }

void Exports::leave(void const * pointer, Reference owner) {
  if (auto const found = shown().find(pointer); found != shown().end())
    found->second.owner = std::move(owner);
}

} // namespace zarnik::python
