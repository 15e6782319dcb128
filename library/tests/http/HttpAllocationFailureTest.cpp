// What is left when memory runs out while a web server is read from and written to. libcurl's own allocations succeed.
#include "core/FailingAllocations.h"
#include "http/TestServers.h"
#include "zarnik/access/StreamCompletion.h"
#include "zarnik/http/HttpAccess.h"
#include "zarnik/http/HttpStatistics.h"

#include <array>

namespace zarnik::test {

namespace {

HTTPHeaders const HEADERS{{"X-Name-That-Needs-Memory", "a value that needs memory of its own"}};

// One request at a time: a right to make one that is lost in a failure would be waited for ever after.
HttpOptions frugalOptions() {
  return {.cacheBytes = 0, .blockBytes = 4096, .gapBytes = 0, .readAheadBytes = 4 * 4096, .parallelRequests = 1};
}

TEST(AllocationFailure, OfOpeningOverHttp) {
  auto const address = faultyServer().url("none");
  withEachAllocationFailing("open", [&] {
    auto const access = openHttpRead(Uri(address), "GET", HEADERS, frugalOptions());
    access->toString();
    access->resourceId();
    httpVersion(*access);
  });
  withEachAllocationFailing("refused", [&] {
    EXPECT_THROW(openHttpRead(Uri(address), "GET", {{"Range", "bytes=1-2"}}), Error);
    auto options = frugalOptions();
    options.parallelRequests = 0;
    EXPECT_THROW(setDefaultHttpOptions(options), Error);
  });
}

TEST(AllocationFailure, OfReadingOverHttp) {
  auto const read = [&](std::string const & path, auto act) {
    withEachAllocationFailing(
        path, [&] { return openHttpRead(Uri(faultyServer().url(path)), "GET", HEADERS, frugalOptions()); }, act,
        [](auto const & access) {
          std::array<uint8_t, 10> bytes{};
          access->read(100'000, bytes.data(), bytes.size());
          return bytes;
        });
  };
  std::vector<uint8_t> bytes(40'000);
  read("none", [&](auto const & access) {
    access->read(50'000, bytes.data(), bytes.size());
    EXPECT_TRUE(isServed(bytes, 50'000));
  });
  // So much that it goes past the cache.
  read("none/in_order", [&](auto const & access) {
    for (size_t offset = 200'000; offset < 230'000; offset += 5000)
      access->read(offset, &bytes[offset - 200'000], 5000);
    EXPECT_TRUE(isServed({bytes.data(), 30'000}, 200'000));
  });
  std::vector<RandomAccess::ReadRequest> requests;
  for (size_t i = 0; i < 20; ++i)
    requests.push_back({i * 10'000, &bytes[i * 100], 100});
  for (auto const * const path : {"several", "several_incomplete"})
    read(path, [&](auto const & access) {
      access->readMany(requests);
      EXPECT_TRUE(isServed({&bytes[1900], 100}, 190'000));
    });
}

TEST(AllocationFailure, OfWritingOverHttp) {
  std::vector<uint8_t> const bytes(600'000);
  auto const write = [&](Uri const & uri) {
    auto const stream = openHttpWrite(uri, "POST", HEADERS);
    stream->write(bytes.data(), bytes.size());
    stream->flush();
    stream->toString();
    dynamic_cast<StreamCompletion &>(*stream).close();
  };
  Uri const accepted(faultyServer().url("accept/memory"));
  withEachAllocationFailing("accepted", [&] { write(accepted); });
  Uri const refused(faultyServer().url("refused_at_end/memory"));
  withEachAllocationFailing("refused", [&] { EXPECT_THROW(write(refused), Error); });
}

} // namespace

} // namespace zarnik::test
