#pragma once

#include "http/Counters.h"
#include "http/Curl.h"
#include "http/HttpFields.h"
#include "http/HttpTarget.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace zarnik::http {

using Clock = std::chrono::steady_clock;

/// Where the bytes of a resource go as they arrive.
class ByteSink {
public:
  virtual ~ByteSink() = default;
  /// Takes bytes. Those of one range come in order, each once; those of several ranges in any order.
  virtual void accept(uint64_t offset, uint8_t const * bytes, size_t size) = 0;
  /// Whether it wants no more for now. What is on its way to it already, it takes nevertheless.
  virtual bool full() const { return false; }
};

/// What every answer must agree on while a resource is open.
struct ResourceIdentity {
  uint64_t size = 0;
  std::string entityTag;
  std::string lastModified;
};

/// A part of a resource.
struct ByteRange {
  uint64_t offset = 0;
  uint64_t size = 0;
};

/// One request for a range of bytes: sent, checked from the first line of its head to the last byte of its body.
class RangeTransfer {
public:
  enum class Result {
    DONE,     // every byte asked for has reached the sink
    TRANSIENT // it failed in a way that passes
  };

  /// \param handle   prepared for the target; lent for the life of the transfer
  /// \param identity what the answer must agree with; null for the first request, which finds it out
  RangeTransfer(CURL * handle, HttpTarget const & target, HttpOptions const & options,
                ResourceIdentity const * identity, ByteRange range, ByteSink & sink, Counters & counters);
  ~RangeTransfer();
  RangeTransfer(RangeTransfer const &) = delete;
  RangeTransfer & operator=(RangeTransfer const &) = delete;

  /// Judges what came when libcurl is done with it.
  /// \throws Error when trying again cannot help
  Result finish(CURLcode code);

  /// Leaves what comes next in the system's buffers; the time until it is resumed does not count.
  void pause();
  /// Bytes may reach the sink at once.
  CURLcode resume();

  /// Whether the server has been silent for too long, or the whole took too long.
  bool stalled(Clock::time_point now) const;

  /// The part that has not arrived.
  ByteRange missing() const { return {range_.offset + received_, range_.size - received_}; }
  /// What the answer says of the resource, or has agreed with.
  ResourceIdentity const & found() const { return identity_ ? *identity_ : found_; }
  AnswerHead const & head() const { return head_; }
  /// Why it failed, behind a TRANSIENT result.
  std::string const & reason() const { return reason_; }
  /// The pause that the server asked for, in seconds.
  double retryAfter() const { return retryAfter_; }
  /// Whether the failure is that no connection came about.
  bool unreachable() const { return unreachable_; }

private:
  static size_t onHeader(char const * data, size_t one, size_t size, void * self) noexcept;
  static size_t onBody(char const * data, size_t one, size_t size, void * self) noexcept;
  static int onConnected(void * self, char *, char *, int, int) noexcept;

  void count();
  void takeBody(uint8_t const * data, size_t size);
  void checkHead();
  void checkIdentity(std::optional<uint64_t> total) const;
  Result judgeRefusal(int status);
  Result empty();
  Result transient(std::string reason);
  [[noreturn]] void refuse(std::string const & why) const;

  CURL * handle_;
  HttpTarget const & target_;
  HttpOptions const & options_;
  ResourceIdentity const * identity_;
  ByteRange range_;
  ByteSink & sink_;
  Counters & counters_;
  std::array<char, CURL_ERROR_SIZE> message_{};
  std::string rangeText_;
  AnswerHead head_;
  ResourceIdentity found_;
  std::exception_ptr failure_;
  std::string reason_;
  double retryAfter_ = 0;
  uint64_t received_ = 0;
  uint64_t uncounted_ = 0;
  size_t headBytes_ = 0;
  size_t ignored_ = 0;
  bool bodyBegan_ = false;
  bool headChecked_ = false;
  bool connected_ = false;
  bool unreachable_ = false;
  bool paused_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point lastActivity_ = begin_;
  Clock::time_point pauseBegin_ = begin_;
};

} // namespace zarnik::http
