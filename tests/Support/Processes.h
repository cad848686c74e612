// Processes of a test's own, and what they share.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <list>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

// There where it is counted which lines run.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace tarvex {

// Returns whether `condition` comes true within a minute.
template <typename Condition>
bool until(const Condition& condition) {
  for (int i = 0; i < 60000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

// Values that this process and its children share, all zero at first.
template <typename Value>
std::shared_ptr<Value[]> shared(std::size_t count = 1) {
  const std::size_t size = count * sizeof(Value);
  void* made = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (made == MAP_FAILED) throw std::bad_alloc();
  return {static_cast<Value*>(made), [size](Value* values) { ::munmap(values, size); }};
}

// A child that runs `work`; killed when it is still there at the end of this.
class Process {
 public:
  template <typename Work>
  explicit Process(const Work& work) {
    std::fflush(nullptr);
    id_ = ::fork();
    if (id_ < 0) throw std::runtime_error("no process");
    if (id_ == 0) run(work);
  }
  ~Process() {
    if (hasEnded_) return;
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Waits for its end; returns whether all that the child expected was so.
  bool succeeds() {
    return until([this] { return hasEnded_ || hasEnded(); }) && status_ == 0;
  }

 private:
  bool hasEnded() { return hasEnded_ = ::waitpid(id_, &status_, WNOHANG) == id_; }

  // What failed here before the fork is no failure of the child.
  template <typename Work>
  [[noreturn]] static void run(const Work& work) noexcept {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const auto* result = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int before = result->total_part_count();
    work();
    std::fflush(nullptr);
    if (__gcov_dump != nullptr) __gcov_dump();
    ::_exit(result->total_part_count() > before ? 1 : 0);
  }

  pid_t id_;
  int status_ = 0;
  bool hasEnded_ = false;
};

// Runs `work` with each number below `count`, in processes of their own that begin at once.
template <typename Work>
void inProcesses(int count, const Work& work) {
  const auto begin = shared<std::atomic<bool>>();
  std::list<Process> processes;
  for (int number = 0; number < count; ++number) {
    processes.emplace_back([&, number] {
      while (!begin[0]) std::this_thread::yield();
      work(number);
    });
  }
  begin[0] = true;
  for (Process& process : processes) EXPECT_TRUE(process.succeeds());
}

}  // namespace tarvex
