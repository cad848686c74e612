// A folder on the disk that is measured: in $TMPDIR where it is set, otherwise beside the
// program, since /tmp may lie in memory.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent = place()) {
    std::string name = (parent / "benchmark-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder in " + parent.string());
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  static std::filesystem::path place() {
    const char* chosen = std::getenv("TMPDIR");
    if (chosen != nullptr && *chosen != '\0') return std::filesystem::absolute(chosen);
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
  }

  std::filesystem::path path_;
};

}  // namespace bench
