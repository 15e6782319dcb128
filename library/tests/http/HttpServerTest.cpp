// Against nginx, a server as it is meant to be: over HTTP/1.1, and over TLS with HTTP/2.

#include "access/AccessSupport.h"
#include "http/TestServers.h"
#include "zarnik/access/StreamCompletion.h"
#include "zarnik/http/HttpAccess.h"
#include "zarnik/http/HttpStatistics.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace zarnik {

namespace {

using test::Bytes;
using test::isServed;
using test::servedContent;

HttpOptions blocksOf(size_t bytes) {
  auto options = defaultHttpOptions();
  options.blockBytes = bytes;
  options.gapBytes = 0;
  return options;
}

} // namespace

class HttpServer : public testing::Test {
protected:
  static void SetUpTestSuite() {
    server_ = std::make_unique<test::ServerProcess>("http_nginx.py");
    std::istringstream(server_->line()) >> tlsPort_ >> certificate_ >> root_;
    auto patient = before_;
    patient.connectSeconds = 60; // TLS takes its time under a sanitizer
    setDefaultHttpOptions(patient);
  }
  static void TearDownTestSuite() {
    trustIn("SSL_CERT_FILE", nullptr);
    setDefaultHttpOptions(before_);
    server_.reset();
  }
  void SetUp() override { trustIn("SSL_CERT_FILE", certificate_.c_str()); }

  /// What OpenSSL and libcurl take for the certificates to trust; nullptr is nobody's.
  static void trustIn(char const * variable, char const * file) {
    file ? setenv(variable, file, 1) : unsetenv(variable);
  }

  static Uri uri(std::string const & path) { return Uri(server_->url(path)); }
  static Uri secureUri(std::string const & path) { return Uri(fmt::format("https://127.0.0.1:{}/{}", tlsPort_, path)); }
  /// Reads so many bytes every so many, all at once.
  static void readParts(RandomAccess & access, size_t distance, size_t size) {
    std::vector<RandomAccess::ReadRequest> requests;
    Bytes bytes(access.size());
    for (size_t offset = 0; offset + distance <= bytes.size(); offset += distance)
      requests.push_back({offset, &bytes[offset], size - offset / distance % 3});
    access.readMany(requests);
    for (auto const & request : requests)
      EXPECT_TRUE(isServed({&bytes[request.offset], request.size}, request.offset)) << request.offset;
  }
  static void storeFile(std::string const & path, Bytes const & content) {
    std::ofstream(root_ + "/" + path, std::ios::binary)
        .write(reinterpret_cast<char const *>(content.data()), static_cast<std::streamsize>(content.size()));
  }
  static std::string fileContents(std::string const & path) {
    std::ifstream file(root_ + "/" + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  /// The same resource over HTTP/1.1, and over TLS with HTTP/2.
  static std::array<Uri, 2> bothWays(std::string const & path) { return {uri(path), secureUri(path)}; }

  static inline HttpOptions const before_ = defaultHttpOptions();
  static inline std::unique_ptr<test::ServerProcess> server_;
  static inline int tlsPort_ = 0;
  static inline std::string certificate_, root_;
};

TEST_F(HttpServer, IsReadOverTlsByThoseWhoTrustIt) {
  trustIn("SSL_CERT_FILE", nullptr);
  for (auto const * const name : {"SSL_CERT_FILE", "CURL_CA_BUNDLE"}) {
    trustIn(name, certificate_.c_str());
    auto const access = openHttpRead(secureUri("content.bin"), "GET", {}, blocksOf(1000));
    readParts(*access, 3000, 1000);                     // a hundred requests, many at a time
    EXPECT_EQ(httpStatistics(*access)->requests, 100u); // the first block came with the opening
    trustIn(name, nullptr);
  }
  EXPECT_THROW(openHttpRead(secureUri("content.bin"), "GET", {}), Error);
  EXPECT_THROW(openHttpWrite(secureUri("put/x"), "PUT", {}), Error);
}

TEST_F(HttpServer, SendsMuchThatIsReadInOrderInOneAnswer) {
  auto const content = servedContent(8'000'000);
  storeFile("large.bin", content);
  for (auto const & target : bothWays("large.bin")) {
    auto options = blocksOf(1000);
    options.cacheBytes = 100'000;
    auto const access = openHttpRead(target, "GET", {}, options);
    std::mt19937 random(4);
    Bytes bytes(50'000);
    auto const readOn = [&](size_t from, size_t to) {
      for (auto offset = from; offset < to;) {
        auto const size = access->read(offset, bytes.data(), random() % bytes.size());
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size), &content[offset]));
        offset += size;
      }
    };
    readOn(0, 5'000'000);
    readOn(2'000'000, 3'000'000); // a jump back ends the answer
    readOn(3'500'000, content.size());
    // Over HTTP/2 all of it comes in blocks.
    EXPECT_TRUE(target.scheme() == "https" || httpStatistics(*access)->requests < 40);
    EXPECT_LT(httpStatistics(*access)->bytesReceived, 15'000'000u);
  }
}

