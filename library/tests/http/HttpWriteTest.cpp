#include "core/Support.h"
#include "http/TestServers.h"
#include "zarnik/access/StreamCompletion.h"
#include "zarnik/http/HttpAccess.h"
#include "zarnik/http/HttpStatistics.h"

#include <chrono>
#include <gmock/gmock.h>

namespace zarnik {

namespace {

using test::faultyServer;
using test::messageOf;
using testing::HasSubstr;

std::shared_ptr<StreamAccess> openUpload(std::string const & path, std::string const & method = "POST",
                                         HTTPHeaders const & headers = {}) {
  return openHttpWrite(Uri(faultyServer().url(path)), method, headers,
                       {.connectSeconds = 1, .stallSeconds = 1, .answerSeconds = 1});
}

void close(StreamAccess & stream) { dynamic_cast<StreamCompletion &>(stream).close(); }

// What the server has got under a path, as text of JSON.
std::string received(std::string const & path) {
  auto const log = openHttpRead(Uri(faultyServer().url("uploads/" + path)), "GET", {});
  std::string text(log->size(), ' ');
  log->read(0, text.data(), text.size());
  return text;
}

} // namespace

TEST(HttpWrite, TheBodyArrivesWholeWithMethodAndHeaders) {
  std::vector<uint8_t> bytes(3'000'001);
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  auto const stream = openUpload("accept/whole", "PUT", {{"X-Kind", "scan"}, {"X-Empty", ""}});
  EXPECT_EQ(stream->capabilities(), StreamAccessCapability::WRITE);
  for (size_t begin = 0; begin < bytes.size(); begin += 70'000) {
    auto const size = std::min<size_t>(70'000, bytes.size() - begin);
    EXPECT_EQ(stream->write(bytes.data() + begin, size), size);
  }
  EXPECT_EQ(stream->write(bytes.data(), 0), 0u);
  EXPECT_EQ(stream->tell(), bytes.size());
  close(*stream);
  auto const text = received("accept/whole");
  for (auto const * const part : {R"("PUT")", R"(["X-Kind", "scan"])", R"(["X-Empty", ""])", R"("complete": true)"})
    EXPECT_THAT(text, HasSubstr(part));
  auto const sum = std::accumulate(bytes.begin(), bytes.end(), uint64_t{0});
  EXPECT_THAT(text, HasSubstr(fmt::format(R"("bytes": {})", bytes.size())));
  EXPECT_THAT(text, HasSubstr(fmt::format(R"("sum": {})", sum)));
  EXPECT_EQ(httpStatistics(*stream)->bytesSent, bytes.size());
  close(*stream); // a second time does nothing
  EXPECT_THROW(stream->write(bytes.data(), 1), Error);
  EXPECT_THROW(stream->flush(), Error);
}

TEST(HttpWrite, FlushSendsAndKeepsTheBodyOpen) {
  auto const stream = openUpload("accept/flushed");
  stream->write("abc", 3);
  stream->flush();
  std::string text;
  for (int i = 0; i < 100 && text.find("\"bytes\": 3") == std::string::npos; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    text = received("accept/flushed");
  }
  EXPECT_THAT(text, HasSubstr("\"bytes\": 3"));
  EXPECT_THAT(text, HasSubstr("\"complete\": false"));
  stream->flush();
  stream->write("def", 3);
  close(*stream);
  EXPECT_THAT(received("accept/flushed"), HasSubstr("\"bytes\": 6"));
}

TEST(HttpWrite, TheReleaseOfTheLastHolderEndsTheBody) {
  openUpload("accept/released")->write("abcd", 4);
  EXPECT_THAT(received("accept/released"), HasSubstr("\"complete\": true"));
  openUpload("accept/nothing").reset();
  EXPECT_THAT(received("accept/nothing"), HasSubstr("\"complete\": true"));
  testing::internal::CaptureStderr();
  openUpload("refused_at_end/released")->write("abcd", 4);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("status 422"));
}

TEST(HttpWrite, RefusalsSurfaceAtTheWriteOrFlushThatMeetsThem) {
  for (auto const * const path : {"missing/early", "too_large/early", "breaks/early", "early_ok/early"}) {
    std::shared_ptr<StreamAccess> stream;
    std::vector<uint8_t> const bytes(100'000);
    auto const text = messageOf([&] {
      stream = openUpload(path);
      for (int i = 0; i < 200; ++i) {
        stream->write(bytes.data(), bytes.size());
        stream->flush();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    });
    EXPECT_THAT(text, HasSubstr(faultyServer().url(path)));
    if (!stream) // the refusal came before the stream was open
      continue;
    EXPECT_TRUE(stream->fail());
    EXPECT_FALSE(stream->good());
    EXPECT_EQ(messageOf([&] { close(*stream); }), text);
  }
}

TEST(HttpWrite, ARefusalThatHasArrivedIsFoundByAnEmptyFlush) {
  // It may have arrived by the time that the stream is open.
  auto const openAndFlush = [] {
    auto const stream = openUpload("missing/flush");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stream->flush();
  };
  EXPECT_THAT(messageOf(openAndFlush), HasSubstr("status 404"));
}

TEST(HttpWrite, RefusalsAtTheEndAreRaisedByClose) {
  for (auto const & [path, text] : {std::pair("refused_at_end/x", "status 422"), std::pair("redirects/x", "status 307"),
                                    std::pair("no_answer/x", "no answer"), std::pair("hangs_up/x", "POST")}) {
    auto const stream = openUpload(path);
    stream->write("abcd", 4);
    EXPECT_THAT(messageOf([&] { close(*stream); }), HasSubstr(text)) << path;
    EXPECT_TRUE(stream->fail()) << path;
  }
  auto const stream = openUpload("interim/x");
  stream->write("abcd", 4);
  close(*stream);
  EXPECT_FALSE(stream->fail());
}

TEST(HttpWrite, AServerThatTakesNothingIsGivenUp) {
  auto const stream = openUpload("takes_nothing/x");
  std::vector<uint8_t> const bytes(32 << 20); // more than the system buffers
  auto const begin = std::chrono::steady_clock::now();
  EXPECT_THAT(messageOf([&] { stream->write(bytes.data(), bytes.size()); }), HasSubstr("took nothing"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(HttpWrite, OtherUsesAreRefused) {
  auto const stream = openUpload("accept/other");
  uint8_t byte = 0;
  EXPECT_THROW(stream->read(&byte, 1), NotImplemented);
  EXPECT_THROW(stream->peek(), NotImplemented);
  EXPECT_THROW(stream->seek(0, SeekOrigin::BEGIN), NotImplemented);
  EXPECT_THROW(openUpload("accept/other", "HEAD"), InvalidArgument);
  for (auto const * const name : {"Content-Length", "transfer-encoding", "Expect"})
    EXPECT_THROW(openUpload("accept/other", "POST", {{name, "5"}}), InvalidArgument) << name;
}

} // namespace zarnik
