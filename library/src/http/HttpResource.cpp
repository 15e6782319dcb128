#include "http/HttpResource.h"

#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"

#include <algorithm>
#include <array>
#include <deque>
#include <fmt/format.h>
#include <memory>
#include <random>
#include <thread>
#include <utility>

namespace zarnik::http {

namespace {

// How often the clock is looked at while nothing arrives.
constexpr int POLL_MILLISECONDS = 50;

// Ranges of a compressed body are of no use, and the lengths are ours to tell.
constexpr std::array<std::string_view, 5> OWN_HEADERS = {"Accept-Encoding", "Range", "If-Range", "Content-Length",
                                                         "Transfer-Encoding"};

double randomUpTo(double most) {
  thread_local std::minstd_rand source{std::random_device()()};
  return std::uniform_real_distribution<double>(0, most)(source);
}

Clock::duration seconds(double count) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

} // namespace

/// The requests of one call: those that wait, those under way.
class RangeQueue {
public:
  RangeQueue(HttpResource & resource, ByteSink & sink) : resource_(resource), sink_(sink), session_(resource.pool_) {}

  ~RangeQueue() {
    for (auto & job : active_)
      stop(*job);
  }

  RangeQueue(RangeQueue const &) = delete;
  RangeQueue & operator=(RangeQueue const &) = delete;

  void add(ByteRange range) { waiting_.push_back({.range = range}); }

  void run() {
    while (!waiting_.empty() || !active_.empty()) {
      startDue();
      drive();
      dropStalled();
      if (InterruptionScope::isRequested())
        throw Error(fmt::format("{}: {} was interrupted", resource_.target_.text(), resource_.target_.method()));
    }
    session_.done();
  }

  ResourceIdentity identity;
  std::string validator;
  bool multiplexed = false;

private:
  struct Waiting {
    ByteRange range;
    unsigned tries = 0;
    Clock::time_point firstFailure{};
    Clock::time_point notBefore{};
  };

  struct Job {
    Waiting work;
    EasyHandle handle;
    std::unique_ptr<RangeTransfer> transfer;
  };

  void startDue() {
    auto const now = Clock::now();
    for (auto work = waiting_.begin(); work != waiting_.end();) {
      if (work->notBefore > now) {
        ++work;
        continue;
      }
      // With nothing under way there is nothing else to do than to wait for the requests of other threads.
      if (active_.empty() ? !resource_.pool_.acquire(POLL_MILLISECONDS) : !resource_.pool_.tryAcquire())
        return;
      auto const next = *work;
      work = waiting_.erase(work);
      start(next);
    }
  }

  void start(Waiting const & work) {
    auto job = std::make_unique<Job>();
    job->work = work;
    try {
      auto & idle = (*session_).idle;
      if (idle.empty()) {
        job->handle = newEasyHandle();
        prepare(job->handle.get());
      } else {
        job->handle = std::move(idle.back());
        idle.pop_back();
      }
      job->transfer = std::make_unique<RangeTransfer>(job->handle.get(), resource_.target_, resource_.options_,
                                                      resource_.open_ ? &resource_.identity_ : nullptr, work.range,
                                                      sink_, resource_.counters_);
      active_.push_back(std::move(job));
    } catch (...) {
      resource_.pool_.release();
      throw;
    }
    ++resource_.counters_.requests;
    auto const code = curl_multi_add_handle((*session_).handles.get(), active_.back()->handle.get());
    if (code != CURLM_OK)
      throw Error(fmt::format("{}: {}", resource_.target_.text(), curl_multi_strerror(code)));
  }

  void prepare(CURL * handle) {
    resource_.target_.prepare(handle);
    auto const & method = resource_.target_.method();
    if (method != "GET")
      setOption(handle, CURLOPT_CUSTOMREQUEST, method.c_str());
    setOption(handle, CURLOPT_FOLLOWLOCATION, 1L);
    setOption(handle, CURLOPT_MAXREDIRS, static_cast<long>(resource_.options_.redirects));
    setOption(handle, CURLOPT_BUFFERSIZE, 256L << 10);
  }

  // Takes the request off its connection, which ends there unless the answer is complete.
  void stop(Job & job) {
    curl_multi_remove_handle((*session_).handles.get(), job.handle.get());
    resource_.pool_.release();
  }

