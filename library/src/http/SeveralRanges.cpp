#include "http/SeveralRanges.h"

#include "http/MultipartReader.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"

#include <algorithm>
#include <array>
#include <deque>
#include <exception>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <utility>

namespace zarnik::http {

namespace {

constexpr int POLL_MILLISECONDS = 50;
constexpr int PARTIAL_CONTENT = 206;
constexpr int TOO_MANY_REQUESTS = 429;
constexpr size_t MOST_HEAD_BYTES = size_t{256} << 10;
// Servers take lines of 8 KiB.
constexpr size_t MOST_LINE_BYTES = 7000;

// One request for several ranges.
class Request {
public:
  Request(HttpResource & resource, EasyHandle handle, std::span<ByteRange const> ranges, std::string line,
          ByteSink & sink)
      : resource_(resource), handle_(std::move(handle)), ranges_(ranges), line_(std::move(line)), sink_(sink) {
    setOption(handle_.get(), CURLOPT_HTTPHEADER, resource.target().headers());
    setOption(handle_.get(), CURLOPT_RANGE, line_.c_str());
    setOption(handle_.get(), CURLOPT_HEADERFUNCTION, &onHeader);
    setOption(handle_.get(), CURLOPT_HEADERDATA, this);
    setOption(handle_.get(), CURLOPT_WRITEFUNCTION, &onBody);
    setOption(handle_.get(), CURLOPT_WRITEDATA, this);
    setOption(handle_.get(), CURLOPT_PREREQFUNCTION, nullptr);
  }

  CURL * handle() const { return handle_.get(); }
  EasyHandle takeHandle() { return std::move(handle_); }
  bool stalled(Clock::time_point now) const {
    auto const & options = resource_.options();
    return std::chrono::duration<double>(now - lastActivity_).count() > options.stallSeconds ||
           std::chrono::duration<double>(now - begin_).count() > options.requestSeconds;
  }
  /// Whether the server has answered, but not as it was asked to.
  bool refused() const {
    return head_.status / 100 == 2 ? refused_ : head_.status / 100 == 4 && head_.status != TOO_MANY_REQUESTS;
  }
  std::exception_ptr failure() const { return failure_; }
  std::span<ByteRange const> missing() const { return ranges_.subspan(parts_ ? parts_->done() : 0); }

private:
  static size_t onHeader(char const * data, size_t, size_t size, void * self) noexcept {
    auto & request = *static_cast<Request *>(self);
    return request.guarded([&] {
      request.headBytes_ += size;
      if (!request.parts_)
        request.head_.addLine({data, size});
      return request.headBytes_ <= MOST_HEAD_BYTES;
    })
               ? size
               : 0;
  }

  static size_t onBody(char const * data, size_t, size_t size, void * self) noexcept {
    auto & request = *static_cast<Request *>(self);
    request.resource_.counters().bytesReceived += size;
    return request.guarded([&] { return request.takeBody(data, size); }) ? size : 0;
  }

  template <typename Take> bool guarded(Take const & take) noexcept {
    lastActivity_ = Clock::now();
    try {
      refused_ = refused_ || !take();
    } catch (...) {
      failure_ = std::current_exception();
    }
    return !refused_ && !failure_;
  }

  bool takeBody(char const * data, size_t size) {
    if (!parts_) {
      auto const & identity = resource_.identity();
      auto const boundary = boundaryOf(head_.contentType);
      if (head_.status != PARTIAL_CONTENT || boundary.empty() || head_.contradictory ||
          !head_.contentEncoding.empty() || head_.entityTag != identity.entityTag ||
          head_.lastModified != identity.lastModified)
        return false;
      parts_.emplace(boundary, ranges_, identity.size, sink_);
    }
    return parts_->take(data, size);
  }

  HttpResource & resource_;
  EasyHandle handle_;
  std::span<ByteRange const> ranges_;
  std::string line_;
  ByteSink & sink_;
  AnswerHead head_;
  std::optional<MultipartReader> parts_;
  std::exception_ptr failure_;
  size_t headBytes_ = 0;
  bool refused_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point lastActivity_ = begin_;
};

class Attempt {
public:
  Attempt(HttpResource & resource, ByteSink & sink) : resource_(resource), sink_(sink), session_(resource.pool()) {}
  Attempt(Attempt const &) = delete;
  Attempt & operator=(Attempt const &) = delete;
  ~Attempt() {
    while (!active_.empty())
      stop(active_.size() - 1);
  }

