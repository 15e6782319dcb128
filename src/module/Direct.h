#pragma once

namespace zarnik::python {

/// Adds the module `_zarnik.direct`: what the package does for every access to an image, in one call instead of ten
/// flat ones. The names of `_zarnik` itself are an interface that stays what it is.
/// On failure an error is pending and the result is false.
bool addDirectModule();

} // namespace zarnik::python
