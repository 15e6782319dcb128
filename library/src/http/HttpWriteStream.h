#pragma once

#include "http/Counters.h"
#include "http/Curl.h"
#include "http/HttpFields.h"
#include "http/HttpTarget.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/access/StreamCompletion.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace zarnik::http {

/// A request whose body is what is written. The body is sent while it is written; one buffer is all the memory.
class HttpWriteStream final : public StreamAccess, public StreamCompletion {
public:
  HttpWriteStream(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                  HttpOptions const & options);
  ~HttpWriteStream() override;

  StreamAccessCapabilitySet capabilities() const override { return StreamAccessCapability::WRITE; }
  bool eof() const override { return false; }
  bool fail() const override { return state_ == State::FAILED; }
  std::string toString() const override;
  std::string resourceId() const override;
  uint8_t peek() override;
  void flush() override;
  size_t tell() override { return position_; }
  void seek(int64_t offset, SeekOrigin origin) override;
  size_t read(void * destination, size_t size) override;
  size_t write(void const * source, size_t size) override;

  void close() override;
  void abort() noexcept override;

  HttpStatistics statistics() const { return counters_.read(); }

private:
  enum class State { OPEN, CLOSED, FAILED, ABORTED };

  static size_t onRead(char * to, size_t one, size_t size, void * self) noexcept;
  static size_t onHeader(char const * data, size_t one, size_t size, void * self) noexcept;
  static size_t onBody(char const * data, size_t one, size_t size, void * self) noexcept;

  void checkOpen() const;
  void send();
  void awaitAnswer();
  bool perform();
  void judge(CURLcode code);
  void checkProgress();
  void checkInterruption();
  void disconnect() noexcept;
  [[noreturn]] void refuse(std::string_view why);

  HttpOptions options_;
  HttpTarget target_;
  Counters counters_;
  MultiHandle connection_;
  EasyHandle handle_;
  std::array<char, CURL_ERROR_SIZE> message_{};

  std::unique_ptr<uint8_t[]> buffer_;
  size_t sent_ = 0;   // of the buffer, taken by libcurl
  size_t filled_ = 0; // of the buffer
  size_t position_ = 0;

  State state_ = State::OPEN;
  std::string failure_;
  AnswerHead head_;
  size_t answerBytes_ = 0;
  bool answered_ = false;      // the head of the final answer is complete
  bool answeredEarly_ = false; // before the end of the body was told
  bool ended_ = false;         // nothing more will be written
  bool endTaken_ = false;      // libcurl knows that
  bool paused_ = false;        // libcurl has sent everything that it was given
  bool done_ = false;
  curl_off_t uploaded_ = 0;
  std::chrono::steady_clock::time_point lastProgress_;
  long process_;
};

} // namespace zarnik::http
