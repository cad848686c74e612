#include "TarvexCommon/Platform/Store/StoreFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>

#include "TarvexCommon/Platform/ItemFailure.h"

namespace tarvex {
namespace {

using namespace std::chrono_literals;

constexpr mode_t rightsOfOthers = 077;

OSStatus statusOfError(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
    case EROFS: return errSecWrPerm;
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case EISDIR:
    case ENAMETOOLONG: return errSecNotAvailable;
    case EEXIST: return errSecDuplicateItem;
    case ENOSPC:
    case EDQUOT: return errSecDiskFull;
    case ENOMEM: return errSecAllocate;
    default: return errSecIO;
  }
}

void ensureDone(bool done) { ensure(done, statusOfError(errno)); }

enum class Links { followed, refused };

// Returns nothing when nothing is there.
std::optional<struct stat> status(const std::string& path, Links links) {
  struct stat found {};
  const int flags = links == Links::refused ? AT_SYMLINK_NOFOLLOW : 0;
  if (fstatat(AT_FDCWD, path.c_str(), &found, flags) == 0) return found;
  ensureDone(errno == ENOENT);
  return std::nullopt;
}

void ensureOwn(const struct stat& found, mode_t kind) {
  ensure((found.st_mode & S_IFMT) == kind && found.st_uid == geteuid() &&
             (found.st_mode & rightsOfOthers) == 0,
         errSecNotAvailable);
}

// Puts the names in a folder on the disk.
void synchroniseFolder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ensureDone(folder.number() >= 0 && fsync(folder.number()) == 0);
}

// Puts bytes into a file and on the disk.
void writeDurably(const Descriptor& file, Bytes bytes) {
  while (!bytes.empty()) {
    const auto count = ::write(file.number(), bytes.data(), bytes.size());
    ensureDone(count > 0);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  ensureDone(fsync(file.number()) == 0);
}

// Not every file system can rename without replacing; those that cannot have links.
bool renameUnlessThere(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  return errno == EINVAL && link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

// Makes a folder and those above it, each of them on the disk before what is in it.
void makeFolder(const std::filesystem::path& path) {
  if (status(path, Links::followed)) return;
  const std::filesystem::path parent = path.parent_path();
  makeFolder(parent);
  ensureDone(mkdir(path.c_str(), 0700) == 0 || errno == EEXIST);
  synchroniseFolder(parent);
}

std::string environment(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

// The longer one has waited, the shorter the naps: whoever releases the lock and wants it
// again at once would otherwise nearly always be faster than those who wait.
class Naps {
 public:
  explicit Naps(std::chrono::seconds limit) : end_(std::chrono::steady_clock::now() + limit) {}

  void nap() {
    std::this_thread::sleep_for(length_);
    length_ = std::max(length_ * 4 / 5, std::chrono::microseconds(50));
  }
  bool areOver() const { return std::chrono::steady_clock::now() > end_; }

 private:
  std::chrono::microseconds length_ = 1ms;
  std::chrono::steady_clock::time_point end_;
};

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

FolderLock::~FolderLock() { flock(file_.number(), LOCK_UN); }

StoreFolder::StoreFolder(const std::string& path) {
  ensure(path.starts_with('/'), errSecNotAvailable);
  makeFolder(path);
  std::error_code error;
  path_ = std::filesystem::canonical(path, error);
  ensure(!error, statusOfError(error.value()));
  ensureOwn(status(path_, Links::refused).value(), S_IFDIR);
  ensureDone(faccessat(AT_FDCWD, path_.c_str(), W_OK | X_OK, AT_EACCESS) == 0);
}

std::optional<FileIdentity> StoreFolder::identityOf(const std::string& name) const {
  const auto found = status(pathOf(name), Links::refused);
  if (!found) return std::nullopt;
  ensureOwn(*found, S_IFREG);
  return FileIdentity{.device = found->st_dev, .node = found->st_ino};
}

off_t StoreFolder::sizeOf(const std::string& name) const {
  const auto found = status(pathOf(name), Links::refused);
  return found ? found->st_size : 0;
}

Descriptor StoreFolder::openFile(const std::string& name, int flags) const {
  Descriptor file(::open(pathOf(name).c_str(), flags | O_NOFOLLOW | O_CLOEXEC, 0600));
  struct stat found {};
  ensureDone(file.number() >= 0 && fstat(file.number(), &found) == 0);
  ensureOwn(found, S_IFREG);
  return file;
}

Descriptor StoreFolder::open(const std::string& name) const { return openFile(name, O_RDWR); }

void StoreFolder::ensureUsable(const std::string& name) const {
  if (!has(name)) return;
  ensureDone(faccessat(AT_FDCWD, pathOf(name).c_str(), R_OK | W_OK, AT_EACCESS) == 0);
}

Data StoreFolder::read(const std::string& name) const {
  ensure(faccessat(AT_FDCWD, pathOf(name).c_str(), R_OK, AT_EACCESS) == 0, errSecNotAvailable);
  const Descriptor file = openFile(name, O_RDONLY);
  Data bytes(static_cast<std::size_t>(sizeOf(name)));
  const auto count = ::read(file.number(), bytes.data(), bytes.size());
  ensureDone(count >= 0);
  ensure(count == std::ssize(bytes), errSecIO);
  return bytes;
}

void StoreFolder::makeEmpty(const std::string& name) const {
  (void)openFile(name, O_WRONLY | O_CREAT | O_TRUNC);
}

void StoreFolder::write(const std::string& name, Bytes bytes) const {
  const std::string unfinished = name + ".new";
  const Descriptor file = openFile(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
  try {
    writeDurably(file, bytes);
    rename(unfinished, name);
  } catch (const ItemFailure&) {
    removeIfThere(unfinished);
    throw;
  }
}

void StoreFolder::rename(const std::string& from, const std::string& to) const {
  ensureDone(::rename(pathOf(from).c_str(), pathOf(to).c_str()) == 0);
  synchroniseFolder(path_);
}

void StoreFolder::removeIfThere(const std::string& name) const {
  if (unlink(pathOf(name).c_str()) == 0) return synchroniseFolder(path_);
  ensureDone(errno == ENOENT);
}

FolderLock StoreFolder::lock(const char* name, std::chrono::seconds limit) const {
  FolderLock held(openFile(name, O_RDWR | O_CREAT));
  for (Naps naps(limit); !held.tryLock(); naps.nap()) ensure(!naps.areOver(), errSecIO);
  return held;
}

bool FolderLock::tryLock() {
  if (flock(file_.number(), LOCK_EX | LOCK_NB) == 0) return true;
  ensureDone(errno == EWOULDBLOCK);
  return false;
}

void writeNewFile(const std::string& path, Bytes bytes) {
  std::string unfinished = path + ".XXXXXX";
  const Descriptor file(mkostemp(unfinished.data(), O_CLOEXEC));
  ensureDone(file.number() >= 0);
  try {
    writeDurably(file, bytes);
    ensureDone(renameUnlessThere(unfinished, path));
    unfinished = path;
    synchroniseFolder(std::filesystem::path(path).parent_path());
  } catch (const ItemFailure&) {
    unlink(unfinished.c_str());
    throw;
  }
}

std::string defaultStoreFolder() {
  if (auto named = environment("TARVEX_KEYCHAIN_DIR"); !named.empty()) return named;
  if (const auto data = environment("XDG_DATA_HOME"); data.starts_with('/')) {
    return data + "/tarvex";
  }
  const auto home = environment("HOME");
  return !home.starts_with('/') ? "" : home + "/.local/share/tarvex";
}

}  // namespace tarvex
