// What the library costs a program before it does anything, and once it has done a little.
//
//   library.load.ms         from the start of a program that links the library to its main,
//                           less the same of a program that does not
//   libcrypto.load.ms       the same of a program that links libcrypto alone
//   libcrypto.first-cipher.ms  what that program's first use of a cipher takes, which is part of
//                           keychain.cold-get.ms
//   host.memory.kib         resident memory that is the program's own (not shared, RssAnon) after
//                           its first token and its first secret, less that of the other program
//   host.resident.kib       all resident memory (VmRSS), likewise; libraries are shared with
//                           other processes
//
// Starts benchmark-host, benchmark-libcrypto and benchmark-bare, which lie beside it.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchmarks/Support/Process.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

// Returns the kibibytes of a line of /proc/self/status that a program has printed.
double kibibytes(const std::string& status, const std::string& name) {
  const std::size_t line = status.find(name + ':');
  if (line == std::string::npos) throw std::runtime_error("no " + name);
  return std::atof(status.c_str() + line + name.size() + 1);
}

void measure(int rounds) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string host = folder / "benchmark-host", bare = folder / "benchmark-bare",
                    libcrypto = folder / "benchmark-libcrypto";

  bench::Rounds measured({});
  for (int round = 0; round < rounds; ++round) {
    measured.add("host", bench::run({host}).toFirstByte);
    measured.add("libcrypto", bench::run({libcrypto}).toFirstByte);
    measured.add("bare", bench::run({bare}).toFirstByte);
    const std::string nanoseconds = bench::run({libcrypto, "cipher"}).printed;
    measured.add("cipher", bench::Nanoseconds(std::stod(nanoseconds)));
  }
  measured.reportDifference("library.load.ms", "host", "bare");
  measured.reportDifference("libcrypto.load.ms", "libcrypto", "bare");
  measured.reportMilliseconds("libcrypto.first-cipher.ms", "cipher");

  const tarvex::TemporaryFolder store;
  const std::string used = bench::run({host, store.path()}).printed;
  const std::string unused = bench::run({bare}).printed;
  for (const auto& [figure, line] :
       {std::pair{"host.memory.kib", "RssAnon"}, std::pair{"host.resident.kib", "VmRSS"}}) {
    bench::report(figure, kibibytes(used, line) - kibibytes(unused, line), "KiB");
  }
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, measure); }
