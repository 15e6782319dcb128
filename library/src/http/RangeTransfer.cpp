#include "http/RangeTransfer.h"

#include "zarnik/core/Error.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace zarnik::http {

namespace {

// Heads longer than this, and bodies of refusals, are not received to their end.
constexpr size_t MOST_HEAD_BYTES = size_t{256} << 10;
constexpr size_t MOST_IGNORED_BYTES = size_t{64} << 10;

constexpr int WHOLE_CONTENT = 200;
constexpr int PARTIAL_CONTENT = 206;
constexpr int RANGE_NOT_SATISFIABLE = 416;
constexpr int TOO_MANY_REQUESTS = 429;

double secondsBetween(Clock::time_point begin, Clock::time_point end) {
  return std::chrono::duration<double>(end - begin).count();
}

// Failures of libcurl that the next try may not meet.
bool passes(CURLcode code) {
  switch (code) {
  case CURLE_COULDNT_RESOLVE_PROXY:
  case CURLE_COULDNT_RESOLVE_HOST:
  case CURLE_COULDNT_CONNECT:
  case CURLE_OPERATION_TIMEDOUT:
  case CURLE_PARTIAL_FILE:
  case CURLE_GOT_NOTHING:
  case CURLE_SEND_ERROR:
  case CURLE_RECV_ERROR:
  case CURLE_HTTP2:
  case CURLE_HTTP2_STREAM:
    return true;
  default:
    return false;
  }
}

} // namespace

RangeTransfer::RangeTransfer(CURL * handle, HttpTarget const & target, HttpOptions const & options,
                             ResourceIdentity const * identity, ByteRange range, ByteSink & sink, Counters & counters)
    : handle_(handle), target_(target), options_(options), identity_(identity), range_(range), sink_(sink),
      counters_(counters), rangeText_(fmt::format("{}-{}", range.offset, range.offset + range.size - 1)) {
  setOption(handle, CURLOPT_HTTPHEADER, target.headers());
  setOption(handle, CURLOPT_RANGE, rangeText_.c_str());
  setOption(handle, CURLOPT_ERRORBUFFER, message_.data());
  setOption(handle, CURLOPT_HEADERFUNCTION, &onHeader);
  setOption(handle, CURLOPT_HEADERDATA, this);
  setOption(handle, CURLOPT_WRITEFUNCTION, &onBody);
  setOption(handle, CURLOPT_WRITEDATA, this);
  setOption(handle, CURLOPT_PREREQFUNCTION, &onConnected);
  setOption(handle, CURLOPT_PREREQDATA, this);
  setOption(handle, CURLOPT_PRIVATE, this);
}

RangeTransfer::~RangeTransfer() {
  count();
  curl_easy_setopt(handle_, CURLOPT_ERRORBUFFER, nullptr); // the handle lives on
}

// Not with each piece of a body: threads that share a counter wait for what is being stored.
void RangeTransfer::count() { counters_.bytesReceived += std::exchange(uncounted_, 0); }

void RangeTransfer::refuse(std::string const & why) const {
  throw Error(fmt::format("{}: {} of bytes {}: {}", target_.text(), target_.method(), rangeText_, why));
}

RangeTransfer::Result RangeTransfer::transient(std::string reason) {
  reason_ = std::move(reason);
  return Result::TRANSIENT;
}

int RangeTransfer::onConnected(void * self, char *, char *, int, int) noexcept {
  auto & transfer = *static_cast<RangeTransfer *>(self);
  transfer.connected_ = true;
  transfer.lastActivity_ = Clock::now();
  return CURL_PREREQFUNC_OK;
}

size_t RangeTransfer::onHeader(char const * data, size_t, size_t size, void * self) noexcept {
  auto & transfer = *static_cast<RangeTransfer *>(self);
  transfer.lastActivity_ = Clock::now();
  try {
    transfer.headBytes_ += size;
    if (transfer.headBytes_ > MOST_HEAD_BYTES)
      transfer.refuse(fmt::format("the head of the answer is longer than {} bytes", MOST_HEAD_BYTES));
    // What follows a body are trailers, which say nothing about it any more.
    if (!transfer.bodyBegan_)
      transfer.head_.addLine({data, size});
    return size;
  } catch (...) {
    transfer.failure_ = std::current_exception();
    return 0;
  }
}

size_t RangeTransfer::onBody(char const * data, size_t, size_t size, void * self) noexcept {
  auto & transfer = *static_cast<RangeTransfer *>(self);
  transfer.lastActivity_ = Clock::now();
  transfer.bodyBegan_ = true;
  transfer.uncounted_ += size;
  try {
    if (transfer.head_.status == PARTIAL_CONTENT) {
      transfer.takeBody(reinterpret_cast<uint8_t const *>(data), size);
      return size;
    }
    // The body of anything else is of no use. A short one is received for the sake of the connection.
    transfer.ignored_ += size;
    return transfer.head_.status / 100 == 2 || transfer.ignored_ > MOST_IGNORED_BYTES ? 0 : size;
  } catch (...) {
    transfer.failure_ = std::current_exception();
    return 0;
  }
}

