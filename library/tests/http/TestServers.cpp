#include "http/TestServers.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace zarnik::test {

ServerProcess::ServerProcess(std::string const & script, std::vector<std::string> const & arguments) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  // Not to be inherited by other servers, which would keep this one's input open.
  if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipe to a server");
  std::vector<std::string> words = {"python3", std::string(ZARNIK_TEST_SUPPORT) + "/" + script};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char *> command;
  for (auto & word : words)
    command.push_back(word.data());
  command.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execvp(command[0], command.data());
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

std::vector<uint8_t> servedContent(size_t size, uint32_t salt) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<uint8_t>(((static_cast<uint32_t>(i / 4)) ^ salt) >> (8 * (i % 4)));
  return bytes;
}

} // namespace zarnik::test