  void drive() {
    if (active_.empty()) {
      if (!waiting_.empty())
        std::this_thread::sleep_for(std::min(untilNext(), seconds(POLL_MILLISECONDS / 1000.0)));
      return;
    }
    auto * const handles = (*session_).handles.get();
    int running = 0;
    if (auto const code = curl_multi_perform(handles, &running); code != CURLM_OK)
      throw Error(fmt::format("{}: {}", resource_.target_.text(), curl_multi_strerror(code)));
    int left = 0;
    bool finished = false;
    while (auto * const message = curl_multi_info_read(handles, &left)) {
      if (message->msg != CURLMSG_DONE)
        continue;
      finished = true;
      finish(message->easy_handle, message->data.result);
    }
    if (finished)
      return;
    auto const wait = std::chrono::duration_cast<std::chrono::milliseconds>(untilNext()).count();
    curl_multi_poll(handles, nullptr, 0, static_cast<int>(std::clamp<long>(wait, 1, POLL_MILLISECONDS)), nullptr);
  }

  // The time until a waiting request may start.
  Clock::duration untilNext() const {
    auto next = seconds(1);
    for (auto const & work : waiting_)
      if (work.notBefore != Clock::time_point{})
        next = std::min(next, work.notBefore - Clock::now());
    return std::max(next, Clock::duration::zero());
  }

  void finish(CURL * handle, CURLcode code) {
    auto const found = std::find_if(active_.begin(), active_.end(),
                                    [&](std::unique_ptr<Job> const & job) { return job->handle.get() == handle; });
    if (found == active_.end())
      return;
    auto const job = std::move(*found);
    active_.erase(found);
    long version = 0;
    curl_easy_getinfo(handle, CURLINFO_HTTP_VERSION, &version);
    multiplexed = version >= CURL_HTTP_VERSION_2_0;
    stop(*job);
    if (job->transfer->finish(code) == RangeTransfer::Result::DONE) {
      identity = job->transfer->found();
      validator = job->transfer->head().validator();
    } else {
      again(*job);
    }
    (*session_).idle.push_back(std::move(job->handle));
  }

  void again(Job const & job) {
    auto const & options = resource_.options_;
    auto const & transfer = *job.transfer;
    auto const now = Clock::now();
    auto work = job.work;
    work.range = transfer.missing();
    if (work.tries == 0)
      work.firstFailure = now;
    auto pause = options.backOffSeconds * static_cast<double>(uint64_t{1} << std::min(work.tries, 30U));
    pause = std::max(pause + randomUpTo(pause / 2), transfer.retryAfter());
    auto const spent = std::chrono::duration<double>(now - work.firstFailure).count();
    ++work.tries;
    if (work.tries > options.retries || spent + pause > options.retrySeconds ||
        (!resource_.open_ && transfer.unreachable()))
      throw Error(fmt::format("{}: {} failed after {} {}: {}", resource_.target_.text(), resource_.target_.method(),
                              work.tries, work.tries == 1 ? "try" : "tries", transfer.reason()));
    ++resource_.counters_.retries;
    work.notBefore = now + seconds(pause);
    waiting_.push_back(work);
  }

  void dropStalled() {
    auto const now = Clock::now();
    for (size_t i = active_.size(); i-- > 0;)
      if (active_[i]->transfer->stalled(now))
        finish(active_[i]->handle.get(), CURLE_OPERATION_TIMEDOUT);
  }

  HttpResource & resource_;
  ByteSink & sink_;
  BrokenPipeGuard guard_;
  SessionLease session_;
  std::deque<Waiting> waiting_;
  std::vector<std::unique_ptr<Job>> active_;
};

HttpResource::HttpResource(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                           HttpOptions const & options)
    : options_(options), target_(uri, method, headers, options, OWN_HEADERS), pool_(options.parallelRequests) {
  if (equalIgnoringCase(method, "HEAD") || equalIgnoringCase(method, "CONNECT"))
    throw InvalidArgument(fmt::format("nothing can be read by the method {}", method));
  target_.addHeader("Accept-Encoding: identity");
}

void HttpResource::open(uint64_t size, ByteSink & sink) {
  RangeQueue queue(*this, sink);
  queue.add({0, size});
  queue.run();
  identity_ = queue.identity;
  open_ = true;
  if (!queue.validator.empty())
    target_.addHeader("If-Range: " + queue.validator);
  if (queue.multiplexed)
    pool_.setLimit(options_.parallelStreams);
}

void HttpResource::fetch(std::vector<ByteRange> const & ranges, ByteSink & sink) {
  RangeQueue queue(*this, sink);
  for (auto const & range : ranges)
    queue.add(range);
  queue.run();
}

} // namespace zarnik::http
