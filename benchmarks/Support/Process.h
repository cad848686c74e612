// Other programs, from their start to what they print.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/Support/Rounds.h"

namespace bench {

struct Run {
  std::string printed;
  Nanoseconds toFirstByte, toEnd;
};

// Runs a program, which has to print something and to succeed.
inline Run run(std::vector<std::string> command) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  Run result;
  pid_t process = 0;
  int status = -1;
  const auto start = Clock::now();
  const bool isStarted =
      posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::array<char, 4096> piece{};
  while (const ssize_t size = read(ends[0], piece.data(), piece.size())) {
    if (size < 0) break;
    if (result.printed.empty()) result.toFirstByte = Clock::now() - start;
    result.printed.append(piece.data(), static_cast<std::size_t>(size));
  }
  close(ends[0]);
  const bool isDone = isStarted && waitpid(process, &status, 0) == process && status == 0;
  result.toEnd = Clock::now() - start;
  if (!isDone || result.printed.empty()) throw std::runtime_error(command[0] + " failed");
  return result;
}

}  // namespace bench
