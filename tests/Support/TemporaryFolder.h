// A folder for what a test or a benchmark writes.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tarvex {

// A folder in memory where there is one, otherwise /tmp.
inline const char* placeInMemory() { return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp"; }

// A new folder of this user's alone, removed with all that is in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(
      const std::filesystem::path& parent = std::filesystem::temp_directory_path())
      : path_(std::filesystem::absolute(parent) / "tarvex-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder " + path_);
  }
  ~TemporaryFolder() { run("chmod -Rf u+w .; rm -r \"$PWD\""); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Runs commands of the shell in it; returns what they print.
  std::string run(const std::string& commands) const {
    FILE* pipe = ::popen(("cd '" + path_ + "' && { " + commands + "\n}").c_str(), "r");
    std::string printed;
    for (int next; (next = std::getc(pipe)) != EOF;) printed += static_cast<char>(next);
    ::pclose(pipe);
    return printed;
  }

  const std::string& path() const noexcept { return path_; }
  std::string operator/(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

}  // namespace tarvex
