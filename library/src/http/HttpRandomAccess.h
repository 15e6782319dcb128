#pragma once

#include "http/BlockReader.h"
#include "zarnik/access/RandomAccess.h"

namespace zarnik::http {

/// A resource of a web server, read-only.
class HttpRandomAccess final : public RandomAccess {
public:
  HttpRandomAccess(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                   HttpOptions const & options);

  RandomAccessCapabilitySet capabilities() const override { return RandomAccessCapability::READ; }
  size_t size() const override { return resource_.size(); }
  std::string toString() const override;
  std::string resourceId() const override;

  size_t read(size_t offset, void * destination, size_t size) override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void readMany(std::span<ReadRequest const> requests) override;

  HttpStatistics statistics() const { return resource_.counters().read(); }

  ResourceIdentity const & identity() const { return resource_.identity(); }

private:
  HttpResource resource_;
  BlockReader reader_;
};

} // namespace zarnik::http
