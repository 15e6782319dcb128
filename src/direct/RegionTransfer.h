#pragma once

#include "module/Reference.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/RegionX.h"

#include <memory>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

/// Reads a region into a dense buffer, the first dimension fastest. The interpreter's lock is given up while much is
/// read, or little from afar, if the view allows it; long transfers can be interrupted. What another thread does to the
/// view meanwhile is not seen, or ends in an error.
/// \param type   of the samples that the buffer has room for; if the view has others by now, that is an Error
/// \param keeper  the object that keeps the buffer
/// \throws PendingError when a signal handler raised
void readDense(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void * destination,
               Reference const & keeper);

/// The same into memory of any geometry, whose strides are in bytes, modulo 2^64.
void readStrided(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void * destination,
                 VectorXu64 const & byteStrides, uint64_t componentStride, Reference const & keeper);

/// The contrary of readDense.
void writeDense(std::shared_ptr<ImageView> const & view, RegionXu64 const & region, DataType type, void const * source,
                Reference const & keeper);

} // namespace zarnik::python
