// Measuring side by side: every contender runs in every round, on one core, and what
// is reported is the median over the rounds of the ratio within a round, so that a
// machine that slows down for a while slows down both sides. Rounds are short and many.
#pragma once

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

struct Contender {
  std::string name;
  std::function<void(std::size_t index)> operation;  // one operation; index counts on
  std::function<void()> prepare = {};                // before it in every round, not measured
  // Instead of all that: another process measures for so long, and says the time of one.
  std::function<Nanoseconds(std::chrono::milliseconds)> elsewhere = {};
};

template <typename Operation>
Nanoseconds timeOf(const Operation& operation) {
  const auto start = Clock::now();
  operation();
  return Clock::now() - start;
}

// While it lives the thread stays on the last of its cores.
class OneCore {
 public:
  OneCore() {
    sched_getaffinity(0, sizeof before_, &before_);
    int last = 0;
    for (int core = 0; core < CPU_SETSIZE; ++core) {
      if (CPU_ISSET(core, &before_)) last = core;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(last, &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  OneCore(const OneCore&) = delete;
  OneCore& operator=(const OneCore&) = delete;
  ~OneCore() { sched_setaffinity(0, sizeof before_, &before_); }

 private:
  cpu_set_t before_{};
};

inline void report(const char* figure, double value, const char* unit) {
  std::printf("figure\t%s\t%.3f\t%s\n", figure, value, unit);
}

class Rounds {
 public:
  explicit Rounds(std::vector<Contender> contenders) : contenders_(std::move(contenders)) {}

  void run(int rounds, std::chrono::milliseconds perContender) {
    const OneCore pinned;
    for (int round = 0; round < rounds; ++round) {
      for (const Contender& contender : contenders_) {
        add(contender.name, measure(contender, perContender));
      }
    }
  }

  // Adds what was measured elsewhere, the time of one operation.
  void add(const std::string& name, Nanoseconds time) {
    nanoseconds_[name].push_back(time.count());
  }

  // Prints how many times faster `fast` is than `slow`.
  void reportRatio(const char* figure, const std::string& fast, const std::string& slow) const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < nanoseconds_.at(fast).size(); ++i) {
      ratios.push_back(nanoseconds_.at(slow)[i] / nanoseconds_.at(fast)[i]);
    }
    report(figure, median(ratios), "ratio");
  }

  void reportTime(const char* figure, const std::string& name) const {
    report(figure, median(nanoseconds_.at(name)), "ns");
  }

  void reportMilliseconds(const char* figure, const std::string& name) const {
    report(figure, median(nanoseconds_.at(name)) / 1e6, "ms");
  }

  // Prints how many milliseconds more `slow` takes than `fast`.
  void reportDifference(const char* figure, const std::string& slow,
                        const std::string& fast) const {
    std::vector<double> differences;
    for (std::size_t i = 0; i < nanoseconds_.at(fast).size(); ++i) {
      differences.push_back(nanoseconds_.at(slow)[i] - nanoseconds_.at(fast)[i]);
    }
    report(figure, median(differences) / 1e6, "ms");
  }

  void reportRate(const char* figure, const std::string& name) const {
    report(figure, 1e9 / median(nanoseconds_.at(name)), "1/s");
  }

  // Of an operation that reads or writes so many bytes.
  void reportThroughput(const char* figure, const std::string& name, std::size_t bytes) const {
    report(figure, static_cast<double>(bytes) * 1e3 / median(nanoseconds_.at(name)), "MB/s");
  }

 private:
  Nanoseconds measure(const Contender& contender, std::chrono::milliseconds time) {
    constexpr std::size_t batch = 8;
    if (contender.elsewhere) return contender.elsewhere(time);
    if (contender.prepare) contender.prepare();
    const auto start = Clock::now();
    auto end = start;
    std::size_t count = 0;
    for (; end - start < time; count += batch) {
      for (std::size_t i = 0; i < batch; ++i) contender.operation(index_++);
      end = Clock::now();
    }
    return Nanoseconds(end - start) / static_cast<double>(count);
  }

  static double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

  std::vector<Contender> contenders_;
  std::map<std::string, std::vector<double>> nanoseconds_;
  std::size_t index_ = 0;
};

}  // namespace bench
