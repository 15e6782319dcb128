#pragma once

namespace zarnik::python {

/// From then on the library's waits for other threads are made without the interpreter's lock: the other thread may be
/// calling a Python function.
void giveUpLockInWaits();

} // namespace zarnik::python
