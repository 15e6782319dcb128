#include "http/TestServers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace zarnik::test {

ServerProcess::ServerProcess(std::string const & script) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  // Not to be inherited by other servers, which would keep this one's input open.
  if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipe to a server");
  auto const path = std::string(ZARNIK_TEST_SUPPORT) + "/" + script;
  process_ = fork();
  if (process_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execlp("python3", "python3", path.c_str(), nullptr);
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  input_ = in[1];
  auto * const output = fdopen(out[0], "r");
  std::array<char, 4096> text{};
  if (output && fgets(text.data(), static_cast<int>(text.size()), output))
    line_ = text.data();
  if (output)
    fclose(output);
  while (!line_.empty() && line_.back() == '\n')
    line_.pop_back();
  if (std::sscanf(line_.c_str(), "%d", &port_) != 1)
    throw std::runtime_error(script + " did not start: " + line_);
  auto const blank = line_.find(' ');
  line_ = blank == std::string::npos ? "" : line_.substr(blank + 1);
}

ServerProcess::~ServerProcess() {
  close(input_);
  waitpid(process_, nullptr, 0);
}

ServerProcess & faultyServer() {
  static ServerProcess server("http_faults.py");
  return server;
}

std::vector<uint8_t> servedContent(size_t size) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<uint8_t>(i / 4 >> (8 * (i % 4)));
  return bytes;
}

// Made before any allocation may fail.
static auto const content = servedContent();

bool isServed(std::span<uint8_t const> bytes, size_t offset) {
  return std::ranges::equal(bytes, std::span(content).subspan(offset, bytes.size()));
}

} // namespace zarnik::test
