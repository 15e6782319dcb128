#include "layout/ThreadPool.h"

#include "zarnik/layout/Threads.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <thread>
#include <vector>

#if __has_include(<pthread.h>)
#include <pthread.h>
#endif
#ifdef __linux__
#include <sched.h>
#endif

namespace zarnik {

namespace {

constexpr size_t MAXIMUM_THREADS = 256;
constexpr size_t USUAL_THREADS = 4;

// The processors that the system lets this process use, which may be fewer than the machine has.
size_t processorCount() {
#ifdef __linux__
  if (cpu_set_t allowed; sched_getaffinity(0, sizeof(allowed), &allowed) == 0) {
    return static_cast<size_t>(CPU_COUNT(&allowed));
  }
#endif
  return std::thread::hardware_concurrency();
}

size_t usableThreads(size_t count) {
  if (count == 0) {
    count = processorCount();
  }
  return std::clamp<size_t>(count, 1, MAXIMUM_THREADS);
}

std::atomic<size_t> & configuredThreads() {
  static std::atomic<size_t> count = [] {
    auto const * const variable = std::getenv("ZARNIK_NUM_THREADS");
    std::string_view const text(variable == nullptr ? "" : variable);
    auto const * const end = text.data() + text.size();
    size_t value = 0;
    auto const result = std::from_chars(text.data(), end, value);
    bool const isNumber = result.ec == std::errc() && result.ptr == end;
    return isNumber ? usableThreads(value) : std::min(USUAL_THREADS, usableThreads(0));
  }();
  return count;
}

struct Job {
  void (*work)(void const *, size_t);
  void const * context;
  size_t parts;
  std::atomic<size_t> next = 0;

  void help() {
    for (size_t part = next.fetch_add(1); part < parts; part = next.fetch_add(1)) {
      work(context, part);
    }
  }
};

class Pool {
public:
  Pool() = default;
  Pool(Pool const &) = delete;
  Pool & operator=(Pool const &) = delete;
  ~Pool() { stop(); }

  /// Ends all threads but `workers`, or starts those that are missing.
  void resize(size_t workers) noexcept {
    if (threads_.size() > workers) {
      stop();
    }
    try {
      threads_.reserve(workers);
      while (threads_.size() < workers) {
        threads_.emplace_back([this] { serve(); });
      }
    } catch (std::exception const &) {
      // There is no memory, or no thread, for more: those that started, or the caller alone, do the work. The next
      // large operation tries again.
    }
  }

  void run(Job & job) {
    {
      std::lock_guard const lock(mutex_);
      job_ = &job;
    }
    wake_.notify_all();
    job.help();
    std::unique_lock lock(mutex_);
    job_ = nullptr;
    idle_.wait(lock, [this] { return busy_ == 0; });
  }

private:
  void stop() noexcept {
    {
      std::lock_guard const lock(mutex_);
      stopped_ = true;
    }
    wake_.notify_all();
    for (auto & thread : threads_) {
      thread.join();
    }
    threads_.clear();
    stopped_ = false;
  }

  void serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [this] { return stopped_ || (job_ != nullptr && job_->next < job_->parts); });
      if (stopped_) {
        return;
      }
      Job & job = *job_;
      ++busy_;
      lock.unlock();
      job.help();
      lock.lock();
      if (--busy_ == 0) {
        idle_.notify_all();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  Job * job_ = nullptr;
  size_t busy_ = 0;
  bool stopped_ = false;
  std::vector<std::thread> threads_;
};

// The pool belongs to whoever set `inUse`. A forked process has no threads but the one that forked: it drops the pool
// without waiting for threads that are not there, and makes a new one when it needs one.
struct Shared {
  std::atomic<bool> inUse = false;
  std::unique_ptr<Pool> pool;

  Shared() {
#if __has_include(<pthread.h>)
    pthread_atfork(nullptr, nullptr, [] {
      static_cast<void>(instance().pool.release());
      instance().inUse = false;
    });
#endif
  }

  static Shared & instance() {
    static Shared shared;
    return shared;
  }
};

} // namespace

size_t threadCount() { return configuredThreads(); }

void setThreadCount(size_t count) { configuredThreads() = usableThreads(count); }

namespace layout {

namespace {

std::atomic<uint64_t> parallelBytes = USUAL_PARALLEL_BYTES;

} // namespace

void setParallelBytes(uint64_t bytes) { parallelBytes = bytes; }

size_t partsFor(uint64_t bytes) {
  size_t const threads = threadCount();
  uint64_t const enough = parallelBytes;
  if (threads == 1 || bytes < enough) {
    return 1;
  }
  // A few parts per thread, so that a thread that is late does not hold up the others.
  return static_cast<size_t>(std::min<uint64_t>(threads * 4, bytes / std::max<uint64_t>(enough / 4, 1)));
}

void runParts(size_t parts, void (*work)(void const *, size_t), void const * context) {
  Job job{.work = work, .context = context, .parts = parts};
  size_t const threads = threadCount();
  if (threads == 1 || parts < 2) {
    job.help();
    return;
  }
  Shared & shared = Shared::instance();
  if (shared.inUse.exchange(true)) {
    job.help();
    return;
  }
  if (!shared.pool) {
    shared.pool.reset(new (std::nothrow) Pool);
  }
  if (shared.pool) {
    shared.pool->resize(threads - 1);
    shared.pool->run(job);
  } else {
    job.help();
  }
  shared.inUse = false;
}

} // namespace layout

} // namespace zarnik
