#include "http/HttpWriteStream.h"

#include "core/Guarded.h"
#include "core/Logging.h"
#include "http/SessionPool.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"
#include "zarnik/http/HttpAccess.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zarnik {

StreamCompletion::~StreamCompletion() = default;

namespace http {

namespace {

constexpr size_t BUFFER_BYTES = size_t{256} << 10;
constexpr size_t MOST_ANSWER_BYTES = size_t{256} << 10;
constexpr int POLL_MILLISECONDS = 50;

// The body's length is not known before its end, and how it is framed is the connection's business.
constexpr std::array<std::string_view, 3> OWN_HEADERS = {"Content-Length", "Transfer-Encoding", "Expect"};

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

HttpWriteStream::HttpWriteStream(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                                 HttpOptions const & options)
    : options_(options), target_(uri, method, headers, options, OWN_HEADERS),
      buffer_(std::make_unique_for_overwrite<uint8_t[]>(BUFFER_BYTES)), process_(processNumber()) {
  for (auto const * const refused : {"HEAD", "CONNECT", "TRACE"})
    if (equalIgnoringCase(method, refused))
      throw InvalidArgument(message("nothing can be written by the method {}", method));
  // Without it libcurl waits a second for servers that do not know it.
  target_.addHeader("Expect:");
  BrokenPipeGuard const guard;
  connection_ = newMultiHandle(1);
  handle_ = newEasyHandle();
  auto * const handle = handle_.get();
  target_.prepare(handle);
  setOption(handle, CURLOPT_UPLOAD, 1L);
  setOption(handle, CURLOPT_CUSTOMREQUEST, target_.method().c_str());
  setOption(handle, CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(BUFFER_BYTES));
  setOption(handle, CURLOPT_HTTPHEADER, target_.headers());
  setOption(handle, CURLOPT_ERRORBUFFER, message_.data());
  setOption(handle, CURLOPT_READFUNCTION, &onRead);
  setOption(handle, CURLOPT_READDATA, this);
  setOption(handle, CURLOPT_HEADERFUNCTION, &onHeader);
  setOption(handle, CURLOPT_HEADERDATA, this);
  setOption(handle, CURLOPT_WRITEFUNCTION, &onBody);
  setOption(handle, CURLOPT_WRITEDATA, this);
  if (auto const code = curl_multi_add_handle(connection_.get(), handle); code != CURLM_OK)
    throw Error(message("{}: {}", target_.text(), curl_multi_strerror(code)));
  ++counters_.requests;
  lastProgress_ = std::chrono::steady_clock::now();
  // Until the head of the request is sent: who cannot be reached is an error here.
  try {
    while (!paused_ && !perform()) {
      checkInterruption();
      checkProgress();
    }
  } catch (...) {
    disconnect();
    throw;
  }
}

HttpWriteStream::~HttpWriteStream() {
  if (processNumber() != process_) {
    // The connection is the parent's; closing it properly would end its body.
    (void)handle_.release();
    (void)connection_.release();
    return;
  }
  if (state_ == State::OPEN) {
    try {
      close();
    } catch (std::exception const & error) {
      try {
        logger().error("what was written is lost: {}", error.what());
      } catch (...) { // NOLINT(bugprone-empty-catch): nobody is left to tell
      }
    }
  }
  disconnect();
}

void HttpWriteStream::disconnect() noexcept {
  if (!handle_)
    return;
  BrokenPipeGuard const guard;
  // A request that is not complete takes its connection with it.
  curl_multi_remove_handle(connection_.get(), handle_.get());
  handle_.reset();
  connection_.reset();
}

// Whether or not there is memory for the text, the stream has failed.
void HttpWriteStream::refuse(std::string_view why) {
  failure_ = message("{}: {}: {}", target_.text(), target_.method(), why);
  state_ = State::FAILED;
  disconnect();
  throw Error(failure_);
}

void HttpWriteStream::checkOpen() const {
  if (state_ == State::FAILED)
    throw Error(failure_);
  if (state_ != State::OPEN)
    throw Error(message("{} is closed", target_.text()));
  if (processNumber() != process_)
    throw Error(message("{} was opened by another process", target_.text()));
}

size_t HttpWriteStream::onRead(char * to, size_t, size_t size, void * self) noexcept {
  auto & stream = *static_cast<HttpWriteStream *>(self);
  auto const count = std::min(size, stream.filled_ - stream.sent_);
  if (count > 0) {
    std::memcpy(to, stream.buffer_.get() + stream.sent_, count);
    stream.sent_ += count;
    stream.counters_.bytesSent += count;
    return count;
  }
  if (stream.ended_) {
    stream.endTaken_ = true;
    return 0;
  }
  stream.paused_ = true;
  return CURL_READFUNC_PAUSE;
}

size_t HttpWriteStream::onHeader(char const * data, size_t, size_t size, void * self) noexcept {
  auto & stream = *static_cast<HttpWriteStream *>(self);
  try {
    stream.answerBytes_ += size;
    if (stream.answerBytes_ > MOST_ANSWER_BYTES)
      return 0;
    std::string_view const line(data, size);
    if (stream.answered_)
      return size;
    stream.head_.addLine(line);
    if ((line == "\r\n" || line == "\n") && stream.head_.status >= 200) {
      stream.answered_ = true;
      stream.answeredEarly_ = !stream.endTaken_;
    }
    return size;
  } catch (...) {
    return 0; // no memory: the request fails
  }
}

// What the server says about it is not needed.
size_t HttpWriteStream::onBody(char const *, size_t, size_t size, void * self) noexcept {
  auto & stream = *static_cast<HttpWriteStream *>(self);
  stream.counters_.bytesReceived += size;
  stream.answerBytes_ += size;
  return stream.answerBytes_ > MOST_ANSWER_BYTES ? 0 : size;
}

// Does what can be done without waiting, then waits a little if there was nothing. Returns whether the request is done.
bool HttpWriteStream::perform() {
  int running = 0;
  if (auto const code = curl_multi_perform(connection_.get(), &running); code != CURLM_OK)
    refuse(curl_multi_strerror(code));
  int left = 0;
  while (auto * const message = curl_multi_info_read(connection_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) {
      judge(message->data.result);
      return done_ = true;
    }
  }
  if (answered_ && head_.status >= 300)
    judge(CURLE_OK);
  if (!paused_)
    curl_multi_poll(connection_.get(), nullptr, 0, POLL_MILLISECONDS, nullptr);
  return false;
}

void HttpWriteStream::judge(CURLcode code) {
  if (answered_ && head_.status >= 300)
    refuse(message("the server answered with status {}", head_.status));
  if (answered_ && !answeredEarly_)
    return; // its verdict is there, whatever became of the rest of its answer
  if (code != CURLE_OK)
    refuse(message_[0] != '\0' ? message_.data() : curl_easy_strerror(code));
  if (!answered_ || !endTaken_)
    refuse("the server ended the connection before everything was written");
}

void HttpWriteStream::checkProgress() {
  curl_off_t uploaded = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
  if (uploaded != uploaded_) {
    uploaded_ = uploaded;
    lastProgress_ = std::chrono::steady_clock::now();
  } else if (secondsSince(lastProgress_) > std::max(options_.stallSeconds, options_.connectSeconds)) {
    refuse(message("the server took nothing for {} seconds", secondsSince(lastProgress_)));
  }
}

// A body of which an unknown part was sent cannot go on.
void HttpWriteStream::checkInterruption() {
  if (InterruptionScope::isRequested())
    refuse("interrupted");
}

// Hands the buffer to the connection, and looks whether the server has refused by now.
void HttpWriteStream::send() {
  BrokenPipeGuard const guard;
  lastProgress_ = std::chrono::steady_clock::now();
  if (paused_ && sent_ < filled_) {
    paused_ = false;
    curl_easy_pause(handle_.get(), CURLPAUSE_CONT);
  }
  do {
    if (perform())
      refuse("the server ended the request before everything was written");
    checkInterruption();
    checkProgress();
  } while (!paused_);
  sent_ = filled_ = 0;
}

void HttpWriteStream::awaitAnswer() {
  BrokenPipeGuard const guard;
  ended_ = true;
  lastProgress_ = std::chrono::steady_clock::now();
  paused_ = false;
  curl_easy_pause(handle_.get(), CURLPAUSE_CONT);
  auto const begin = std::chrono::steady_clock::now();
  while (!done_ && !perform()) {
    checkInterruption();
    if (!endTaken_)
      checkProgress();
    else if (secondsSince(begin) > options_.answerSeconds)
      refuse(message("no answer came within {} seconds", options_.answerSeconds));
  }
}

size_t HttpWriteStream::write(void const * source, size_t size) {
  checkOpen();
  auto const * bytes = static_cast<uint8_t const *>(source);
  for (auto left = size; left > 0;) {
    auto const count = std::min(left, BUFFER_BYTES - filled_);
    std::memcpy(buffer_.get() + filled_, bytes, count);
    filled_ += count;
    bytes += count;
    left -= count;
    if (filled_ == BUFFER_BYTES)
      send();
  }
  position_ += size;
  return size;
}

void HttpWriteStream::flush() {
  checkOpen();
  send();
}

void HttpWriteStream::close() {
  if (state_ == State::CLOSED || state_ == State::ABORTED)
    return;
  checkOpen();
  awaitAnswer();
  state_ = State::CLOSED;
  disconnect();
}

void HttpWriteStream::abort() noexcept {
  if (state_ != State::OPEN)
    return;
  state_ = State::ABORTED;
  if (processNumber() == process_)
    disconnect();
}

std::string HttpWriteStream::toString() const {
  return description("{}, written by {} over HTTP", target_.text(), target_.method());
}

std::string HttpWriteStream::resourceId() const { return description("{}", target_.text()); }

uint8_t HttpWriteStream::peek() {
  throw NotImplemented(message("{} was opened for writing, it cannot be read", target_.text()));
}

size_t HttpWriteStream::read(void *, size_t) {
  throw NotImplemented(message("{} was opened for writing, it cannot be read", target_.text()));
}

void HttpWriteStream::seek(int64_t, SeekOrigin) {
  throw NotImplemented(message("{} is written in order, it cannot seek", target_.text()));
}

} // namespace http

std::shared_ptr<StreamAccess> openHttpWrite(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                                            HttpOptions const & options) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    return std::make_shared<http::HttpWriteStream>(uri, method, headers, options);
  });
}

std::shared_ptr<StreamAccess> openHttpWrite(Uri const & uri, std::string const & method, HTTPHeaders const & headers) {
  return openHttpWrite(uri, method, headers, defaultHttpOptions());
}

} // namespace zarnik
