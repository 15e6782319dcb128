// The pixel engine as plain C functions, for the benchmarks that compare it with NumPy in one Python process.

#include "layout/ConversionPlan.h"
#include "layout/CopyPlan.h"
#include "zarnik/layout/Threads.h"

using zarnik::ScalarType;

extern "C" {

__attribute__((visibility("default"))) void pixels_copy(size_t rank, uint64_t const * size,
                                                        uint64_t const * sourceStrides,
                                                        uint64_t const * destinationStrides, size_t elementBytes,
                                                        void const * source, void * destination) {
  zarnik::copyStrided({size, rank}, {sourceStrides, rank}, {destinationStrides, rank}, elementBytes, source,
                      destination);
}

__attribute__((visibility("default"))) void
pixels_convert(size_t rank, uint64_t const * size, uint64_t const * sourceStrides, uint64_t const * destinationStrides,
               int sourceType, int destinationType, void const * source, void * destination) {
  zarnik::convertStrided({size, rank}, {sourceStrides, rank}, {destinationStrides, rank},
                         static_cast<ScalarType>(sourceType), static_cast<ScalarType>(destinationType), source,
                         destination);
}

__attribute__((visibility("default"))) void pixels_set_threads(size_t count) { zarnik::setThreadCount(count); }
}