  std::vector<ByteRange> run(std::span<ByteRange const> ranges) {
    while (!ranges.empty() || !active_.empty()) {
      // Who has been refused does not ask again, nor does who has lost connections: others have the patience for that.
      if (failed_) {
        missing_.insert(missing_.end(), ranges.begin(), ranges.end());
        ranges = {};
      }
      while (!ranges.empty() &&
             (active_.empty() ? resource_.pool().acquire(POLL_MILLISECONDS) : resource_.pool().tryAcquire()))
        start(ranges);
      drive();
      if (InterruptionScope::isRequested())
        throw Error(fmt::format("{}: {} was interrupted", resource_.target().text(), resource_.target().method()));
    }
    session_.done();
    std::sort(missing_.begin(), missing_.end(), [](auto const & a, auto const & b) { return a.offset < b.offset; });
    return std::move(missing_);
  }

private:
  // Begins with the first of the ranges as many as are good for a request, and takes them off.
  void start(std::span<ByteRange const> & ranges) {
    auto const & options = resource_.options();
    size_t count = 0;
    try {
      std::string line;
      uint64_t bytes = 0;
      for (; count < std::min<size_t>(ranges.size(), options.rangesPerRequest); ++count) {
        auto const & [offset, size] = ranges[count];
        bytes += size;
        if (count > 0 && (line.size() > MOST_LINE_BYTES || bytes > options.requestBytes))
          break;
        fmt::format_to(std::back_inserter(line), "{}{}-{}", count > 0 ? "," : "", offset, offset + size - 1);
      }
      active_.push_back(std::make_unique<Request>(resource_, resource_.takeHandle(*session_), ranges.subspan(0, count),
                                                  std::move(line), sink_));
    } catch (...) {
      resource_.pool().release();
      throw;
    }
    ranges = ranges.subspan(count);
    ++resource_.counters().requests;
    auto const code = curl_multi_add_handle((*session_).handles.get(), active_.back()->handle());
    if (code != CURLM_OK)
      throw Error(fmt::format("{}: {}", resource_.target().text(), curl_multi_strerror(code)));
  }

  void stop(size_t index) {
    curl_multi_remove_handle((*session_).handles.get(), active_[index]->handle());
    resource_.pool().release();
    active_.erase(active_.begin() + static_cast<std::ptrdiff_t>(index));
  }

  void drive() {
    auto * const handles = (*session_).handles.get();
    int running = 0;
    curl_multi_perform(handles, &running);
    int left = 0;
    while (auto * const message = curl_multi_info_read(handles, &left))
      if (auto const index = indexOf(message->easy_handle); message->msg == CURLMSG_DONE && index < active_.size())
        finish(index);
    auto const now = Clock::now();
    for (size_t i = active_.size(); i-- > 0;)
      if (active_[i]->stalled(now))
        finish(i);
    if (running > 0 && !active_.empty())
      curl_multi_poll(handles, nullptr, 0, POLL_MILLISECONDS, nullptr);
  }

  size_t indexOf(CURL * handle) const {
    auto const found =
        std::find_if(active_.begin(), active_.end(), [&](auto const & request) { return request->handle() == handle; });
    return static_cast<size_t>(found - active_.begin());
  }

  void finish(size_t index) {
    auto const request = std::move(active_[index]);
    active_.erase(active_.begin() + static_cast<std::ptrdiff_t>(index));
    curl_multi_remove_handle((*session_).handles.get(), request->handle());
    resource_.pool().release();
    if (request->failure())
      std::rethrow_exception(request->failure());
    auto const missing = request->missing();
    missing_.insert(missing_.end(), missing.begin(), missing.end());
    failed_ = failed_ || !missing.empty();
    if (request->refused())
      resource_.refuseSeveral();
    (*session_).idle.push_back(request->takeHandle());
  }

  HttpResource & resource_;
  ByteSink & sink_;
  SessionLease session_;
  std::vector<ByteRange> missing_;
  bool failed_ = false;
  std::vector<std::unique_ptr<Request>> active_;
};

} // namespace

std::vector<ByteRange> fetchSeveral(HttpResource & resource, std::span<ByteRange const> ranges, ByteSink & sink) {
  BrokenPipeGuard const guard;
  return Attempt(resource, sink).run(ranges);
}

} // namespace zarnik::http
