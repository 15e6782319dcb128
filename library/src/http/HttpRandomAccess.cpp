#include "http/HttpRandomAccess.h"

#include "access/Innermost.h"
#include "core/Guarded.h"
#include "http/HttpWriteStream.h"
#include "zarnik/core/Error.h"
#include "zarnik/http/HttpAccess.h"

#include <algorithm>
#include <new>

namespace zarnik {

namespace http {

namespace {

template <typename Call> auto withoutAllocationFailures(HttpTarget const & target, Call const & call) {
  try {
    return call();
  } catch (std::bad_alloc const &) {
    throw Error(message("no memory to read {}", target.text()));
  }
}

} // namespace

HttpRandomAccess::HttpRandomAccess(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                                   HttpOptions const & options)
    : resource_(uri, method, headers, options), reader_(resource_) {}

std::string HttpRandomAccess::toString() const {
  return description("{}, {} bytes over HTTP", resource_.target().text(), size());
}

std::string HttpRandomAccess::resourceId() const { return description("{}", resource_.target().text()); }

size_t HttpRandomAccess::read(size_t offset, void * destination, size_t size) {
  auto const total = resource_.size();
  if (offset >= total)
    return 0;
  auto const count = static_cast<size_t>(std::min<uint64_t>(size, total - offset));
  withoutAllocationFailures(resource_.target(),
                            [&] { reader_.read(offset, static_cast<uint8_t *>(destination), count); });
  return count;
}

void HttpRandomAccess::readMany(std::span<ReadRequest const> requests) {
  auto const total = resource_.size();
  for (auto const & request : requests) {
    if (request.size > total || request.offset > total - request.size)
      throw Error(message("{} bytes at offset {} exceed the {} bytes of {}", request.size, request.offset, total,
                          resource_.target().text()));
  }
  withoutAllocationFailures(resource_.target(), [&] { reader_.readMany(requests); });
}

size_t HttpRandomAccess::write(size_t, void const *, size_t) {
  throw NotImplemented(message("{} was opened for reading, it cannot be written", resource_.target().text()));
}

void HttpRandomAccess::resize(size_t) {
  throw NotImplemented(message("the size of {} cannot be changed over HTTP", resource_.target().text()));
}

} // namespace http

std::shared_ptr<RandomAccess> openHttpRead(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                                           HttpOptions const & options) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    return std::make_shared<http::HttpRandomAccess>(uri, method, headers, options);
  });
}

std::shared_ptr<RandomAccess> openHttpRead(Uri const & uri, std::string const & method, HTTPHeaders const & headers) {
  return openHttpRead(uri, method, headers, defaultHttpOptions());
}

std::optional<HttpStatistics> httpStatistics(DataAccess const & access) {
  auto const & inner = innermost(access);
  if (auto const * const resource = exactly<http::HttpRandomAccess>(inner))
    return resource->statistics();
  if (auto const * const stream = exactly<http::HttpWriteStream>(inner))
    return stream->statistics();
  return std::nullopt;
}

std::string httpVersion(DataAccess const & access) {
  auto const * const resource = exactly<http::HttpRandomAccess>(innermost(access));
  if (!resource)
    return {};
  auto const & identity = resource->identity();
  return description("{} bytes, {}", identity.size,
                     identity.entityTag.empty() ? identity.lastModified : identity.entityTag);
}

} // namespace zarnik
