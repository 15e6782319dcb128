#include "http/RangeQueue.h"

#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"

#include <algorithm>
#include <fmt/format.h>
#include <random>
#include <thread>
#include <utility>

namespace zarnik::http {

namespace {

// How often the clock is looked at while nothing arrives.
constexpr int POLL_MILLISECONDS = 50;

double randomUpTo(double most) {
  thread_local std::minstd_rand source{std::random_device()()};
  return std::uniform_real_distribution<double>(0, most)(source);
}

Clock::duration seconds(double count) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

} // namespace

RangeQueue::RangeQueue(HttpResource & resource, ByteSink & sink, size_t most)
    : resource_(resource), sink_(sink), most_(most), session_(resource.pool_) {}

RangeQueue::~RangeQueue() {
  BrokenPipeGuard const guard;
  for (auto & job : active_)
    stop(*job);
  active_.clear();
}

void RangeQueue::run() {
  BrokenPipeGuard const guard;
  resume();
  while (!isDone() && !sink_.full()) {
    startDue();
    drive();
    dropStalled();
    checkInterruption();
  }
  if (isDone())
    session_.done();
  else
    pause();
}

void RangeQueue::checkInterruption() const {
  if (!InterruptionScope::isRequested())
    return;
  // A name that is being resolved would be waited for.
  for (auto const & job : active_)
    setOption(job->handle.get(), CURLOPT_QUICK_EXIT, 1L);
  throw Error(fmt::format("{}: {} was interrupted", resource_.target_.text(), resource_.target_.method()));
}

void RangeQueue::resume() {
  for (size_t i = active_.size(); i-- > 0;) {
    auto & job = *active_[i];
    while (!job.counts) {
      job.counts = resource_.pool_.acquire(POLL_MILLISECONDS);
      checkInterruption();
    }
    if (auto const code = job.transfer->resume(); code != CURLE_OK)
      finish(job.handle.get(), code);
  }
}

void RangeQueue::pause() {
  for (auto & job : active_) {
    job->transfer->pause();
    resource_.pool_.release();
    job->counts = false;
  }
}

void RangeQueue::startDue() {
  auto const now = Clock::now();
  for (auto work = waiting_.begin(); work != waiting_.end() && active_.size() < most_;) {
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

void RangeQueue::start(Waiting const & work) {
  try {
    auto job = std::make_unique<Job>();
    job->work = work;
    job->handle = resource_.takeHandle(*session_);
    job->transfer = std::make_unique<RangeTransfer>(job->handle.get(), resource_.target_, resource_.options_,
                                                    identityFor(job->work), work.range, sink_, resource_.counters_);
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

// What the answer must agree with; null when nothing has come yet.
ResourceIdentity const * RangeQueue::identityFor(Waiting const & work) const {
  if (resource_.open_)
    return &resource_.identity_;
  return work.identity ? &*work.identity : nullptr;
}

// Takes the request off its connection, which ends there unless the answer is complete.
void RangeQueue::stop(Job & job) {
  curl_multi_remove_handle((*session_).handles.get(), job.handle.get());
  if (job.counts)
    resource_.pool_.release();
}

void RangeQueue::drive() {
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
  if (finished || sink_.full())
    return;
  auto const wait = std::chrono::duration_cast<std::chrono::milliseconds>(untilNext()).count();
  curl_multi_poll(handles, nullptr, 0, static_cast<int>(std::clamp<long>(wait, 1, POLL_MILLISECONDS)), nullptr);
}

// The time until a waiting request may start.
Clock::duration RangeQueue::untilNext() const {
  auto next = seconds(1);
  for (auto const & work : waiting_)
    if (work.notBefore != Clock::time_point{})
      next = std::min(next, work.notBefore - Clock::now());
  return std::max(next, Clock::duration::zero());
}

void RangeQueue::finish(CURL * handle, CURLcode code) {
  auto const found = std::find_if(active_.begin(), active_.end(),
                                  [&](std::unique_ptr<Job> const & job) { return job->handle.get() == handle; });
  if (found == active_.end())
    return;
  auto const job = std::move(*found);
  active_.erase(found);
  long version = 0;
  curl_easy_getinfo(handle, CURLINFO_HTTP_VERSION, &version);
  multiplexed = version >= CURL_HTTP_VERSION_2_0;
  curl_off_t asked = 0;
  curl_off_t answered = 0;
  curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &asked);
  curl_easy_getinfo(handle, CURLINFO_STARTTRANSFER_TIME_T, &answered);
  answerSeconds = static_cast<double>(answered - asked) * 1e-6;
  stop(*job);
  if (job->transfer->finish(code) == RangeTransfer::Result::DONE) {
    identity = job->transfer->found();
    validator = job->transfer->head().validator();
  } else {
    again(*job);
  }
  (*session_).idle.push_back(std::move(job->handle));
}

void RangeQueue::again(Job const & job) {
  auto const & options = resource_.options_;
  auto const & transfer = *job.transfer;
  auto const now = Clock::now();
  auto work = job.work;
  work.range = transfer.missing();
  if (!resource_.open_ && work.range.offset > job.work.range.offset)
    work.identity = transfer.found();
  // A request that goes on for long has its tries anew for what others would ask for by a request of its own.
  if (work.range.offset - job.work.range.offset >= options.requestBytes)
    work.tries = 0;
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

void RangeQueue::dropStalled() {
  auto const now = Clock::now();
  for (size_t i = active_.size(); i-- > 0;)
    if (active_[i]->transfer->stalled(now))
      finish(active_[i]->handle.get(), CURLE_OPERATION_TIMEDOUT);
}

} // namespace zarnik::http
