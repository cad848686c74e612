// Work in several threads at once.
#pragma once

#include <thread>
#include <vector>

namespace tarvex {

// Runs `work` with each number below `count`, in a thread of its own; returns when all end.
template <typename Work>
void inThreads(int count, const Work& work) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) {
    threads.emplace_back([&work, number] { work(number); });
  }
}

}  // namespace tarvex