void RangeTransfer::takeBody(uint8_t const * data, size_t size) {
  if (!headChecked_)
    checkHead();
  if (size > range_.size - received_)
    refuse("more bytes came than were asked for");
  sink_.accept(range_.offset + received_, data, size);
  received_ += size;
  if (!paused_ && sink_.full())
    pause();
}

void RangeTransfer::pause() {
  count();
  pauseBegin_ = Clock::now();
  if (!std::exchange(paused_, true))
    curl_easy_pause(handle_, CURLPAUSE_RECV);
}

CURLcode RangeTransfer::resume() {
  auto const now = Clock::now();
  begin_ += now - pauseBegin_;
  lastActivity_ = now;
  return std::exchange(paused_, false) ? curl_easy_pause(handle_, CURLPAUSE_CONT) : CURLE_OK;
}

void RangeTransfer::checkIdentity(std::optional<uint64_t> total) const {
  if (!identity_)
    return;
  auto const compare = [&](char const * what, std::string const & before, std::string const & now) {
    if (before != now)
      refuse(fmt::format("the resource has changed while it was open: its {} was '{}' and is '{}'", what, before, now));
  };
  compare("entity tag", identity_->entityTag, head_.entityTag);
  compare("time of modification", identity_->lastModified, head_.lastModified);
  if (total && total != identity_->size)
    refuse(
        fmt::format("the resource has changed while it was open: its size was {} and is {}", identity_->size, *total));
}

// Nothing of a body is believed before its head said that it is what was asked for.
void RangeTransfer::checkHead() {
  headChecked_ = true;
  if (head_.contradictory)
    refuse("the headers of the answer contradict each other");
  if (!head_.contentEncoding.empty())
    refuse(fmt::format("the body is encoded ({}), which was not allowed", head_.contentEncoding));
  auto const answer = parseContentRange(head_.contentRange);
  if (!answer || !answer->first)
    refuse(fmt::format("the answer does not say which bytes it has (Content-Range is '{}')", head_.contentRange));
  checkIdentity(answer->total);
  if (!answer->total)
    refuse("the server does not know the size of the resource");
  if (!identity_) {
    found_ = {.size = *answer->total, .entityTag = head_.entityTag, .lastModified = head_.lastModified};
    range_.size = std::min(range_.size, found_.size);
  }
  if (*answer->first != range_.offset || *answer->last - *answer->first != range_.size - 1)
    refuse(fmt::format("the server sent bytes {}-{} instead", *answer->first, *answer->last));
  if (head_.contentLength && head_.contentLength != range_.size)
    refuse(fmt::format("the server sends a body of {} bytes for {}", *head_.contentLength, range_.size));
}

bool RangeTransfer::stalled(Clock::time_point now) const {
  return secondsBetween(begin_, now) > options_.requestSeconds ||
         (connected_ && secondsBetween(lastActivity_, now) > options_.stallSeconds);
}

RangeTransfer::Result RangeTransfer::empty() {
  found_ = {.size = 0, .entityTag = head_.entityTag, .lastModified = head_.lastModified};
  range_.size = 0;
  return Result::DONE;
}

RangeTransfer::Result RangeTransfer::judgeRefusal(int status) {
  if (status == TOO_MANY_REQUESTS || status / 100 == 5) {
    curl_off_t seconds = 0;
    curl_easy_getinfo(handle_, CURLINFO_RETRY_AFTER, &seconds);
    retryAfter_ = static_cast<double>(seconds);
    return transient(fmt::format("status {}", status));
  }
  // An empty resource has no ranges that could be asked for.
  if (status == WHOLE_CONTENT) {
    checkIdentity(head_.contentLength);
    if (identity_)
      refuse("the whole resource came instead (status 200)");
    if (head_.contentLength == uint64_t{0} && head_.contentEncoding.empty() && !bodyBegan_)
      return empty();
    refuse("the server does not send ranges of bytes, it sends the whole resource (status 200)");
  }
  if (status == RANGE_NOT_SATISFIABLE) {
    auto const answer = parseContentRange(head_.contentRange);
    checkIdentity(answer ? answer->total : std::nullopt);
    if (!identity_ && answer && !answer->first && answer->total == uint64_t{0})
      return empty();
  }
  refuse(fmt::format("the server answered with status {}", status));
}

RangeTransfer::Result RangeTransfer::finish(CURLcode code) {
  if (failure_)
    std::rethrow_exception(failure_);
  // A redirect or an interim answer is followed by another one, which may not have come.
  auto const status = head_.status;
  if (status != PARTIAL_CONTENT && (code == CURLE_OK || status >= 400 || status / 100 == 2))
    return judgeRefusal(status);
  if (code == CURLE_OK) {
    if (!headChecked_)
      checkHead();
    if (received_ == range_.size)
      return Result::DONE;
    return transient(fmt::format("the body ended after {} of {} bytes", received_, range_.size));
  }
  // All of it came; only that this was the end did not.
  if (headChecked_ && received_ == range_.size && passes(code))
    return Result::DONE;
  unreachable_ = !connected_;
  auto const reason = message_[0] != '\0' ? std::string(message_.data()) : std::string(curl_easy_strerror(code));
  if (!passes(code))
    refuse(reason);
  return transient(reason);
}

} // namespace zarnik::http
