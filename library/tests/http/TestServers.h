#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zarnik::test {

/// A process that serves on a port which it prints on its first line, and ends when its standard input does.
class ServerProcess {
public:
  /// \param script of tests/support
  explicit ServerProcess(std::string const & script);
  ~ServerProcess();
  ServerProcess(ServerProcess const &) = delete;
  ServerProcess & operator=(ServerProcess const &) = delete;

  /// The rest of the first line, behind the port.
  std::string const & line() const { return line_; }
  std::string url(std::string const & path) const { return fmt::format("http://127.0.0.1:{}/{}", port_, path); }
  int port() const { return port_; }

private:
  pid_t process_ = -1;
  int input_ = -1;
  int port_ = 0;
  std::string line_;
};

/// The server that misbehaves, one for all tests.
ServerProcess & faultyServer();

/// The bytes that it serves: 32-bit words that count.
std::vector<uint8_t> servedContent(size_t size = 300000);
bool isServed(std::span<uint8_t const> bytes, size_t offset);

} // namespace zarnik::test