TEST_F(HttpServer, SendsMoreThanTheCachesOfAProcessorHold) {
  auto const content = servedContent(130'000'000);
  storeFile("huge.bin", content);
  auto const access = openHttpRead(uri("huge.bin"), "GET", {});
  size_t const offset = 12'345;
  Bytes bytes(content.size() - 2 * offset);
  ASSERT_EQ(access->read(offset, bytes.data(), bytes.size()), bytes.size());
  EXPECT_EQ(std::memcmp(bytes.data(), &content[offset], bytes.size()), 0);
  EXPECT_LT(httpStatistics(*access)->requests, 30u);
  std::filesystem::remove(root_ + "/huge.bin");
}

TEST_F(HttpServer, SendsManySmallPartsInFewAnswers) {
  for (auto const & target : bothWays("content.bin")) {
    auto const access = openHttpRead(target, "GET", {}, blocksOf(4096));
    readParts(*access, 1000, 20);
    auto const done = *httpStatistics(*access);
    EXPECT_LE(done.requests, 4u);
    EXPECT_LT(done.bytesReceived, 80'000u);
  }
}

TEST_F(HttpServer, TakesWhatIsWritten) {
  auto const content = servedContent(2'000'000);
  for (auto const & target : {uri("put/plain"), secureUri("put/secure")}) {
    auto const stream = openHttpWrite(target, "PUT", {});
    for (size_t begin = 0; begin < content.size(); begin += 100'000) {
      stream->write(&content[begin], 100'000);
      if (begin == 300'000)
        stream->flush();
    }
    dynamic_cast<StreamCompletion &>(*stream).close();
    EXPECT_TRUE(fileContents(target.path().substr(1)) == std::string(content.begin(), content.end()));
  }
}

TEST_F(HttpServer, BrokenOffUploadsAreNotStored) {
  for (auto const & target : bothWays("put/part")) {
    auto const stream = openHttpWrite(target, "PUT", {});
    stream->write("abcd", 4);
    stream->flush();
    dynamic_cast<StreamCompletion &>(*stream).abort();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(std::ifstream(root_ + target.path())) << target.toString();
    EXPECT_THROW(stream->write("x", 1), Error);
  }
}

TEST_F(HttpServer, ForkedProcessesHaveConnectionsOfTheirOwn) {
  for (auto const & target : bothWays("content.bin")) {
    auto options = blocksOf(1000);
    options.cacheBytes = 10'000;
    auto access = openHttpRead(target, "GET", {}, options);
    auto stream = openHttpWrite(uri("put/forked"), "PUT", {});
    stream->write("abcd", 4);
    stream->flush();
    auto const readSome = [&](unsigned seed) {
      std::mt19937 random(seed);
      Bytes bytes(500);
      for (int i = 0; i < 100; ++i) {
        auto const offset = random() % (access->size() - bytes.size());
        access->read(offset, bytes.data(), bytes.size());
        if (!isServed(bytes, offset))
          return false;
      }
      return true;
    };
    auto const readInOrder = [&](size_t from, size_t to) {
      Bytes bytes(to - from);
      for (size_t done = 0; done < bytes.size(); done += 500)
        access->read(from + done, &bytes[done], 500);
      return isServed(bytes, from);
    };
    EXPECT_TRUE(readInOrder(0, 50'000));
    auto const child = fork();
    if (child == 0) {
      auto const right = readInOrder(50'000, 100'000) && readSome(1);
      access.reset();
      stream.reset();
      _exit(right ? 0 : 1);
    }
    EXPECT_TRUE(readInOrder(50'000, 100'000));
    EXPECT_TRUE(readSome(2));
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(readSome(3));
    stream->write("efgh", 4);
    stream.reset();
    EXPECT_EQ(fileContents("put/forked"), "abcdefgh");
  }
}

} // namespace zarnik
